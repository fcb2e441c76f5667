# Failures while a filesystem is installed into baseline 2, each ending the
# tool with its result: the mount directory's name taken by a file (the mount
# fails), the temporary image's by a directory (unlink fails), a volume update
# that stops reading at once (the write meets a broken pipe: EPIPE, since the
# tool ignores the signal), and a new volume of another version than its
# package's description (left mounted read-only, on the mount directory that
# an earlier run left).
# SPDX-License-Identifier: MIT
fs_board

# failed <status> <standard error> [<root description>]: that status and
# standard error (one line or none), and on standard output fs_started, the
# lines on standard input and the failure banner.
failed() {
    expect_status "$1"
    { fs_started "${3:-}" && cat && banner failed; } > "$WORK/failed.out"
    expect_stdout < "$WORK/failed.out"
    if [ -n "$2" ]; then printf '%s\n' "$2"; fi > "$WORK/failed.err"
    expect_stderr < "$WORK/failed.err"
}

: > /tmp/rootfs2
run firmpack-update fs_os.img fs_app.img
failed 20 "" <<EOF
$(root_written)
ERROR: mounting failed! (Not a directory)
EOF
rm /tmp/rootfs2

cat > "$WORK/stale-dir.sh" <<'EOF'
mkdir /tmp/ubifs_$$.img
exec firmpack-update "$@"
EOF
run sh "$WORK/stale-dir.sh" fs_os.img fs_app.img
failed 21 "~ ERROR: Failed to remove tempfile at '/tmp/ubifs_*.img' (Is a directory)" <<EOF
$(root_written)
   Preparing package  'apps@1        '... (applications R6.0)
   Extracting package 'apps@1        '... (applications R6.0)
EOF

printf '#!/bin/sh\nexit 1\n' > "$WORK/bin/ubiupdatevol"
chmod +x "$WORK/bin/ubiupdatevol"
run firmpack-update fs_os.img fs_app.img
failed 32 "" <<'EOF'
   Preparing package  'rootfs@1      '... (filesystem R6.0)
   Installing package 'rootfs@1      '... (filesystem R6.0)
EOF
unwrap ubiupdatevol

run firmpack-update fs_os_mismatch.img fs_app.img
failed 22 "" "filesystem R6.1" <<'EOF'
   Preparing package  'rootfs@1      '... (filesystem R6.1)
   Installing package 'rootfs@1      '... (filesystem R6.1)
   Verifying package  'rootfs@1      '... (filesystem R6.1)
ERROR: Package 'rootfs@1      ' does not match, need 'filesystem R6.0', found 'filesystem R6.1'
ERROR: Versions do not match -> Upgrade failed!
EOF
expect_mounts <<'EOF'
/dev/ubi13_0 on /mnt/apps ro
/dev/ubi12_0 on /tmp/rootfs2 ro
EOF
