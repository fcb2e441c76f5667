# The search for the dataflash (a legacy pair writes and reads it): /dev/mtd1
# upwards, the first writable MTD_DATAFLASH device, probed read-only and opened
# read-write once per run; the search ends at the first node it cannot open.
# SPDX-License-Identifier: MIT
LEGACY="   -> Firmpack does not contain a partition ID field . Firmpack is a legacy firmpack!"

# Without a node for mtd0 a probe of it would fail the run.
rm -f /dev/mtd0 /dev/mtd0ro
linux_record 1 sequence=4 board_id=0x105
linux_record 2 sequence=3 board_id=0x105
run firmpack-update up_os_legacy.img up_app.img
expect_status 0
expect_stdout <<EOF
$(pair_legacy "$LEGACY")
EOF
expect_stderr < /dev/null
expect_dataflash_opens 2
expect_dataflash <<'EOF'
page32: ff ff ff ff ff ff ff ff ff ff
bootloader 0: erased
bootloader 1: erased
linux 1: erased
linux 2: erased
EOF

linux_record 1 sequence=4 board_id=0x105
fault read_only=1
run firmpack-update up_os_legacy.img up_app.img
expect_status 255
expect_stdout <<EOF
$(pair_legacy "$LEGACY")
ERROR: Failed to write to dataflash (2)
ERROR: install_legacy_firmpacks: Failed to erase to dataflash
EOF
expect_stderr <<'EOF'
Dataflash device (/dev/mtd5) is not writable
Could not open mtd device: /dev/mtd6 -> No such file or directory
EOF
expect_dataflash <<'EOF'
page32: ff ff ff ff ff ff ff ff ff ff
bootloader 0: erased
bootloader 1: erased
linux 1: magic=0xdeadbeef valid=1 sequence=4 format=2 board_id=0x105 magic_end=0xdeadbeef
linux 2: erased
EOF

# A read that the device fails reports the device's error number.
fault fail_read=1
run firmpack-update up_os_legacy.img up_app.img
expect_status 255
expect_stdout <<EOF
$(pair_legacy "$LEGACY")
ERROR: Failed to read from dataflash (5)
ERROR: install_legacy_firmpacks: Failed to read from dataflash
EOF
expect_stderr < /dev/null
