# --shm takes both firmpacks from the platform library, which serves them from
# /dev/shm: a missing APP firmpack ends the run with the library's result and no
# message; with both present the update checks them (this one has no FDT package).
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
expect_status 22
expect_stdout <<'EOF'
## Info: Firmpacks must match board-id: 0x105
~ ## Checking hash(es) for FIT Image at * ...
   Hash(es) for Image 0 (rootfs): crc32+ 
~ ## Checking hash(es) for FIT Image at * ...
   Hash(es) for Image 0 (rootfs): crc32+ 
## Both firmpacks are consistent
ERROR: Firmpack does not contain an FDT node Firmpack is corrupt!
EOF
expect_stderr <<'EOF'
EOF
