#!/bin/sh
# A pair of firmpacks of one's own on the simulated board (board/), its console
# on this terminal: `make preflight`. The board starts as the demo's does
# (board/guest/preflight.sh tells the whole run), or first installs the pair
# FROM_OS, FROM_APP; then the unchanged tool runs on the pair, and the update
# administration and the written volumes' version files are shown.
#
# Usage: preflight.sh check                          the settings, before a build
#        preflight.sh preflight|demo <build dir> [fixture]...
# The exit status of a preflight is the tool's on the pair (1 when the board
# did not get that far), also written to <build dir>/board-preflight/status;
# that of the demo the board VM's.
# Settings, from the environment:
#   OS, APP             the pair (required)
#   BOARD               board id, 0x<hex> or decimal: brd_id_io and
#                       brd_id_core on the board's kernel command line (the
#                       OS firmpack's only board when it has one, else 0x105)
#   BASELINE            the baseline the board runs, 1 or 2 (1)
#   FROM_OS, FROM_APP   a pair the board runs before (both or neither)
#   KEYS                a key file (mkimage -K) the board holds, so that it
#                       installs only pairs signed by its keys
# The guest's memory grows with the firmpacks (FPU_BOARD_MEMORY overrides it);
# the other settings of board/run-vm.sh apply.
# SPDX-License-Identifier: MIT
set -eu

error() {
    echo "preflight: $*" >&2
    exit 2
}

# firmpack <setting> <file> <what is missing without it>: the file must be there.
firmpack() {
    [ -n "$2" ] || error "$1 is not set: $3"
    [ -f "$2" ] || error "$1=$2: no such file"
    [ -r "$2" ] || error "$1=$2: cannot be read"
}

usage="make preflight OS=<fp_os.img> APP=<fp_app.img>"
firmpack OS "${OS:-}" "$usage"
firmpack APP "${APP:-}" "$usage"
if [ -n "${FROM_OS:-}${FROM_APP:-}" ]; then
    firmpack FROM_OS "${FROM_OS:-}" "FROM_OS and FROM_APP name the pair the board runs before"
    firmpack FROM_APP "${FROM_APP:-}" "FROM_OS and FROM_APP name the pair the board runs before"
fi
[ -z "${KEYS:-}" ] || firmpack KEYS "$KEYS" "the board's key file"
mode=$1
# Without BOARD, the board of the OS firmpack's only board configuration, read
# once the packages are there (dtc's fdtget); before that, the check passes.
if [ -z "${BOARD:-}" ] && [ "$mode" != check ]; then
    boards=$(fdtget -l "$OS" /configurations 2> /dev/null |
        sed -n 's/^board_0x\([0-9a-f]\{1,8\}\)\(@.*\)\{0,1\}$/0x\1/p')
    if [ "$(echo "$boards" | wc -w)" -eq 1 ]; then BOARD=$boards; fi
fi
# The board id as the tool composes it, io << 8 | core, in 32 bits.
BOARD=${BOARD:-0x105}
case $BOARD in
    0[xX]*[!0-9a-fA-F]* | 0[xX] | 0[xX]?????????*) board_id= ;;
    0[xX]*) board_id=$((BOARD)) ;;
    *[!0-9]* | '' | ???????????*) board_id= ;;
    *) board_id=$(echo "$BOARD" | sed 's/^0*\(.\)/\1/') ;;
esac
if [ -z "$board_id" ] || [ "$board_id" -gt 4294967295 ]; then
    error "BOARD=$BOARD is not a board id (0x105, or 261; at most 0xffffffff)"
fi
case ${BASELINE:=1} in
    1 | 2) ;;
    *) error "BASELINE=$BASELINE: the board runs baseline 1 or 2" ;;
esac
[ "$mode" != check ] || exit 0

build=$(cd "$2" && pwd)
shift 2
out=$build/board-$mode
stage=$out/fixtures
rm -rf "$stage"
mkdir -p "$stage"

# stage <os|app|from_os|from_app> <file>: the firmpack in the guest's /fixtures
# under its own name, or as <os|...>.img when that name is taken or no kernel
# parameter can carry it; its kernel parameter fpu_<os|...> goes into $params.
params="fpu_board=$(printf '0x%x' "$board_id") fpu_baseline=$BASELINE"
stage() {
    name=$(basename "$2")
    case $name in
        *[!A-Za-z0-9._+-]* | .*) name= ;;
    esac
    if [ -z "$name" ] || [ -e "$stage/$name" ]; then
        name=$1.img
    fi
    ln "$2" "$stage/$name" 2> /dev/null || cp "$2" "$stage/$name"
    params="$params fpu_$1=$name"
}
stage os "$OS"
stage app "$APP"
if [ -n "${FROM_OS:-}" ]; then
    stage from_os "$FROM_OS"
    stage from_app "$FROM_APP"
fi
[ -z "${KEYS:-}" ] || stage keys "$KEYS"

# The firmpacks are in guest memory twice while the initramfs unpacks, and
# their filesystems again in the simulated NAND (and in /tmp while gunzip
# runs): 256 MiB, and 4 MiB more for each MiB of firmpacks (with 110 MiB of
# them, 2 MiB more per MiB failed to unpack, 3 MiB more sufficed).
firmpack_mib=$(du -cmlL "$stage" "$@" | tail -n 1 | cut -f1)
if [ -z "${FPU_BOARD_MEMORY:-}" ] && [ "$firmpack_mib" -gt 8 ]; then
    FPU_BOARD_MEMORY=$((256 + 4 * firmpack_mib))
    FPU_BOARD_TIMEOUT=${FPU_BOARD_TIMEOUT:-1800}
    export FPU_BOARD_MEMORY FPU_BOARD_TIMEOUT
    echo "preflight: $firmpack_mib MiB of firmpacks, the board gets $FPU_BOARD_MEMORY MiB"
fi

status=0
FPU_BOARD_PARAMS=$params "$(dirname "$0")/../board/run-vm.sh" "$mode" "$build" "$out" "$stage" \
    "$@" || status=$?
rm -rf "$stage"
[ "$mode" = preflight ] || exit "$status"
tool_status=$(tr -d '\r' < "$out/results.raw" | sed -n 's/^status //p')
if [ -z "$tool_status" ]; then
    echo "preflight: the board did not run the tool on the pair (board VM status $status)" >&2
    echo 1 > "$out/status"
    exit 1
fi
echo "$tool_status" > "$out/status"
echo "preflight: the tool ended with exit status $tool_status (also in $out/status)"
exit "$tool_status"
