# Pairs and boards the tool refuses before it writes anything: a damaged image
# in either firmpack, an OS or APP firmpack without this board, a board
# configuration or package without what the update needs, versions that are
# missing or do not pair, and a changed pair on a board whose running baseline
# is unknown.
cmdline console=ttyS0 brd_id_io=1 brd_id_core=5 baseline=1
volume rootfs1 ubifs "R5.0"
volume apps1 ubifs "R5.0"
volume rootfs2 ubifs "R4.0"
apps_mounted apps1
root_version "R5.0"
linux_record 1 sequence=4 board_id=0x105
bootloader_record 0 image=tiny.fit sequence=3 "description=bootloader 2026.04"

# Every image is checked in order; the first bad one names its firmpack.
run firmpack-update up_os_damaged.img up_app_damaged.img
expect_status 22
expect_stdout <<'EOF'
## Info: Firmpacks must match board-id: 0x105
~ ## Checking hash(es) for FIT Image at * ...
   Hash(es) for Image 0 (bootloader@1): crc32+ sha1+ 
   Hash(es) for Image 1 (rootfs@1): sha1+ 
   Hash(es) for Image 2 (fdt@1): md5 error!
Bad hash value for 'hash@1' hash node in 'fdt@1' image node
file up_os_damaged.img is corrupt, stopping upgrade
EOF
expect_stderr <<'EOF'
EOF

run firmpack-update up_os.img up_app_damaged.img
expect_status 22
expect_stdout <<'EOF'
## Info: Firmpacks must match board-id: 0x105
~ ## Checking hash(es) for FIT Image at * ...
   Hash(es) for Image 0 (bootloader@1): crc32+ sha1+ 
   Hash(es) for Image 1 (rootfs@1): sha1+ 
   Hash(es) for Image 2 (fdt@1): md5+ 
~ ## Checking hash(es) for FIT Image at * ...
   Hash(es) for Image 0 (apps@1): crc32 error!
Bad hash value for 'hash@1' hash node in 'apps@1' image node
file up_app_damaged.img is corrupt, stopping upgrade
EOF
expect_stderr <<'EOF'
EOF

run firmpack-update up_os.img up_app_board200.img
expect_status 22
expect_stdout <<EOF
$(pair_consistent)
## Both firmpacks match together
Invalid firmpack for this board (Board 0x0105 not defined)
EOF
expect_stderr <<'EOF'
EOF

run firmpack-update up_os.img up_app_r50.img
expect_status 9
expect_stdout <<EOF
$(pair_consistent)
Application firmpack version and OS-firmpack version do not match:
	- Expected: 'R5.1'
	- Found   : 'R5.0'
EOF
expect_stderr <<'EOF'
EOF

# refused <OS firmpack> <APP firmpack> <status> <line> [after pairing]: a run
# that checks both firmpacks and stops with the line; with a fifth word the
# pair was accepted first.
refused() {
    run firmpack-update "$1" "$2"
    expect_status "$3"
    {
        pair_consistent
        [ $# -lt 5 ] || echo "## Both firmpacks match together"
        printf '%s\n' "$4"
    } > "$WORK/refused.stdout"
    expect_stdout < "$WORK/refused.stdout"
    expect_stderr <<'EOF'
EOF
}

refused up_os_nofdt.img up_app.img 22 \
    "ERROR: Firmpack does not contain an FDT node Firmpack is corrupt!"
refused up_os_fdt_nodesc.img up_app.img 38 "No Description for FDT package"
refused up_os_noversion.img up_app.img 22 "OS firmpack does not contain version string"
refused up_os.img up_app_noversion.img 22 "APP firmpack does not contain version string"
refused up_os_nofw.img up_app.img 22 \
    "Firmpack does not contain a 'firmware =' definition" paired

# A changed pair, but no running baseline to update from: the start banner
# and no other.
cmdline console=ttyS0 brd_id_io=1 brd_id_core=5
run firmpack-update up_os.img up_app.img
expect_status 9
expect_stdout <<EOF
$(pair_checked)
   Package 'bootloader    ' changed, got 'bootloader 2026.04', found 'bootloader 2026.10'
   Package 'rootfs@1      ' changed, got 'filesystem R5.0', found 'filesystem R5.1'
   Package 'apps@1        ' changed, got 'applications R5.0', found 'applications R5.1'
$(banner start)
Unexpected baseline to boot from:-1
EOF
expect_stderr <<'EOF'
EOF

cmdline console=ttyS0 brd_id_io=3 brd_id_core=0 baseline=1
run firmpack-update up_os.img up_app.img
expect_status 22
expect_stdout <<EOF
$(pair_consistent 0x300)
Invalid firmpack for this board (Board 0x0300 not defined)
EOF
expect_stderr <<'EOF'
EOF

# None of these runs wrote anything.
expect_dataflash <<'EOF'
page32: ff ff ff ff ff ff ff ff ff ff
~ bootloader 0: magic=0xdeadbeef image_offset=0xce820 image_length=1494 image_crc=0x* valid=1 sequence=3 magic_end=0xdeadbeef description="bootloader 2026.04" image ok
bootloader 1: erased
linux 1: magic=0xdeadbeef valid=1 sequence=4 format=2 board_id=0x105 magic_end=0xdeadbeef
linux 2: erased
EOF
expect_volume rootfs2 "R4.0"
expect_files /tmp <<'EOF'
EOF
