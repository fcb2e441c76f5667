# The board id comes from /proc/cmdline: brd_id_io shifted left by 8, or
# brd_id_core, both decimal and unmasked; a missing key counts 0, the first
# occurrence wins, and the last word keeps the kernel's line feed.
cmdline console=ttyS0 brd_id_io=1 brd_id_core=300 baseline=2
run firmpack-update
expect_status 22
expect_stdout <<'EOF'
## Info: Firmpacks must match board-id: 0x12c
Usage: firmpack-update <fp_os.img> <fp_app.img>
       firmpack-update --shm
EOF
expect_stderr <<'EOF'
EOF

cmdline console=ttyS0 brd_id_io=0x10 brd_id_core=7 brd_id_core=9 xbrd_id_io=2
run firmpack-update
expect_status 22
expect_stdout <<'EOF'
## Info: Firmpacks must match board-id: 0x7
Usage: firmpack-update <fp_os.img> <fp_app.img>
       firmpack-update --shm
EOF
expect_stderr <<'EOF'
EOF

cmdline console=ttyS0 baseline=1 brd_id_io=2
run firmpack-update
expect_status 22
expect_stdout <<'EOF'
## Info: Firmpacks must match board-id: 0x200
Usage: firmpack-update <fp_os.img> <fp_app.img>
       firmpack-update --shm
EOF
expect_stderr <<'EOF'
EOF
