# A running board as later scenarios set it up: UBIFS volumes with version
# files, the running applications volume at /mnt/apps, /version; the
# utilities the tool runs on PATH, with a quiet flash_eraseall; wrappers
# first on PATH take the place of any of them.
volume rootfs1 ubifs "filesystem 1.0"
volume apps1 ubifs "applications 1.0"
volume rootfs2 ubifs
apps_mounted apps1
root_version "filesystem 1.0"

run sh -c 'cat /version /mnt/apps/version; ls -A /mnt/apps'
expect_status 0
expect_stdout <<'EOF'
filesystem 1.0
applications 1.0
version
EOF
expect_stderr <<'EOF'
EOF
expect_mounts <<'EOF'
/dev/ubi13_0 on /mnt/apps ro
EOF
expect_volume rootfs1 "filesystem 1.0"
expect_volume apps1 "applications 1.0"
expect_files /tmp <<'EOF'
EOF

run ubiupdatevol /dev/ubi12_0 tiny.fit
expect_status 0
expect_stdout <<'EOF'
EOF
expect_stderr <<'EOF'
EOF
expect_volume_bytes rootfs2 tiny.fit

run sh -c 'for u in ubidetach flash_eraseall ubiattach ubimkvol ubiupdatevol gunzip; do command -v $u; done'
expect_status 0
expect_stdout <<'EOF'
/usr/sbin/ubidetach
/usr/sbin/flash_eraseall
/usr/sbin/ubiattach
/usr/sbin/ubimkvol
/usr/sbin/ubiupdatevol
/bin/gunzip
EOF
expect_stderr <<'EOF'
EOF

wrapper flash_erase log
wrapper gunzip log
wrapper ubiattach fail
run sh -c 'echo 1.0 | gzip | gunzip -cf && flash_eraseall -q /dev/mtd4 && ubiattach -m 4'
expect_status 1
expect_stdout <<'EOF'
1.0
EOF
expect_stderr <<'EOF'
EOF
expect_commands <<'EOF'
gunzip -cf
flash_erase -q /dev/mtd4 0 0
EOF
