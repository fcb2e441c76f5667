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
#   KEYS                a folder of signing keys as mkimage takes them
#                       (<name>.key and <name>.crt): sign the pair     (none)
#   KEY_NAME            the key to sign with           (the one *.key in KEYS)
#   SIGN_ALGO           the signature's algorithm           (sha256,rsa2048)
# Version texts are plain words: no double quotes or backslashes.
#
# With KEYS every configuration gets a signature node over the images it
# names, every md5 record a sha1 record beside it (a board with a key file
# ties an image to the signature only through sha1 or sha256), and the public
# key goes into <outdir>/keys.dtb, the key file for the board
# (/etc/firmpack-update/keys.dtb there).
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

KEYS=${KEYS:-}
SIGN_ALGO=${SIGN_ALGO:-sha256,rsa2048}
if [ -n "$KEYS" ]; then
    [ -d "$KEYS" ] || { echo "build-pair.sh: KEYS=$KEYS is no folder" >&2; exit 1; }
    KEY_NAME=${KEY_NAME:-$(cd "$KEYS" && ls *.key 2> /dev/null | sed -n 's/\.key$//p')}
    case $KEY_NAME in
        '' | *[!A-Za-z0-9._-]*)
            echo "build-pair.sh: KEYS=$KEYS holds no one <name>.key; set KEY_NAME" >&2
            exit 1
            ;;
    esac
fi

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

# sign_its <its> <example>: a sha1 record beside the md5 one, and a signature
# node in every configuration, after the line that names its last image.
sign_its() {
    set_line "$1" '				algo = "md5";' \
        '				algo = "md5"; }; hash-sha1 { algo = "sha1";'
    case $2 in
        os.its) images='"firmware", "filesystem", "fdt"' last='			fdt = "fdt";' ;;
        *) images='"filesystem"' last='			filesystem = "apps";' ;;
    esac
    signature="signature-1 { algo = \"$SIGN_ALGO\"; key-name-hint = \"$KEY_NAME\";"
    signature="$signature sign-images = $images; };"
    sed -i "s|^$last\$|$last $(quote "$signature")|" "$1"
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
    sign=
    if [ -n "$KEYS" ]; then
        sign_its "$its" "$1"
        sign="-k $KEYS -K $out/keys.dtb -r"
    fi
    # mkimage warns about unit addresses on every run: show its words only
    # when it fails.
    # shellcheck disable=SC2086 # $sign is words of its own
    if ! mkimage -q -D "-I dts -O dtb -q" $sign -f "$its" "$2" 2> "$work/mkimage.log"; then
        cat "$work/mkimage.log" >&2
        exit 1
    fi
}

# mkimage adds the public key to a key file that is there already, with room.
if [ -n "$KEYS" ]; then
    printf '/dts-v1/;\n/ {\n};\n' > "$work/keys.dts"
    dtc -q -I dts -O dtb -p 4096 -o "$out/keys.dtb" "$work/keys.dts"
fi

head -c "$BOOTLOADER_SIZE" /dev/urandom > "$work/bootloader.bin"
filesystem rootfs "$ROOTFS_VERSION" "$ROOTFS_FILL" "$work/rootfs.ubifs"
filesystem apps "$APPS_VERSION" "$APPS_FILL" "$work/apps.ubifs"
gzip -n -9 "$work/apps.ubifs"

firmpack os.its "$out/fp_os.img" "partition ID"
firmpack app.its "$out/fp_app.img" ""
firmpack os.its "$out/fp_os_legacy.img" "flat device tree"
