# Filesystem packages the installation cannot use, each reaching it through a
# whole run of the tool on a board that runs baseline 1. A compression other
# than none or gzip, or none named, is refused before anything is erased: both
# partitions of baseline 2 keep their volumes. A gzip stream that is corrupt,
# or that unpacks to more than the partition holds, a plain package too big
# for its partition, and one that is no UBIFS fail at the utility or at the
# mount that finds them out, after the partition was prepared.
fs_board

# refused <OS firmpack> <expected line>: the root filesystem package is
# refused with that line and 22 before any utility runs.
refused() {
    run firmpack-update "$1" fs_app.img
    expect_status 22
    expect_stdout <<EOF
$(fs_started)
$2
$(banner failed)
EOF
    expect_commands <<'EOF'
EOF
}

for utility in ubidetach flash_eraseall ubiattach ubimkvol ubiupdatevol gunzip; do
    wrapper "$utility" log
done
refused fs_os_lzma.img "store_fs_in_flash: Unsupported compression type:3"
expect_stderr <<'EOF'
EOF
refused fs_os_nocomp.img "rootfs@1: Cannot detect compression type"
expect_stderr <<'EOF'
EOF
# A name the firmpack layer does not know is listed against the known ones.
refused fs_os_zstd.img "store_fs_in_flash: Unsupported compression type:255"
expect_stderr <<'EOF'

Invalid Compression Type - valid names are: none, bzip2, gzip, lzma, lzo
EOF
expect_volume rootfs2 "R4.0"
expect_volume apps2 "R4.0"
for utility in ubidetach flash_eraseall ubiattach ubimkvol ubiupdatevol gunzip; do
    unwrap "$utility"
done

# gunzip takes the whole corrupt stream and fails on it: apps2 has been
# prepared, the volume update never runs.
wrapper ubiupdatevol log
run firmpack-update fs_os.img fs_app_corrupt.img
expect_status 1
expect_stdout <<EOF
$(fs_started)
$(fs_root_written)
   Preparing package  'apps@1        '... (applications R6.0)
   Extracting package 'apps@1        '... (applications R6.0)
$(banner failed)
EOF
expect_stderr <<'EOF'
gunzip: crc error
EOF
expect_commands <<EOF
ubiupdatevol /dev/ubi12_0 -s $(wc -c < fs_rootfs.ubifs) -
EOF
expect_volume rootfs2 "R6.0"
unwrap ubiupdatevol
rm -f /tmp/ubifs_*.img

# 33 MiB of zeros unpack into the temporary file; the volume of the 32 MiB
# partition is smaller, and ubiupdatevol refuses the file with its exit status
# 255, which becomes the tool's.
run firmpack-update fs_os.img fs_app_huge.img
expect_status 255
expect_stdout <<EOF
$(fs_started)
$(fs_root_written)
   Preparing package  'apps@1        '... (applications R6.0)
   Extracting package 'apps@1        '... (applications R6.0)
   Installing package 'apps@1        '... (applications R6.0)
$(banner failed)
EOF
expect_stderr <<'EOF'
~ ubiupdatevol: error!: "/tmp/ubifs_*.img" (size 34603008) will not fit volume "/dev/ubi14_0" (size 29933568)
EOF
run sh -c 'wc -c /tmp/ubifs_*.img'
expect_status 0
expect_stdout <<'EOF'
~ 34603008 /tmp/ubifs_*.img
EOF
expect_stderr <<'EOF'
EOF
rm -f /tmp/ubifs_*.img

# A plain package that is no UBIFS is written, and the mount finds it out.
run firmpack-update fs_os_notubifs.img fs_app.img
expect_status 22
expect_stdout <<EOF
$(fs_started)
$(fs_root_written)
ERROR: mounting failed! (Invalid argument)
$(banner failed)
EOF
expect_stderr <<'EOF'
EOF
expect_volume_bytes rootfs2 fs_notubifs.bin

# rootfs2 shrunk to 4 MiB, whose volume is smaller than the plain root
# filesystem package: ubiupdatevol refuses before reading, and the tool's
# write into it fails with EPIPE (32).
nand_partition del rootfs2
nand_partition add rootfs2 32 4
expect_partitions <<'EOF'
mtd1 rootfs1 32 MiB at 0 MiB
mtd2 rootfs2 4 MiB at 32 MiB
mtd3 apps1 32 MiB at 64 MiB
mtd4 apps2 32 MiB at 96 MiB
EOF
run firmpack-update fs_os.img fs_app.img
expect_status 32
expect_stdout <<EOF
$(fs_started)
   Preparing package  'rootfs@1      '... (filesystem R6.0)
   Installing package 'rootfs@1      '... (filesystem R6.0)
$(banner failed)
EOF
expect_stderr <<EOF
ubiupdatevol: error!: "-" (size $(wc -c < fs_rootfs.ubifs)) will not fit volume "/dev/ubi12_0" (size 1032192)
EOF
