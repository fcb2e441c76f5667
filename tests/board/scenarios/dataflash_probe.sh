# MEMGETINFO as the tool asks it, from /dev/mtd1 on: the four NAND partitions,
# then the dataflash, of type 6 (MTD_DATAFLASH) and writable (0x400), 8192
# pages of 528 bytes.
run dftool probe
expect_status 0
expect_stdout <<'EOF'
mtd1: type 4 flags 0x400 size 0x2000000 erasesize 131072 writesize 2048 name rootfs1
mtd2: type 4 flags 0x400 size 0x2000000 erasesize 131072 writesize 2048 name rootfs2
mtd3: type 4 flags 0x400 size 0x2000000 erasesize 131072 writesize 2048 name apps1
mtd4: type 4 flags 0x400 size 0x2000000 erasesize 131072 writesize 2048 name apps2
mtd5: type 6 flags 0x400 size 0x420000 erasesize 528 writesize 528 name dataflash
EOF
expect_stderr <<'EOF'
EOF
