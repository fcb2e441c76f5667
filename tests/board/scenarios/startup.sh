# Start-up: the Info line takes the board id from /proc/cmdline, brd_id_io
# shifted left by 8, or brd_id_core, both decimal and unmasked; a missing key
# counts 0, the first occurrence wins, and the last word keeps the kernel's
# line feed. Any use but two files or --shm shows the usage, named as the tool
# was invoked.

# expect_usage <program as invoked> <board id>
expect_usage() {
    expect_status 22
    expect_stdout <<EOF
## Info: Firmpacks must match board-id: $2
Usage: $1 <fp_os.img> <fp_app.img>
       $1 --shm
EOF
    expect_stderr <<'EOF'
EOF
}

# The kernel's own command line: brd_id_io=1 brd_id_core=5.
run firmpack-update
expect_usage firmpack-update 0x105
run firmpack-update --help
expect_usage firmpack-update 0x105
run /usr/bin/firmpack-update tiny.fit tiny.fit tiny.fit
expect_usage /usr/bin/firmpack-update 0x105

cmdline console=ttyS0 brd_id_io=1 brd_id_core=300 baseline=2
run firmpack-update
expect_usage firmpack-update 0x12c

cmdline console=ttyS0 brd_id_io=0x10 brd_id_core=7 brd_id_core=9 xbrd_id_io=2
run firmpack-update
expect_usage firmpack-update 0x7

cmdline console=ttyS0 baseline=1 brd_id_io=2
run firmpack-update
expect_usage firmpack-update 0x200
