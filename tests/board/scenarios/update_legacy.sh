# Each sign of a legacy OS firmpack hands the pair to the boot loader: no
# filesystem package for the board, an FDT package that is no partition ID,
# a partition ID of no bytes or more than 5, or one other than 2. The Linux
# update administration is erased, and the versions are not compared.
# legacy_downgrade <OS firmpack> <APP firmpack> [line]: the run on a board
# with both Linux records, the line printed before the pair is handed over.
legacy_downgrade() {
    linux_record 1 sequence=4 board_id=0x105
    linux_record 2 sequence=3 board_id=0x105
    run firmpack-update "$1" "$2"
    expect_status 0
    expect_stdout <<EOF
$(pair_legacy "${3:-}")
EOF
    expect_stderr <<'EOF'
EOF
    expect_dataflash <<'EOF'
page32: ff ff ff ff ff ff ff ff ff ff
bootloader 0: erased
bootloader 1: erased
linux 1: erased
linux 2: erased
EOF
}

legacy_downgrade up_os_nofs.img up_app.img
legacy_downgrade up_os_legacy.img up_app.img \
    "   -> Firmpack does not contain a partition ID field . Firmpack is a legacy firmpack!"
legacy_downgrade up_os_pid0.img up_app.img \
    "ERROR: partition ID field length zero or longer than 5 digits???? Assuming Firmpack is a legacy firmpack! (len:0)"
legacy_downgrade up_os_pid6.img up_app.img \
    "ERROR: partition ID field length zero or longer than 5 digits???? Assuming Firmpack is a legacy firmpack! (len:6)"
legacy_downgrade up_os_pid3.img up_app.img \
    "   -> Firmpack partition IDs does not match current partitioning. Make the bootloader handle the update!(curr:2, fp:3)"
# An APP firmpack of another version does not stop a legacy downgrade.
legacy_downgrade up_os_legacy.img up_app_r50.img \
    "   -> Firmpack does not contain a partition ID field . Firmpack is a legacy firmpack!"
