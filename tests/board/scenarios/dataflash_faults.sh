# The dataflash's faults, each for one run: a failing write stores nothing, a
# power cut silently drops the writes after it, a failing read fails the read
# call, and a flipped byte changes what is read but not what is stored.
fault fail_write=2
run sh -c 'dftool linux 1 && dftool linux 2'
expect_status 1
expect_stdout <<'EOF'
EOF
expect_stderr <<'EOF'
dftool: write of 24 bytes at 0x410250: Input/output error
EOF
expect_dataflash <<'EOF'
page32: ff ff ff ff ff ff ff ff ff ff
bootloader 0: erased
bootloader 1: erased
linux 1: magic=0xdeadbeef valid=1 sequence=1 format=2 board_id=0x0 magic_end=0xdeadbeef
linux 2: erased
EOF

fault cut_after=1
run sh -c 'dftool linux 1 sequence=2 && dftool linux 2'
expect_status 0
expect_stdout <<'EOF'
EOF
expect_stderr <<'EOF'
EOF
expect_dataflash <<'EOF'
page32: ff ff ff ff ff ff ff ff ff ff
bootloader 0: erased
bootloader 1: erased
linux 1: magic=0xdeadbeef valid=1 sequence=2 format=2 board_id=0x0 magic_end=0xdeadbeef
linux 2: erased
EOF

fault fail_read=1
run dftool dump
expect_status 1
expect_stdout <<'EOF'
EOF
expect_stderr <<'EOF'
dftool: read of 4325376 bytes at 0x0: Input/output error
EOF

bootloader_record 0 image=tiny.fit
fault flip_read=1 flip_offset=0xce400
run dftool dump
expect_status 0
expect_stdout <<'EOF'
page32: ff ff ff ff ff ff ff ff ff ff
~ bootloader 0: magic=0xdeadbe10 image_offset=0xce820 image_length=1494 image_crc=0x* valid=1 sequence=1 magic_end=0xdeadbeef description="" image ok
bootloader 1: erased
linux 1: magic=0xdeadbeef valid=1 sequence=2 format=2 board_id=0x0 magic_end=0xdeadbeef
linux 2: erased
EOF
expect_stderr <<'EOF'
EOF
expect_dataflash <<'EOF'
page32: ff ff ff ff ff ff ff ff ff ff
~ bootloader 0: magic=0xdeadbeef image_offset=0xce820 * image ok
bootloader 1: erased
linux 1: magic=0xdeadbeef valid=1 sequence=2 format=2 board_id=0x0 magic_end=0xdeadbeef
linux 2: erased
EOF
