# --shm takes both firmpacks from the platform library, which serves them from
# /dev/shm: a missing APP firmpack ends the run with the library's result and no
# message; with both present the update starts with the shared-memory names.
shm tiny.fit tiny.fit
rm /dev/shm/fp_app.img
run firmpack-update --shm
expect_status 2
expect_stdout <<'EOF'
## Info: Firmpacks must match board-id: 0x105
EOF
expect_stderr <<'EOF'
EOF

shm tiny.fit tiny.fit
run firmpack-update --shm
expect_status 38
expect_stdout <<'EOF'
## Info: Firmpacks must match board-id: 0x105
## Received OS firmpack shm:fp_os.img and APP firmpack shm:fp_app.img for board 0x0105
ERROR: the update sequence is not built yet
EOF
expect_stderr <<'EOF'
EOF
