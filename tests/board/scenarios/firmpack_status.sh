# firmpack-status on the demo's board before an update, after it and after the
# restart, each time beside dftool's own view of the dataflash; its installed
# file gives firmpack-check the tool's own answer. A read-only dataflash is
# read all the same; without the dataflash, the kernel command line's keys and
# the applications, a line each and the rest still shown.
# SPDX-License-Identifier: MIT
demo_board

run firmpack-status
expect_status 0
expect_stdout <<'EOF'
board id:          0x105
running baseline:  1
root filesystem:   "filesystem 0.9" (/version)
applications:      "applications 0.9" (/mnt/apps/version)
bootloader slot 0: sequence 1, "bootloader 2025.04", image of 65536 bytes at 0xce820, CRC-32 good
bootloader slot 1: erased
linux baseline 1:  sequence 1, valid for board 0x105
linux baseline 2:  erased
next bootloader:   slot 0, sequence 1, "bootloader 2025.04"
next baseline:     1, sequence 1
restart pending:   no
EOF
expect_stderr < /dev/null
expect_dataflash_opens 1
expect_next <<'EOF'
bootloader slot 0 sequence 1 "bootloader 2025.04"
linux baseline 1 sequence 1
EOF
expect_installed_verdicts up_os.img up_app.img <<'EOF'
bootloader: would be updated
rootfs: would be updated
apps: would be updated
EOF

must firmpack-update up_os.img up_app.img

# Updated, not yet restarted: the boot loader starts the new pair.
BOTH_SLOTS='bootloader slot 0: sequence 1, "bootloader 2025.04", image of 65536 bytes at 0xce820, CRC-32 good
bootloader slot 1: sequence 2, "bootloader 2026.10", image of 65536 bytes at 0x26f430, CRC-32 good
linux baseline 1:  sequence 1, valid for board 0x105
linux baseline 2:  sequence 2, valid for board 0x105
next bootloader:   slot 1, sequence 2, "bootloader 2026.10"
next baseline:     2, sequence 2'
run firmpack-status
expect_status 0
expect_stdout <<EOF
board id:          0x105
running baseline:  1
root filesystem:   "filesystem 0.9" (/version)
applications:      "applications 0.9" (/mnt/apps/version)
$BOTH_SLOTS
restart pending:   yes: baseline 2 starts next, baseline 1 runs
EOF
expect_stderr < /dev/null
expect_dataflash <<'EOF'
page32: ff ff ff ff ff ff ff ff ff ff
~ bootloader 0: magic=0xdeadbeef image_offset=0xce820 image_length=65536 image_crc=0x* valid=1 sequence=1 magic_end=0xdeadbeef description="bootloader 2025.04" image ok
~ bootloader 1: magic=0xdeadbeef image_offset=0x26f430 image_length=65536 image_crc=0x* valid=1 sequence=2 magic_end=0xdeadbeef description="bootloader 2026.10" image ok
linux 1: magic=0xdeadbeef valid=1 sequence=1 format=2 board_id=0x105 magic_end=0xdeadbeef
linux 2: magic=0xdeadbeef valid=1 sequence=2 format=2 board_id=0x105 magic_end=0xdeadbeef
EOF
expect_next <<'EOF'
bootloader slot 1 sequence 2 "bootloader 2026.10"
linux baseline 2 sequence 2
EOF
expect_stderr < /dev/null
# The tool would find the bootloader installed and both filesystems changed.
expect_installed_verdicts up_os.img up_app.img <<'EOF'
bootloader: unchanged
rootfs: would be updated
apps: would be updated
EOF

reboot_into 2
run firmpack-status
expect_status 0
expect_stdout <<EOF
board id:          0x105
running baseline:  2
root filesystem:   "filesystem R5.1" (/version)
applications:      "applications R5.1" (/mnt/apps/version)
$BOTH_SLOTS
restart pending:   no
EOF
expect_stderr < /dev/null
cp "$WORK/stdout" "$WORK/restarted"
expect_next <<'EOF'
bootloader slot 1 sequence 2 "bootloader 2026.10"
linux baseline 2 sequence 2
EOF
expect_installed_verdicts up_os.img up_app.img <<'EOF'
bootloader: unchanged
rootfs: unchanged
apps: unchanged
EOF

# A dataflash that is not writable is opened read-only all the same.
fault read_only=1
run firmpack-status
expect_status 0
expect_stdout < "$WORK/restarted"
expect_stderr < /dev/null

cmdline console=ttyS0
umount /mnt/apps
rm -f /dev/mtd5
run firmpack-status
restore_node mtd5
expect_status 1
expect_stdout <<'EOF'
board id:          0x0: no brd_id_io= and brd_id_core= on the kernel command line, taken as 0
running baseline:  none: no baseline= on the kernel command line
root filesystem:   "filesystem R5.1" (/version)
applications:      not installed: /mnt/apps/version: No such file or directory
dataflash:         cannot be read
bootloader slot 0: not read
bootloader slot 1: not read
linux baseline 1:  not read
linux baseline 2:  not read
next bootloader:   unknown
next baseline:     unknown
restart pending:   unknown
EOF
expect_stderr <<'EOF'
Could not open mtd device: /dev/mtd5 -> No such file or directory
ERROR: Failed to read from dataflash (2)
EOF
