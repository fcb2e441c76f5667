# Failures while a filesystem is installed into baseline 2, on the real kernel:
# a utility that ends with exit status 1 (wait status 256) ends the tool with
# exit status 1; a temporary image name that cannot be removed ends it with the
# system's error number; a new volume whose version file does not match its
# package ends it with 22 and stays mounted read-only. What went before the
# failure stays written; nothing after it is done.
fs_board

# The erase of rootfs2 fails: only the detach ran before it, so both volumes
# of baseline 2 are as they were.
wrapper ubidetach log
wrapper flash_eraseall fail
wrapper ubiattach log
run firmpack-update fs_os.img fs_app.img
expect_status 1
expect_stdout <<EOF
$(fs_started)
   Preparing package  'rootfs@1      '... (filesystem R6.0)
$(banner failed)
EOF
expect_stderr <<'EOF'
EOF
expect_commands <<'EOF'
ubidetach /dev/ubi_ctrl -m 2
EOF
expect_volume rootfs2 "R4.0"
expect_volume apps2 "R4.0"
unwrap ubidetach
unwrap flash_eraseall
unwrap ubiattach

# The volume update of rootfs2 fails after taking the whole package; apps2 is
# not touched.
wrapper ubiupdatevol fail
wrapper flash_eraseall log
run firmpack-update fs_os.img fs_app.img
expect_status 1
expect_stdout <<EOF
$(fs_started)
   Preparing package  'rootfs@1      '... (filesystem R6.0)
   Installing package 'rootfs@1      '... (filesystem R6.0)
$(banner failed)
EOF
expect_stderr <<'EOF'
EOF
expect_commands <<'EOF'
flash_eraseall -q /dev/mtd2
EOF
expect_volume apps2 "R4.0"
unwrap ubiupdatevol
unwrap flash_eraseall

# A volume update that stops reading at once: the tool's write meets a broken
# pipe, and the tool, not killed by the signal, ends with EPIPE (32).
printf '#!/bin/sh\nexit 1\n' > "$WORK/bin/ubiupdatevol"
chmod +x "$WORK/bin/ubiupdatevol"
run firmpack-update fs_os.img fs_app.img
expect_status 32
expect_stdout <<EOF
$(fs_started)
   Preparing package  'rootfs@1      '... (filesystem R6.0)
   Installing package 'rootfs@1      '... (filesystem R6.0)
$(banner failed)
EOF
expect_stderr <<'EOF'
EOF
unwrap ubiupdatevol

# gunzip fails after taking the applications package: the root filesystem is
# written, the empty temporary image file stays, ubiupdatevol never runs for
# apps2.
wrapper gunzip fail
wrapper ubiupdatevol log
run firmpack-update fs_os.img fs_app.img
expect_status 1
expect_stdout <<EOF
$(fs_started)
$(fs_root_written)
   Preparing package  'apps@1        '... (applications R6.0)
   Extracting package 'apps@1        '... (applications R6.0)
$(banner failed)
EOF
expect_stderr <<'EOF'
EOF
expect_commands <<EOF
ubiupdatevol /dev/ubi12_0 -s $(wc -c < fs_rootfs.ubifs) -
EOF
expect_volume rootfs2 "R6.0"
expect_files /tmp <<'EOF'
rootfs2
~ ubifs_*.img
EOF
unwrap gunzip
unwrap ubiupdatevol
rm -f /tmp/ubifs_*.img

# The temporary image name is taken by a directory, which unlink cannot
# remove: the message on standard error and EISDIR (21); gunzip never runs.
cat > "$WORK/stale-dir.sh" <<EOF
mkdir /tmp/ubifs_\$\$.img
exec firmpack-update "\$@"
EOF
wrapper gunzip log
run sh "$WORK/stale-dir.sh" fs_os.img fs_app.img
expect_status 21
expect_stdout <<EOF
$(fs_started)
$(fs_root_written)
   Preparing package  'apps@1        '... (applications R6.0)
   Extracting package 'apps@1        '... (applications R6.0)
$(banner failed)
EOF
expect_stderr <<'EOF'
~ ERROR: Failed to remove tempfile at '/tmp/ubifs_*.img' (Is a directory)
EOF
expect_commands <<'EOF'
EOF
unwrap gunzip

# The root filesystem package is described as R6.1 while the version file in
# it says R6.0: the verification fails after the write, and the new volume
# stays mounted read-only on /tmp/rootfs2.
run firmpack-update fs_os_mismatch.img fs_app.img
expect_status 22
expect_stdout <<EOF
$(fs_started "filesystem R6.1")
   Preparing package  'rootfs@1      '... (filesystem R6.1)
   Installing package 'rootfs@1      '... (filesystem R6.1)
   Verifying package  'rootfs@1      '... (filesystem R6.1)
ERROR: Package 'rootfs@1      ' does not match, need 'filesystem R6.0', found 'filesystem R6.1'
ERROR: Versions do not match -> Upgrade failed!
$(banner failed)
EOF
expect_stderr <<'EOF'
EOF
expect_mounts <<'EOF'
/dev/ubi13_0 on /mnt/apps ro
/dev/ubi12_0 on /tmp/rootfs2 ro
EOF
expect_file /tmp/rootfs2/version <<'EOF'
R6.0
EOF
expect_dataflash <<'EOF'
page32: ff ff ff ff ff ff ff ff ff ff
~ bootloader 0: magic=0xdeadbeef * description="bootloader 2026.10" image ok
bootloader 1: erased
linux 1: magic=0xdeadbeef valid=1 sequence=4 format=2 board_id=0x105 magic_end=0xdeadbeef
linux 2: erased
EOF
