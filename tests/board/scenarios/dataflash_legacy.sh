linux_record 1 sequence=4 board_id=0x105
linux_record 2 sequence=3 board_id=0x105
fault fail_write=1
run firmpack-update up_os_legacy.img up_app.img
expect_status 255
expect_stdout <<EOF
$(pair_legacy "   -> Firmpack does not contain a partition ID field . Firmpack is a legacy firmpack!")
ERROR: Failed to write to dataflash (5)
ERROR: install_legacy_firmpacks: Failed to erase to dataflash
EOF
expect_stderr <<'EOF'
write failed: 0x410040 (1056)
EOF
expect_dataflash <<'EOF'
page32: ff ff ff ff ff ff ff ff ff ff
bootloader 0: erased
bootloader 1: erased
linux 1: magic=0xdeadbeef valid=1 sequence=4 format=2 board_id=0x105 magic_end=0xdeadbeef
linux 2: magic=0xdeadbeef valid=1 sequence=3 format=2 board_id=0x105 magic_end=0xdeadbeef
EOF

fault fail_read=1
run firmpack-update up_os_legacy.img up_app.img
expect_status 255
expect_stdout <<EOF
$(pair_legacy "   -> Firmpack does not contain a partition ID field . Firmpack is a legacy firmpack!")
ERROR: Failed to read from dataflash (5)
ERROR: install_legacy_firmpacks: Failed to read from dataflash
EOF
expect_stderr <<'EOF'
EOF

linux_record 1 sequence=4 board_id=0x105
fault flip_read=1 flip_offset=0x410250
run firmpack-update up_os_legacy.img up_app.img
expect_status 22
expect_stdout <<EOF
$(pair_legacy "   -> Firmpack does not contain a partition ID field . Firmpack is a legacy firmpack!")
ERROR: install_legacy_firmpacks: Dataflash does not contain 0xff after erasei
EOF
expect_stderr <<'EOF'
EOF
# The erase itself took.
expect_dataflash <<'EOF'
page32: ff ff ff ff ff ff ff ff ff ff
bootloader 0: erased
bootloader 1: erased
linux 1: erased
linux 2: erased
EOF
