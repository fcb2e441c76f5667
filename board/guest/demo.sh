#!/bin/sh
# The tool on the board as an operator sees it on the serial console. The board
# runs baseline 1 with older filesystems and an older bootloader, and its
# dataflash holds the Linux update administration of baseline 1. With the
# sample pair in /fixtures (fp_os.img, fp_app.img) the tool updates the board,
# the board "reboots" into baseline 2 (kernel command line, /version and
# /mnt/apps), the same pair is offered again, and then a legacy pair
# (fp_os_legacy.img, fp_app.img), which the tool hands to the boot loader.
. /board/lib.sh

OS=fp_os.img
APP=fp_app.img

say() {
    printf '\n\033[1m%s\033[0m\n' "$*"
}

show() {
    printf '\033[1m# %s\033[0m\n' "$*"
    "$@"
    echo "(exit status $?)"
}

reset_board
# A setup step that failed says so on the console.
trap '[ ! -s "$WORK/failed" ] || cat "$REPORT"' EXIT
cd "$FIXTURES" || exit 1
volume rootfs1 ubifs "0.9"
volume apps1 ubifs "0.9"
apps_mounted apps1
root_version "0.9"
linux_record 1 sequence=1 board_id=0x105
head -c 65536 /dev/urandom > "$WORK/bootloader-2025.04.bin"
bootloader_record 0 image="$WORK/bootloader-2025.04.bin" sequence=1 "description=bootloader 2025.04"

say "A board of id 0x105 running baseline 1 with filesystems 0.9 and bootloader 2025.04."
show firmpack-update
show firmpack-update missing_os.img missing_app.img

if [ ! -f "$OS" ] || [ ! -f "$APP" ]; then
    say "No sample pair in $FIXTURES: build one with examples/ to see an update."
    exit 0
fi
say "The sample pair, installed into baseline 2."
show firmpack-update "$OS" "$APP"
say "Update administration afterwards:"
dftool dump

say "The board restarted into baseline 2; the same pair again."
reboot_into 2
show firmpack-update "$OS" "$APP"

say "A legacy pair: the boot loader is left to install it."
show firmpack-update fp_os_legacy.img "$APP"
say "Update administration afterwards:"
dftool dump
