# A bootloader update on the device: the new record goes into the slot without
# the newest one, with the next sequence; page 32 is overwritten, and the
# previous record stays valid beside it. A power cut after the image (the
# writes after the second dropped, which the tool cannot tell) leaves the
# previous bootloader the installed one.
# SPDX-License-Identifier: MIT
running_board R5.1
bootloader_record 0 image=tiny.fit sequence=5 "description=bootloader 2026.04"
page32_admin boot-admin

update_run() {
    run firmpack-update up_os.img up_app.img
    expect_status 0
    expect_stdout <<EOF
$(pair_checked)
   Package 'bootloader    ' changed, got 'bootloader 2026.04', found 'bootloader 2026.10'
   Package 'rootfs@1      ' not changed, got 'filesystem R5.1'
   Package 'apps@1        ' not changed, got 'applications R5.1'
$(banner start)
   Current baseline:1, Updating baseline:2
## Preparing bootloader update...
   Installing package 'bootloader    '... (bootloader 2026.10)
## Finalising bootloader update...
$(banner completed)
EOF
    expect_stderr < /dev/null
}

fault cut_after=2
update_run
expect_dataflash <<'EOF'
page32: 62 6f 6f 74 2d 61 64 6d 69 6e
~ bootloader 0: magic=0xdeadbeef image_offset=0xce820 image_length=1494 image_crc=0x* valid=1 sequence=5 magic_end=0xdeadbeef description="bootloader 2026.04" image ok
bootloader 1: erased
linux 1: magic=0xdeadbeef valid=1 sequence=4 format=2 board_id=0x105 magic_end=0xdeadbeef
linux 2: erased
EOF

update_run
expect_dataflash <<'EOF'
page32: ff ff ff ff ff ff ff ff ff ff
~ bootloader 0: magic=0xdeadbeef image_offset=0xce820 image_length=1494 image_crc=0x* valid=1 sequence=5 magic_end=0xdeadbeef description="bootloader 2026.04" image ok
~ bootloader 1: magic=0xdeadbeef image_offset=0x26f430 image_length=65536 image_crc=0x* valid=1 sequence=6 magic_end=0xdeadbeef description="bootloader 2026.10" image ok
linux 1: magic=0xdeadbeef valid=1 sequence=4 format=2 board_id=0x105 magic_end=0xdeadbeef
linux 2: erased
EOF
