# The Info line takes the board id from the kernel's own command line
# (brd_id_io=1 brd_id_core=5); any use but two files or --shm shows the usage,
# named as the tool was invoked.
run firmpack-update
expect_status 22
expect_stdout <<'EOF'
## Info: Firmpacks must match board-id: 0x105
Usage: firmpack-update <fp_os.img> <fp_app.img>
       firmpack-update --shm
EOF
expect_stderr <<'EOF'
EOF

run firmpack-update --help
expect_status 22
expect_stdout <<'EOF'
## Info: Firmpacks must match board-id: 0x105
Usage: firmpack-update <fp_os.img> <fp_app.img>
       firmpack-update --shm
EOF
expect_stderr <<'EOF'
EOF

run /usr/bin/firmpack-update tiny.fit tiny.fit tiny.fit
expect_status 22
expect_stdout <<'EOF'
## Info: Firmpacks must match board-id: 0x105
Usage: /usr/bin/firmpack-update <fp_os.img> <fp_app.img>
       /usr/bin/firmpack-update --shm
EOF
expect_stderr <<'EOF'
EOF
