# Both kinds of filesystem package written into baseline 2 on the real kernel:
# the root filesystem (none) goes from the firmpack straight into ubiupdatevol,
# the applications filesystem (gzip) is unpacked into /tmp/ubifs_<pid>.img
# first. Each new volume starts with exactly the package's bytes (unpacked for
# gzip) and mounts with the package's version file; the unpacked image stays
# in /tmp. Before the run the temporary file's name is a symbolic link to
# another file, and the mount directory /tmp/rootfs2 exists with a file in
# it: the link is replaced, not written through, and the directory is used
# as it is.
fs_board
for utility in ubidetach flash_eraseall ubiattach ubimkvol ubiupdatevol gunzip; do
    wrapper "$utility" log
done
mkdir /tmp/rootfs2
echo kept > /tmp/rootfs2/left-over
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
$(fs_root_written)
$(fs_apps_written)
## Finalising root and applications filesystems update...
$(banner completed)
EOF
expect_stderr <<'EOF'
EOF
expect_commands <<EOF
ubidetach /dev/ubi_ctrl -m 2
flash_eraseall -q /dev/mtd2
ubiattach /dev/ubi_ctrl -m 2 -d 12
ubimkvol /dev/ubi12 -N rootfs2 -m
ubiupdatevol /dev/ubi12_0 -s $(wc -c < fs_rootfs.ubifs) -
ubidetach /dev/ubi_ctrl -m 4
flash_eraseall -q /dev/mtd4
ubiattach /dev/ubi_ctrl -m 4 -d 14
ubimkvol /dev/ubi14 -N apps2 -m
gunzip -cf
ubiupdatevol /dev/ubi14_0 /tmp/ubifs_$pid.img
EOF
expect_volume_bytes rootfs2 fs_rootfs.ubifs
expect_volume_bytes apps2 fs_apps.ubifs
expect_volume rootfs2 "R6.0"
expect_volume apps2 "R6.0"
expect_volume rootfs1 "R5.0"
expect_volume apps1 "R5.0"
# Both new volumes verified and unmounted, their devices still attached, each
# volume named after its partition.
expect_mounts <<'EOF'
/dev/ubi13_0 on /mnt/apps ro
EOF
run cat /sys/class/ubi/ubi12/mtd_num /sys/class/ubi/ubi12_0/name \
    /sys/class/ubi/ubi14/mtd_num /sys/class/ubi/ubi14_0/name
expect_status 0
expect_stdout <<'EOF'
2
rootfs2
4
apps2
EOF
expect_stderr <<'EOF'
EOF
expect_files /tmp <<EOF
apps2
link-target
rootfs2
ubifs_$pid.img
EOF
expect_bytes "/tmp/ubifs_$pid.img" fs_apps.ubifs
expect_file /tmp/link-target <<'EOF'
untouched
EOF
expect_files /tmp/rootfs2 <<'EOF'
left-over
EOF
