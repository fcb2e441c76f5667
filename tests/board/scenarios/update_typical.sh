# The typical update: board 0x105 runs baseline 1; its bootloader and root
# filesystem are those of the pair, its applications are older. Both
# filesystems go into baseline 2, whose Linux update administration record is
# the running one with its sequence one higher; the bootloader is left alone.
# After a restart into baseline 2 the same pair has nothing left to do.
cmdline console=ttyS0 brd_id_io=1 brd_id_core=5 baseline=1
volume rootfs1 ubifs "R5.1"
volume apps1 ubifs "R5.0"
apps_mounted apps1
root_version "R5.1"
linux_record 1 sequence=4 board_id=0x105
bootloader_record 0 image=tiny.fit sequence=3 "description=bootloader 2026.10"
page32_admin boot-admin

run firmpack-update up_os.img up_app.img
expect_status 0
expect_stdout <<EOF
$(pair_checked)
   Package 'bootloader    ' not changed, got 'bootloader 2026.10'
   Package 'rootfs@1      ' not changed, got 'filesystem R5.1'
   Package 'apps@1        ' changed, got 'applications R5.0', found 'applications R5.1'
   --------------------------------------
   --------- Starting SW Update ---------
   --------------------------------------
   Current baseline:1, Updating baseline:2
## Preparing root and applications filesystems...
   Preparing package  'rootfs@1      '... (filesystem R5.1)
   Installing package 'rootfs@1      '... (filesystem R5.1)
   Verifying package  'rootfs@1      '... (filesystem R5.1)
   Preparing package  'apps@1        '... (applications R5.1)
   Extracting package 'apps@1        '... (applications R5.1)
   Installing package 'apps@1        '... (applications R5.1)
   Verifying package  'apps@1        '... (applications R5.1)
## Finalising root and applications filesystems update...
   --------------------------------------
   -------- SW Update Completed ---------
   --------------------------------------
EOF
expect_stderr <<'EOF'
EOF
# One search for the dataflash, then every transfer on the same descriptor.
expect_dataflash_opens 2
expect_dataflash <<'EOF'
page32: 62 6f 6f 74 2d 61 64 6d 69 6e
~ bootloader 0: magic=0xdeadbeef image_offset=0xce820 image_length=1494 image_crc=0x* valid=1 sequence=3 magic_end=0xdeadbeef description="bootloader 2026.10" image ok
bootloader 1: erased
linux 1: magic=0xdeadbeef valid=1 sequence=4 format=2 board_id=0x105 magic_end=0xdeadbeef
linux 2: magic=0xdeadbeef valid=1 sequence=5 format=2 board_id=0x105 magic_end=0xdeadbeef
EOF
# The new volumes are verified and unmounted; the running ones are untouched.
expect_mounts <<'EOF'
/dev/ubi13_0 on /mnt/apps ro
EOF
expect_volume rootfs2 "R5.1"
expect_volume apps2 "R5.1"
expect_volume rootfs1 "R5.1"
expect_volume apps1 "R5.0"
expect_files /tmp <<'EOF'
apps2
rootfs2
~ ubifs_*.img
EOF

reboot_into 2
run firmpack-update up_os.img up_app.img
expect_status 255
expect_stdout <<EOF
$(pair_checked)
   Package 'bootloader    ' not changed, got 'bootloader 2026.10'
   Package 'rootfs@1      ' not changed, got 'filesystem R5.1'
   Package 'apps@1        ' not changed, got 'applications R5.1'
   --------------------------------------
   -------- No SW Update required -------
   --------------------------------------
EOF
expect_stderr <<'EOF'
EOF
expect_dataflash <<'EOF'
page32: 62 6f 6f 74 2d 61 64 6d 69 6e
~ bootloader 0: magic=0xdeadbeef image_offset=0xce820 image_length=1494 image_crc=0x* valid=1 sequence=3 magic_end=0xdeadbeef description="bootloader 2026.10" image ok
bootloader 1: erased
linux 1: magic=0xdeadbeef valid=1 sequence=4 format=2 board_id=0x105 magic_end=0xdeadbeef
linux 2: magic=0xdeadbeef valid=1 sequence=5 format=2 board_id=0x105 magic_end=0xdeadbeef
EOF
