# A step that fails once the update has begun: the page-32 administration
# cannot be overwritten (the fourth write, after the bootloader's slot, its
# image and the Linux record). The failure banner and the step's code as exit
# status; the filesystems are finalised, the new bootloader record never
# written, so the older bootloader stays the one the boot loader starts.
# SPDX-License-Identifier: MIT
running_board R5.0
bootloader_record 1 image=tiny.fit sequence=2 "description=bootloader 2026.04"
page32_admin boot-admin
fault fail_write=4
run firmpack-update up_os.img up_app.img
expect_status 19
expect_stdout <<EOF
$(pair_checked)
   Package 'bootloader    ' changed, got 'bootloader 2026.04', found 'bootloader 2026.10'
   Package 'rootfs@1      ' changed, got 'filesystem R5.0', found 'filesystem R5.1'
   Package 'apps@1        ' changed, got 'applications R5.0', found 'applications R5.1'
$(banner start)
   Current baseline:1, Updating baseline:2
## Preparing bootloader update...
   Installing package 'bootloader    '... (bootloader 2026.10)
## Preparing root and applications filesystems...
$(root_written R5.1)
$(apps_written R5.1)
## Finalising root and applications filesystems update...
## Finalising bootloader update...
ERROR: Failed to write to dataflash (5)
Corrupting update administration failed
$(banner failed)
EOF
expect_stderr <<'EOF'
write failed: 0x4200 (10)
EOF
expect_dataflash <<'EOF'
page32: 62 6f 6f 74 2d 61 64 6d 69 6e
bootloader 0: erased
~ bootloader 1: magic=0xdeadbeef image_offset=0x26f430 image_length=1494 image_crc=0x* valid=1 sequence=2 magic_end=0xdeadbeef description="bootloader 2026.04" image ok
linux 1: magic=0xdeadbeef valid=1 sequence=4 format=2 board_id=0x105 magic_end=0xdeadbeef
linux 2: magic=0xdeadbeef valid=1 sequence=5 format=2 board_id=0x105 magic_end=0xdeadbeef
EOF
expect_volume rootfs2 "R5.1"
expect_volume apps2 "R5.1"
