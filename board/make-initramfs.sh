#!/bin/sh
# Builds the board VM's initramfs: the prepared modules archive followed by one
# with busybox, dash, the mtd-utils programs the tool runs, the tool with
# libmirel.so.1, the board's dftool and timerun, the guest scripts, the
# tests (-t, a folder with the test words lib.sh, the runners run-scenarios.sh
# and measure.sh, and the scenarios/*.sh and measurements/*.sh they run; none
# for an empty folder name), and the fixtures (each file given, and the files
# directly inside each folder given, land in /fixtures; missing ones are
# skipped). Programs take their shared libraries along, at the paths the
# loader searches.
#
# Usage: make-initramfs.sh [-t <tests folder>] <output> <prepared dir> <build dir> [fixture]...
# SPDX-License-Identifier: MIT
set -eu

tests=
while getopts t: option; do
    case $option in
        t) tests=$OPTARG ;;
        *) exit 2 ;;
    esac
done
shift $((OPTIND - 1))
output=$1
prepared=$2
build=$3
shift 3
here=$(cd "$(dirname "$0")" && pwd)

# What the tool starts through the shell, besides busybox's gunzip.
MTD_UTILS="ubidetach ubiattach ubimkvol ubiupdatevol ubinfo flash_erase"

stage=$(mktemp -d)
trap 'rm -rf "$stage"' EXIT
for dir in bin usr/bin usr/sbin usr/lib proc sys dev tmp run mnt/apps fixtures \
    board/tests/scenarios board/tests/measurements; do
    mkdir -p "$stage/$dir"
done

# copy_program <program> <path in the guest>
copy_program() {
    cp "$1" "$stage$2"
    ldd "$1" | awk '$2 == "=>" && $3 ~ /^\// { print $3 } $1 ~ /^\// { print $1 }' |
        while read -r library; do
            case $library in
                /lib/* | /lib64/* | /usr/lib/*) target=$library ;;
                *) target=/usr/lib/$(basename "$library") ;; # ours, from the build tree
            esac
            mkdir -p "$stage$(dirname "$target")"
            cp -L "$library" "$stage$target"
        done
}

# The guest's init installs the applets of busybox. The shell is dash: busybox's
# own shell would run its applets (gunzip) even where a wrapper comes first on
# PATH.
cp "$prepared/busybox" "$stage/bin/busybox"
copy_program /bin/dash /bin/sh
for program in $MTD_UTILS; do
    copy_program "/usr/sbin/$program" "/usr/sbin/$program"
done
cp "$here/guest/flash_eraseall" "$stage/usr/sbin/"
copy_program "$build/driver/firmpack-update" /usr/bin/firmpack-update
copy_program "$build/board/dftool" /usr/bin/dftool
copy_program "$build/board/timerun" /usr/bin/timerun
# What the scenarios check the status stream with, in a build with the tests.
[ ! -x "$build/tests/board/stream_summary" ] ||
    copy_program "$build/tests/board/stream_summary" /usr/bin/stream_summary

cp "$here/guest/init" "$stage/init"
cp "$here/guest/lib.sh" "$here/guest/preflight.sh" "$stage/board/"
if [ -n "$tests" ]; then
    cp "$tests/lib.sh" "$tests/run-scenarios.sh" "$tests/measure.sh" "$stage/board/tests/"
    cp "$tests"/scenarios/*.sh "$stage/board/tests/scenarios/"
    cp "$tests"/measurements/*.sh "$stage/board/tests/measurements/"
fi
for fixture in "$@"; do
    if [ -d "$fixture" ]; then
        find "$fixture" -maxdepth 1 -type f -exec cp {} "$stage/fixtures/" \;
    elif [ -f "$fixture" ]; then
        cp "$fixture" "$stage/fixtures/"
    fi
done
chmod +x "$stage/init" "$stage/usr/sbin/flash_eraseall"

# Concatenated archives: cpio pads each to 512 bytes, so the next starts aligned.
(cd "$stage" && find . | LC_ALL=C sort | cpio -o -H newc --quiet --owner 0:0) > "$stage.cpio"
cat "$prepared/modules.cpio" "$stage.cpio" > "$output"
rm -f "$stage.cpio"
