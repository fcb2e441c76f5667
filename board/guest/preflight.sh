#!/bin/sh
# The tool on the board as an operator sees it on the serial console, with a
# pair of firmpacks from /fixtures: `make preflight` (fpu_run=preflight) runs
# the tool once on the pair, `make demo` (fpu_run=demo) on the sample pair
# with more around it: the usage and a missing file before, and after the
# update the same pair once more on the restarted board, then a legacy pair.
#
# The board starts as `demo_board` sets it up (lib.sh): board fpu_board
# (0x105) running baseline fpu_baseline (1) with filesystems "0.9" and
# bootloader "2025.04". With fpu_from_os and fpu_from_app the tool first
# installs that pair, and the board restarts into what the boot loader then
# starts. Before the run the update administration is shown; after it, the
# update administration, what the boot loader starts next, and the version
# files of the volumes in the baseline written. With fpu_keys the board holds
# that key file and installs only pairs its keys signed.
#
# Kernel parameters: fpu_os, fpu_app, fpu_from_os, fpu_from_app, fpu_keys
# (names in /fixtures), fpu_board, fpu_baseline. The exit status of the tool's run on
# fpu_os and fpu_app goes to the results port (fpu_results) as "status <n>".
# SPDX-License-Identifier: MIT
. /board/lib.sh

OS=${fpu_os:-fp_os.img}
APP=${fpu_app:-fp_app.img}
BOARD=${fpu_board:-0x105}
RUNNING=${fpu_baseline:-1}
FROM_OS=${fpu_from_os:-}
FROM_APP=${fpu_from_app:-}
KEYS=${fpu_keys:-}

say() {
    printf '\n\033[1m%s\033[0m\n' "$*"
}

# show <command> [argument]...: runs it on the console; its status in $status.
show() {
    printf '\033[1m# %s\033[0m\n' "$*"
    "$@"
    status=$?
    echo "(exit status $status)"
}

# updated <firmpack> <firmpack>: show firmpack-update on the pair with its
# status stream on, then say what it did, from the stream's last object.
updated() {
    exec 3> "$WORK/stream"
    export FIRMPACK_UPDATE_STATUS_FD=3
    show firmpack-update "$@"
    unset FIRMPACK_UPDATE_STATUS_FD
    exec 3>&-
    last=$(tail -n 1 "$WORK/stream")
    outcome=$(echo "$last" | sed -n 's/.*"outcome":"\([^"]*\)".*/\1/p')
    phase=$(echo "$last" | sed -n 's/.*"phase":"\([^"]*\)".*/\1/p')
    case $outcome:$phase in
        completed:*) say "Updated: baseline $((3 - RUNNING)) written; the boot loader starts it next." ;;
        "nothing to update":*) say "Nothing to update: the board holds this pair already." ;;
        "legacy prepared":*) say "A legacy pair: the boot loader installs it at the next start." ;;
        failed:hashes | failed:acceptance | failed:start)
            say "Refused (exit status $status): nothing on the board was written." ;;
        *) say "Failed in its $phase step (exit status $status): see the update administration below." ;;
    esac
}

# restart: what a restart changes for the tool, into the baseline that the
# boot loader starts next, with the board's own id on the command line.
restart() {
    next=$(dftool next "$BOARD" | sed -n 's/^linux baseline \([12]\) .*/\1/p')
    [ -n "$next" ] && [ "$next" != "$RUNNING" ] || return 0
    RUNNING=$next
    reboot_into "$RUNNING"
    id=$((BOARD))
    cmdline "console=ttyS0 brd_id_io=$((id >> 8)) brd_id_core=$((id & 255)) baseline=$RUNNING"
}

# afterwards: the update administration, what the boot loader starts next,
# and the version files of the baseline that is not running (the one written).
afterwards() {
    say "Update administration afterwards (dftool dump):"
    dftool dump
    say "What the boot loader starts next (dftool next $BOARD):"
    dftool next "$BOARD"
    say "Version files in baseline $((3 - RUNNING)), mounted read-only:"
    for partition in "rootfs$((3 - RUNNING))" "apps$((3 - RUNNING))"; do
        printf '  %-8s %s\n' "$partition" "$(volume_version "$partition")"
    done
}

reset_board
# A setup step that failed says so on the console.
trap '[ ! -s "$WORK/failed" ] || cat "$REPORT"' EXIT
cd "$FIXTURES" || exit 1
demo_board "$RUNNING" "$BOARD"
say "A board of id $BOARD ($(uname -m), Linux $(uname -r)) running baseline $RUNNING" \
    "with filesystems 0.9 and bootloader 2025.04."
if [ -n "$KEYS" ]; then
    key_file "$KEYS"
    say "Its key file $KEY_FILE is $KEYS: it installs only pairs signed by its keys."
fi
if [ "${fpu_run:-}" = demo ]; then
    show firmpack-update
    show firmpack-update missing_os.img missing_app.img
fi
if [ -n "$FROM_OS" ]; then
    say "First the pair the board is to run: $FROM_OS $FROM_APP"
    show firmpack-update "$FROM_OS" "$FROM_APP"
    case $status in
        0 | 255) restart ;;
        *)
            say "preflight: the board cannot run $FROM_OS and $FROM_APP (status $status)"
            exit 1
            ;;
    esac
    say "The board restarted: baseline $RUNNING runs."
fi

say "Update administration before (dftool dump):"
dftool dump
say "The pair $OS $APP on baseline $RUNNING."
updated "$OS" "$APP"
echo "status $status" > "$fpu_results"
afterwards
[ "${fpu_run:-}" = demo ] || exit 0

restart
say "The board restarted into baseline $RUNNING; the same pair again."
show firmpack-update "$OS" "$APP"

say "A legacy pair: the boot loader is left to install it."
show firmpack-update fp_os_legacy.img "$APP"
say "Update administration afterwards:"
dftool dump
