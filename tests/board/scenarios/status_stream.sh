# The update agent's status stream: a whole update with it on prints what the
# same run prints without it, and its objects come in order with every byte
# counted; a run with nothing to do and a failed dataflash transfer, both exit
# status 255, are told apart by the last object.
# SPDX-License-Identifier: MIT
running_board R5.0

# streamed <firmpack>...: run with the stream on descriptor 3, into $WORK/stream.
streamed() {
    run env FIRMPACK_UPDATE_STATUS_FD=3 sh -c 'exec firmpack-update "$@" 3> "$0"' \
        "$WORK/stream" "$@"
}

# The stream's objects as stream_summary prints them, against standard input.
expect_stream() {
    stream_summary < "$WORK/stream" > "$WORK/summary"
    compare stream "$WORK/summary"
}

# Up to the comparison with the board, which every run begins.
checked_stream() {
    cat <<'EOF'
start 0x105 up_os.img up_app.img
begin hashes up_os.img
~ end hashes up_os.img all * bytes
begin hashes up_app.img
~ end hashes up_app.img all * bytes
begin acceptance
end acceptance
begin comparison
EOF
}

streamed up_os.img up_app.img
expect_status 0
expect_stdout <<EOF
$(pair_checked)
$(up_compared)
$(up_written 1 2)
EOF
expect_stderr < /dev/null
expect_stream <<EOF
$(checked_stream)
end comparison
begin baseline
end baseline
begin bootloader bootloader@1
end bootloader bootloader@1 all 65536 bytes
begin preparation rootfs2
end preparation rootfs2
begin write rootfs2
~ end write rootfs2 all * bytes
begin verification rootfs2
end verification rootfs2
begin preparation apps2
end preparation apps2
begin extraction apps2
~ end extraction apps2 all * bytes
begin write apps2
end write apps2
begin verification apps2
end verification apps2
begin records filesystems
end records filesystems
begin records bootloader
end records bootloader
outcome completed 0
EOF

reboot_into 2
streamed up_os.img up_app.img
expect_status 255
expect_stdout <<EOF
$(pair_checked)
   Package 'bootloader    ' not changed, got 'bootloader 2026.10'
   Package 'rootfs@1      ' not changed, got 'filesystem R5.1'
   Package 'apps@1        ' not changed, got 'applications R5.1'
$(banner nothing)
EOF
expect_stderr < /dev/null
expect_stream <<EOF
$(checked_stream)
end comparison
outcome nothing to update -1
EOF

fault fail_read=1
streamed up_os.img up_app.img
expect_status 255
expect_stdout <<EOF
$(pair_checked)
ERROR: Failed to read from dataflash (5)
EOF
expect_stderr < /dev/null
expect_stream <<EOF
$(checked_stream)
outcome failed -1 comparison
EOF
