# A legacy downgrade on a failing dataflash: the erase of the Linux update
# administration is written once and read back whole; a failed write is not
# followed by a read, and a byte that does not read back as 0xFF fails it.
legacy_lines() {
    cat <<'EOF'
## Info: Firmpacks must match board-id: 0x105
~ ## Checking hash(es) for FIT Image at * ...
   Hash(es) for Image 0 (bootloader@1): crc32+ sha1+ 
   Hash(es) for Image 1 (rootfs@1): sha1+ 
   Hash(es) for Image 2 (fdt@1): md5+ 
~ ## Checking hash(es) for FIT Image at * ...
   Hash(es) for Image 0 (apps@1): crc32+ md5+ 
## Both firmpacks are consistent
   -> Firmpack does not contain a partition ID field . Firmpack is a legacy firmpack!
## Both firmpacks match together
## Legacy Firmpacks detected, preparing for downgrade...
EOF
}

linux_record 1 sequence=4 board_id=0x105
linux_record 2 sequence=3 board_id=0x105
fault fail_write=1
run firmpack-update up_os_legacy.img up_app.img
expect_status 255
expect_stdout <<EOF
$(legacy_lines)
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
$(legacy_lines)
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
$(legacy_lines)
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
