# Both kinds of filesystem package written into baseline 2 on the real kernel:
# the root filesystem (none) goes from the firmpack straight into ubiupdatevol,
# the applications filesystem (gzip) is unpacked into /tmp/ubifs_<pid>.img
# first. Each new volume starts with exactly the package's bytes (unpacked for
# gzip) and mounts with the package's version file; the unpacked image stays
# in /tmp. Before the run the temporary file's name is a symbolic link to
# another file, and the mount directory /tmp/rootfs2 exists with a file in
# it: the link is replaced, not written through, and the directory is used
# as it is.
cmdline console=ttyS0 brd_id_io=1 brd_id_core=5 baseline=1
volume rootfs1 ubifs "R5.0"
volume apps1 ubifs "R5.0"
volume rootfs2 ubifs "R4.0"
volume apps2 ubifs "R4.0"
apps_mounted apps1
root_version "R5.0"
linux_record 1 sequence=4 board_id=0x105
bootloader_record 0 image=tiny.fit "description=bootloader 2026.10"
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
$(pair_checked)
   Package 'bootloader    ' not changed, got 'bootloader 2026.10'
   Package 'rootfs@1      ' changed, got 'filesystem R5.0', found 'filesystem R6.0'
   Package 'apps@1        ' changed, got 'applications R5.0', found 'applications R6.0'
$(banner start)
   Current baseline:1, Updating baseline:2
## Preparing root and applications filesystems...
   Preparing package  'rootfs@1      '... (filesystem R6.0)
   Installing package 'rootfs@1      '... (filesystem R6.0)
   Verifying package  'rootfs@1      '... (filesystem R6.0)
   Preparing package  'apps@1        '... (applications R6.0)
   Extracting package 'apps@1        '... (applications R6.0)
   Installing package 'apps@1        '... (applications R6.0)
   Verifying package  'apps@1        '... (applications R6.0)
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
