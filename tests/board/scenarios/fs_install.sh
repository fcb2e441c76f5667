# Both kinds of package written into baseline 2 on the real kernel: the root
# filesystem (none) straight from the firmpack, the applications (gzip)
# through /tmp/ubifs_<pid>.img, which stays. The volumes hold the packages'
# bytes and are unmounted after their verification. A symbolic link in the
# temporary file's place is replaced, not written through. (A mount directory
# left by an earlier run is used as it is: fs_failures' last run.)
# SPDX-License-Identifier: MIT
fs_board
wrapper ubiupdatevol log
wrapper gunzip log
echo untouched > /tmp/link-target

# A shell's process ID is the tool's after exec: this one notes it and links
# the tool's temporary file name to /tmp/link-target first.
cat > "$WORK/stale-link.sh" <<EOF
echo \$\$ > $WORK/tool.pid
ln -s /tmp/link-target /tmp/ubifs_\$\$.img
exec firmpack-update "\$@"
EOF
run sh "$WORK/stale-link.sh" fs_os.img fs_app.img
pid=$(cat "$WORK/tool.pid")
expect_status 0
expect_stdout <<EOF
$(fs_started)
$(root_written)
$(apps_written)
## Finalising root and applications filesystems update...
$(banner completed)
EOF
expect_stderr < /dev/null
expect_commands <<EOF
ubiupdatevol /dev/ubi12_0 -s $(wc -c < fs_rootfs.ubifs) -
gunzip -cf
ubiupdatevol /dev/ubi14_0 /tmp/ubifs_$pid.img
EOF
expect_volume_bytes rootfs2 fs_rootfs.ubifs
expect_volume_bytes apps2 fs_apps.ubifs
expect_mounts <<'EOF'
/dev/ubi13_0 on /mnt/apps ro
EOF
expect_bytes "/tmp/ubifs_$pid.img" fs_apps.ubifs
expect_file /tmp/link-target <<'EOF'
untouched
EOF
