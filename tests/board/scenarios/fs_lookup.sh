# The partition lookup on the kernel's own MTD class, with the NAND chip's
# partitions changed at run time: the scan stops at the first missing MTD
# number, and a partition name is found inside a longer one, the lowest number
# winning. The dataflash (mtd5) stays where the tool's own search finds it.

bootloader_record 0 image=tiny.fit "description=bootloader 2026.10"
root_version "R5.0"

# apps2 moved behind a gap: mtd6 was added and removed again, so apps2 is mtd7
# and the scan ends at mtd6. The root filesystem is written; the applications
# partition is not found, and its volume is left as it was.
nand_partition del apps2
nand_partition add spare 96 8
nand_partition add gap 104 8
nand_partition add apps2 112 16
nand_partition del gap
expect_partitions <<'EOF'
mtd1 rootfs1 32 MiB at 0 MiB
mtd2 rootfs2 32 MiB at 32 MiB
mtd3 apps1 32 MiB at 64 MiB
mtd4 spare 8 MiB at 96 MiB
mtd7 apps2 16 MiB at 112 MiB
EOF
cmdline console=ttyS0 brd_id_io=1 brd_id_core=5 baseline=1
volume rootfs1 ubifs "R5.0"
volume apps1 ubifs "R5.0"
volume rootfs2 ubifs "R4.0"
volume apps2 ubifs "R4.0"
apps_mounted apps1
linux_record 1 sequence=4 board_id=0x105
run firmpack-update fs_os.img fs_app.img
expect_status 22
expect_stdout <<EOF
$(pair_checked)
   Package 'bootloader    ' not changed, got 'bootloader 2026.10'
   Package 'rootfs@1      ' changed, got 'filesystem R5.0', found 'filesystem R6.0'
   Package 'apps@1        ' changed, got 'applications R5.0', found 'applications R6.0'
$(banner start)
   Current baseline:1, Updating baseline:2
## Preparing root and applications filesystems...
   Preparing package  'rootfs@1      '... (filesystem R6.0)
   Installing package 'rootfs@1      '... (filesystem R6.0)
   Verifying package  'rootfs@1      '... (filesystem R6.0)
   Preparing package  'apps@1        '... (applications R6.0)
ERROR: No useable MTD partition found
$(banner failed)
EOF
expect_stderr <<'EOF'
EOF
expect_volume rootfs2 "R6.0"
expect_volume apps2 "R4.0"
expect_dataflash <<'EOF'
page32: ff ff ff ff ff ff ff ff ff ff
~ bootloader 0: magic=0xdeadbeef * description="bootloader 2026.10" image ok
bootloader 1: erased
linux 1: magic=0xdeadbeef valid=1 sequence=4 format=2 board_id=0x105 magic_end=0xdeadbeef
linux 2: erased
EOF

# rootfs1 split into rootfs12 (mtd1) and rootfs1 (mtd6, filling the gap): the
# board now runs baseline 2, and the root filesystem of baseline 1 goes into
# rootfs12, the lowest device whose name contains rootfs1, while the partition
# named rootfs1 keeps its volume.
must umount /mnt/apps
nand_partition del rootfs1
nand_partition add rootfs12 0 16
nand_partition add rootfs1 16 16
expect_partitions <<'EOF'
mtd1 rootfs12 16 MiB at 0 MiB
mtd2 rootfs2 32 MiB at 32 MiB
mtd3 apps1 32 MiB at 64 MiB
mtd4 spare 8 MiB at 96 MiB
mtd6 rootfs1 16 MiB at 16 MiB
mtd7 apps2 16 MiB at 112 MiB
EOF
cmdline console=ttyS0 brd_id_io=1 brd_id_core=5 baseline=2
volume rootfs12 ubifs "R4.0"
volume rootfs1 ubifs "R4.0"
apps_mounted apps2
linux_record 2 sequence=7 board_id=0x105
wrapper flash_eraseall log
wrapper ubimkvol log
run firmpack-update fs_os.img fs_app.img
expect_status 0
expect_stdout <<EOF
$(pair_checked)
   Package 'bootloader    ' not changed, got 'bootloader 2026.10'
   Package 'rootfs@1      ' changed, got 'filesystem R5.0', found 'filesystem R6.0'
   Package 'apps@1        ' changed, got 'applications R4.0', found 'applications R6.0'
$(banner start)
   Current baseline:2, Updating baseline:1
## Preparing root and applications filesystems...
$(fs_root_written)
$(fs_apps_written)
## Finalising root and applications filesystems update...
$(banner completed)
EOF
expect_stderr <<'EOF'
EOF
expect_commands <<'EOF'
flash_eraseall -q /dev/mtd1
ubimkvol /dev/ubi11 -N rootfs1 -m
flash_eraseall -q /dev/mtd3
ubimkvol /dev/ubi13 -N apps1 -m
EOF
expect_volume rootfs12 "R6.0"
expect_volume rootfs1 "R4.0"
expect_volume apps1 "R6.0"
