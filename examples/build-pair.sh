#!/bin/sh
# Builds the sample firmpack pair with mkimage:
#
#   build-pair.sh <outdir>
#
# writes into <outdir>:
#   fp_os.img         OS firmpack: bootloader, root filesystem, partition ID 2
#   fp_app.img        APP firmpack: applications filesystem (gzip)
#   fp_os_legacy.img  OS firmpack of the older kind: its FDT package carries no
#                     partition ID; it pairs with fp_app.img
#
# Both filesystems are real UBIFS images for NAND with 2 KiB pages and 128 KiB
# erase blocks; each holds a "version" file with its version text.
#
# Settings, from the environment:
#   OS_VERSION          root description of the OS firmpack        (R5.1)
#   APP_NAME            text before the colon in the APP firmpack's
#                       root description                          (apps)
#   ROOTFS_VERSION      version file of the root filesystem        ($OS_VERSION)
#   APPS_VERSION        version file of the applications filesystem ($OS_VERSION)
#   BOOTLOADER_VERSION  bootloader package description "bootloader <this>" (2026.10)
#   BOOTLOADER_SIZE     bytes of bootloader data                   (524288)
#   ROOTFS_FILL         bytes of random payload in the root filesystem (0)
#   APPS_FILL           bytes of random payload in the applications filesystem (0)
#   MAX_LEBS            UBIFS maximum LEB count (mkfs.ubifs -c)    (240)
#   PARTITION_ID        data of the partition-ID package           (2)
#   MIN_IO_SIZE         NAND page size (mkfs.ubifs -m)             (2048)
#   LEB_SIZE            UBI logical erase block size (mkfs.ubifs -e) (129024)
# Version texts are plain words: no double quotes or backslashes.
# SPDX-License-Identifier: MIT
set -eu

if [ $# -ne 1 ]; then
    echo "usage: $0 <outdir>" >&2
    exit 2
fi
out=$1
here=$(cd "$(dirname "$0")" && pwd)

OS_VERSION=${OS_VERSION:-R5.1}
APP_NAME=${APP_NAME:-apps}
ROOTFS_VERSION=${ROOTFS_VERSION:-$OS_VERSION}
APPS_VERSION=${APPS_VERSION:-$OS_VERSION}
BOOTLOADER_VERSION=${BOOTLOADER_VERSION:-2026.10}
BOOTLOADER_SIZE=${BOOTLOADER_SIZE:-524288}
ROOTFS_FILL=${ROOTFS_FILL:-0}
APPS_FILL=${APPS_FILL:-0}
MAX_LEBS=${MAX_LEBS:-240}
PARTITION_ID=${PARTITION_ID:-2}

# NAND geometry of the board: 2 KiB pages, 128 KiB erase blocks of which UBI
# leaves 126 KiB to each logical erase block (its headers take one page).
MIN_IO_SIZE=${MIN_IO_SIZE:-2048}
LEB_SIZE=${LEB_SIZE:-129024}

PATH=$PATH:/usr/sbin:/sbin
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$out"

# filesystem <dir name> <version text> <payload bytes> <image>
filesystem() {
    mkdir "$work/$1"
    printf '%s\n' "$2" > "$work/$1/version"
    if [ "$3" -gt 0 ]; then
        head -c "$3" /dev/urandom > "$work/$1/payload.bin"
    fi
    mkfs.ubifs -U -x none -m "$MIN_IO_SIZE" -e "$LEB_SIZE" -c "$MAX_LEBS" -r "$work/$1" -o "$4"
}

# sed replacement text: escape what sed would interpret.
quote() {
    printf '%s' "$1" | sed -e 's/[\\&|]/\\&/g'
}

# set <file> <line as the example has it> <the line with the setting>: every
# setting replaces one line of the annotated example, which must be there.
set_line() {
    line=$(grep -nxF "$2" "$1" | cut -d: -f1)
    case $line in
    '' | *[!0-9]*) echo "build-pair.sh: $1 lacks the one line: $2" >&2; exit 1 ;;
    esac
    sed -i "${line}s|.*|$(quote "$3")|" "$1"
}

# firmpack <example> <output> <FDT package description>
firmpack() {
    its=$work/$1
    cp "$here/$1" "$its"
    case $1 in
    os.its)
        set_line "$its" '	description = "R5.1";' "	description = \"$OS_VERSION\";"
        set_line "$its" '			description = "bootloader 2026.10";' \
            "			description = \"bootloader $BOOTLOADER_VERSION\";"
        set_line "$its" '			description = "filesystem R5.1";' \
            "			description = \"filesystem $ROOTFS_VERSION\";"
        set_line "$its" '			description = "partition ID";' "			description = \"$3\";"
        set_line "$its" '			data = "2";' "			data = \"$PARTITION_ID\";"
        ;;
    app.its)
        set_line "$its" '	description = "apps:R5.1";' "	description = \"$APP_NAME:$OS_VERSION\";"
        set_line "$its" '			description = "applications R5.1";' \
            "			description = \"applications $APPS_VERSION\";"
        ;;
    esac
    # mkimage warns about unit addresses on every run: show its words only
    # when it fails.
    if ! mkimage -q -D "-I dts -O dtb -q" -f "$its" "$2" 2> "$work/mkimage.log"; then
        cat "$work/mkimage.log" >&2
        exit 1
    fi
}

head -c "$BOOTLOADER_SIZE" /dev/urandom > "$work/bootloader.bin"
filesystem rootfs "$ROOTFS_VERSION" "$ROOTFS_FILL" "$work/rootfs.ubifs"
filesystem apps "$APPS_VERSION" "$APPS_FILL" "$work/apps.ubifs"
gzip -n -9 "$work/apps.ubifs"

firmpack os.its "$out/fp_os.img" "partition ID"
firmpack app.its "$out/fp_app.img" ""
firmpack os.its "$out/fp_os_legacy.img" "flat device tree"
