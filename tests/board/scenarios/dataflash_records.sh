# The test bed's dataflash records land where the boot loader reads them, in
# little-endian bytes (0xDEADBEEF as EF BE AD DE), and read back as written.
linux_record 1 sequence=5 board_id=0x105
linux_record 2 valid=0 format=1 magic_end=0x12345678
bootloader_record 1 image=tiny.fit sequence=7 "description=bootloader 2026.10"

run sh -c 'dd if=/dev/mtd5 bs=528 skip=8068 count=1 2>/dev/null | od -A x -t x1 | head -n 2'
expect_status 0
expect_stdout <<'EOF'
000000 ef be ad de 01 00 00 00 05 00 00 00 02 00 00 00
000010 05 01 00 00 ef be ad de ff ff ff ff ff ff ff ff
EOF
expect_stderr <<'EOF'
EOF

expect_dataflash <<'EOF'
page32: ff ff ff ff ff ff ff ff ff ff
bootloader 0: erased
~ bootloader 1: magic=0xdeadbeef image_offset=0x26f430 image_length=1494 image_crc=0x* valid=1 sequence=7 magic_end=0xdeadbeef description="bootloader 2026.10" image ok
linux 1: magic=0xdeadbeef valid=1 sequence=5 format=2 board_id=0x105 magic_end=0xdeadbeef
linux 2: magic=0xdeadbeef valid=0 sequence=1 format=1 board_id=0x0 magic_end=0x12345678
EOF
