# The whole update from baseline 2, step by step and utility by utility. (After
# a restart nothing is left to do: the status stream's scenario shows it.)
# SPDX-License-Identifier: MIT
cmdline console=ttyS0 brd_id_io=1 brd_id_core=5 baseline=2
volume rootfs1 ubifs "R4.0"
volume apps1 ubifs "R4.0"
volume rootfs2 ubifs "R5.0"
volume apps2 ubifs "R5.0"
apps_mounted apps2
root_version "R5.0"
linux_record 1 sequence=6 board_id=0x105
linux_record 2 sequence=7 board_id=0x105
page32_admin boot-admin

for utility in ubidetach flash_eraseall ubiattach ubimkvol ubiupdatevol gunzip; do
    wrapper "$utility" log
done
run firmpack-update up_os.img up_app.img
expect_status 0
expect_stdout <<EOF
$(pair_checked)
$(up_compared)
$(up_written 2 1)
EOF
expect_stderr < /dev/null
expect_commands <<'EOF'
ubidetach /dev/ubi_ctrl -m 1
flash_eraseall -q /dev/mtd1
ubiattach /dev/ubi_ctrl -m 1 -d 11
ubimkvol /dev/ubi11 -N rootfs1 -m
~ ubiupdatevol /dev/ubi11_0 -s [1-9]* -
ubidetach /dev/ubi_ctrl -m 3
flash_eraseall -q /dev/mtd3
ubiattach /dev/ubi_ctrl -m 3 -d 13
ubimkvol /dev/ubi13 -N apps1 -m
gunzip -cf
~ ubiupdatevol /dev/ubi13_0 /tmp/ubifs_[1-9]*.img
EOF
expect_dataflash_opens 2
expect_dataflash <<'EOF'
page32: ff ff ff ff ff ff ff ff ff ff
~ bootloader 0: magic=0xdeadbeef image_offset=0xce820 image_length=65536 image_crc=0x* valid=1 sequence=1 magic_end=0xdeadbeef description="bootloader 2026.10" image ok
bootloader 1: erased
linux 1: magic=0xdeadbeef valid=1 sequence=8 format=2 board_id=0x105 magic_end=0xdeadbeef
linux 2: magic=0xdeadbeef valid=1 sequence=7 format=2 board_id=0x105 magic_end=0xdeadbeef
EOF
expect_volume rootfs1 "R5.1"
expect_volume apps1 "R5.1"
expect_volume rootfs2 "R5.0"

