# Firmpack files that cannot be used stop the run before any update step, each
# with its one message: a missing file (the OS file is opened first), an empty
# file, and a device tree cut short of the total size in its header.
run firmpack-update missing.fit tiny.fit
expect_status 2
expect_stdout <<'EOF'
## Info: Firmpacks must match board-id: 0x105
EOF
expect_stderr <<'EOF'
Failed to open missing.fit : No such file or directory
EOF

: > /tmp/empty.fit
run firmpack-update tiny.fit /tmp/empty.fit
expect_status 22
expect_stdout <<'EOF'
## Info: Firmpacks must match board-id: 0x105
EOF
expect_stderr <<'EOF'
Bad size: "/tmp/empty.fit" is not valid image
EOF

head -c 1000 tiny.fit > /tmp/truncated.fit
run firmpack-update /tmp/truncated.fit tiny.fit
expect_status 22
expect_stdout <<'EOF'
## Info: Firmpacks must match board-id: 0x105
file /tmp/truncated.fit is corrupt, stopping upgrade
EOF
expect_stderr <<'EOF'
EOF
