#!/bin/sh
# Builds the board VM's initramfs: the prepared modules archive followed by one
# with busybox, dash, the mtd-utils programs the tool runs, the tool with
# libmirel.so.1, firmpack-status and firmpack-check, the board's dftool and
# timerun, the guest scripts, the
# tests (-t, a folder with the test words lib.sh, the runners run-scenarios.sh
# and measure.sh, and the scenarios/*.sh and measurements/*.sh they run; none
# for an empty folder name), and the fixtures (each file given, and the files
# directly inside each folder given, land in /fixtures; missing ones are
# skipped). Programs take their shared libraries along: each library in
# /usr/lib under the name the program asks for, the dynamic loader at its own
# path. For armhf (-a), dash, mtd-utils and the C library are the prepared
# ARM userland, and the libraries are those the armhf loader finds for each
# program, asked under qemu-arm-static (--list); for amd64 they are this
# machine's own.
#
# Usage: make-initramfs.sh [-a amd64|armhf] [-t <tests folder>]
#                          <output> <prepared dir> <build dir> [fixture]...
# SPDX-License-Identifier: MIT
set -eu

arch=amd64
tests=
while getopts a:t: option; do
    case $option in
        a) arch=$OPTARG ;;
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
trap 'rm -rf "$stage" "$stage.libraries"' EXIT
for dir in bin usr/bin usr/sbin usr/lib proc sys dev tmp run mnt/apps fixtures \
    board/tests/scenarios board/tests/measurements; do
    mkdir -p "$stage/$dir"
done

# list_libraries <program>: the libraries it loads as the loader lists them,
# "<name> => <file> (<address>)" each, and the loader as "<path> (<address>)"
# or "<path> => <file> (<address>)".
case $arch in
    amd64)
        userland=
        list_libraries() { ldd "$1"; }
        ;;
    armhf)
        # The prepared C library first, then the armhf libraries of this
        # machine's multiarch packages (libfdt, libstdc++), then the cross
        # compiler's runtime (the sanitizers').
        userland=$prepared/root
        library_path=$userland/lib/arm-linux-gnueabihf:/usr/lib/arm-linux-gnueabihf
        library_path=$library_path:/usr/arm-linux-gnueabihf/lib
        list_libraries() {
            qemu-arm-static "$userland/lib/ld-linux-armhf.so.3" --library-path "$library_path" \
                --list "$1"
        }
        ;;
    *) echo "make-initramfs: no board for architecture $arch" >&2; exit 2 ;;
esac

# copy_program <program> <path in the guest>
copy_program() {
    cp "$1" "$stage$2"
    list_libraries "$1" > "$stage.libraries" || {
        echo "make-initramfs: cannot list the libraries of $1" >&2
        exit 1
    }
    awk '$2 == "=>" && $3 ~ /^\// { print $3, ($1 ~ /^\// ? $1 : "/usr/lib/" $1) }
        $1 ~ /^\// && $2 != "=>" { print $1, $1 }' "$stage.libraries" |
        while read -r library target; do
            mkdir -p "$stage$(dirname "$target")"
            cp -L "$library" "$stage$target"
        done
}

# The guest's init installs the applets of busybox. The shell is dash: busybox's
# own shell would run its applets (gunzip) even where a wrapper comes first on
# PATH.
cp "$prepared/busybox" "$stage/bin/busybox"
copy_program "$userland/bin/dash" /bin/sh
for program in $MTD_UTILS; do
    copy_program "$userland/usr/sbin/$program" "/usr/sbin/$program"
done
cp "$here/guest/flash_eraseall" "$stage/usr/sbin/"
copy_program "$build/driver/firmpack-update" /usr/bin/firmpack-update
copy_program "$build/status/firmpack-status" /usr/bin/firmpack-status
copy_program "$build/check/firmpack-check" /usr/bin/firmpack-check
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
