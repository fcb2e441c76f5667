# Signed firmpacks on a board with a key file: a signed pair installs, with a
# line per firmpack whose configuration verifies; an unsigned pair and a
# tampered one are refused with exit status 13 before the board is read, its
# dataflash and volumes as they were. (Every other scenario runs on a board
# without a key file, and shows that the tool's output is then what it always
# was.)
# SPDX-License-Identifier: MIT
running_board R5.0
volume rootfs2 ubifs "R4.0"
volume apps2 ubifs "R4.0"
key_file signed_keys.dtb

# The hash lines of a signed pair: a sha1 record beside every md5 one.
signed_hashes() {
    cat <<'EOF'
## Info: Firmpacks must match board-id: 0x105
~ ## Checking hash(es) for FIT Image at * ...
   Hash(es) for Image 0 (bootloader@1): crc32+ sha1+ 
   Hash(es) for Image 1 (rootfs@1): sha1+ 
   Hash(es) for Image 2 (fdt@1): md5+ sha1+ 
~ ## Checking hash(es) for FIT Image at * ...
   Hash(es) for Image 0 (apps@1): crc32+ md5+ sha1+ 
EOF
}

# refused <OS firmpack> <APP firmpack> <hash lines> <reason>: before the
# board is read.
refused() {
    run firmpack-update "$1" "$2"
    expect_status 13
    expect_stdout <<EOF
$3
ERROR: $1: configuration board_0x0105: $4, stopping upgrade
EOF
    expect_stderr < /dev/null
    expect_dataflash_opens 0
}

refused up_os.img up_app.img "$(pair_consistent | sed '$d')" "no signature"
refused tampered_os.img signed_app.img "$(signed_hashes)" "bad signature"
expect_dataflash <<'EOF'
page32: ff ff ff ff ff ff ff ff ff ff
bootloader 0: erased
bootloader 1: erased
linux 1: magic=0xdeadbeef valid=1 sequence=4 format=2 board_id=0x105 magic_end=0xdeadbeef
linux 2: erased
EOF
expect_volume rootfs2 "R4.0"
expect_volume apps2 "R4.0"

run firmpack-update signed_os.img signed_app.img
expect_status 0
expect_stdout <<EOF
$(signed_hashes)
   Signature for Configuration board_0x0105 (signed_os.img): sha256,rsa2048:dev+ 
   Signature for Configuration board_0x0105 (signed_app.img): sha256,rsa2048:dev+ 
## Both firmpacks are consistent
## Both firmpacks match together
## Checking versions:
$(up_compared)
$(up_written 1 2)
EOF
expect_stderr < /dev/null
expect_volume rootfs2 "R5.1"
expect_volume apps2 "R5.1"
