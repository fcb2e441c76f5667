# A whole update of a pair with a 512 KiB bootloader and 16 MiB of files in
# each filesystem on the demo's board, split into its steps by the tool's
# lines; then the nothing-to-do run after the restart; and the same update
# with the status stream on, against the update without it, the two in turn
# first so that neither always meets the board in the same state. Medians of
# $RUNS runs.
# SPDX-License-Identifier: MIT
RUNS=7
OS=ms_up_os.img
APP=ms_up_app.img
out=/run/measure-update

# timed <log> [<stream>]: the tool on the pair, its lines timed, with its
# status stream into <stream> when one is given; a failed run ends the
# measurement.
timed() {
    if [ $# -gt 1 ]; then
        FIRMPACK_UPDATE_STATUS_FD=3 timerun firmpack-update "$OS" "$APP" > "$1" 2>&1 3> "$2"
    else
        timerun firmpack-update "$OS" "$APP" > "$1" 2>&1
    fi
    case $(tail -n 1 "$1") in
        *"status 0" | *"status 255") ;;
        *) echo "the update failed:"; cat "$1"; exit 1 ;;
    esac
}

# The steps of a run, in seconds: each from the line that starts it to the
# line that starts the next; the checks from the tool's first line.
update_steps() {
    log=$1
    echo "$(seconds "$log" "## Info: " "## Both firmpacks match together")" \
        "$(seconds "$log" "## Both firmpacks match together" "Current baseline")" \
        "$(seconds "$log" "## Preparing bootloader" "## Preparing root and applications")" \
        "$(seconds "$log" "Preparing package  'rootfs" "Preparing package  'apps")" \
        "$(seconds "$log" "Preparing package  'apps" "## Finalising root and applications")" \
        "$(seconds "$log" "## Finalising root and applications" "## Finalising bootloader")" \
        "$(seconds "$log" "## Finalising bootloader" "SW Update Completed")" \
        "$(wall "$log") $(peak "$log")"
}

nothing_steps() {
    log=$1
    echo "$(seconds "$log" "## Info: " "## Both firmpacks match together")" \
        "$(seconds "$log" "## Both firmpacks match together" "No SW Update required")" \
        "$(wall "$log") $(peak "$log")"
}

mkdir -p "$out"
: > "$out/update"
: > "$out/nothing"
: > "$out/streamed"
# fresh <log> [<stream>]: the update on the demo's board, set up anew.
fresh() {
    reset_board
    demo_board
    timed "$@"
}

run=1
while [ "$run" -le "$RUNS" ]; do
    [ $((run % 2)) -eq 1 ] || fresh "$out/streamed$run.log" "$out/stream$run"
    fresh "$out/update$run.log"
    reboot_into 2
    timed "$out/nothing$run.log"
    [ $((run % 2)) -eq 0 ] || fresh "$out/streamed$run.log" "$out/stream$run"
    update_steps "$out/update$run.log" >> "$out/update"
    nothing_steps "$out/nothing$run.log" >> "$out/nothing"
    update_steps "$out/streamed$run.log" >> "$out/streamed"
    run=$((run + 1))
done

# step <file> <field> <label>: the median and least of one column.
step() {
    printf '  %-52s median %7.3f s, least %7.3f s\n' "$3" \
        "$(awk -v f="$2" '{ print $f }' "$1" | median)" "$(awk -v f="$2" '{ print $f }' "$1" | least)"
}

echo "update of $OS ($(wc -c < "$OS") bytes) and $APP ($(wc -c < "$APP") bytes)," \
    "all three packages changed, baseline 1 to 2; $RUNS runs:"
step "$out/update" 1 "hash checks of both firmpacks and acceptance"
step "$out/update" 2 "change check (bootloader read back with its CRC)"
step "$out/update" 3 "bootloader stored and read back (512 KiB)"
step "$out/update" 4 "root filesystem prepared, written, verified (none)"
step "$out/update" 5 "applications prepared, unpacked, written, verified"
step "$out/update" 6 "Linux update administration"
step "$out/update" 7 "bootloader made persistent"
step "$out/update" 8 "whole run"
echo "  peak memory median $(awk '{ print $9 }' "$out/update" | median) KiB"
echo "the same pair after the restart into baseline 2, nothing to do; $RUNS runs:"
step "$out/nothing" 1 "hash checks of both firmpacks and acceptance"
step "$out/nothing" 2 "change check"
step "$out/nothing" 3 "whole run"
plain=$(awk '{ print $8 }' "$out/update" | median)
streamed=$(awk '{ print $8 }' "$out/streamed" | median)
echo "the same update with the status stream on ($(wc -l < "$out/stream1") objects); $RUNS runs:"
step "$out/streamed" 8 "whole run"
echo "  whole run with the stream / without: $(awk -v a="$streamed" -v b="$plain" \
    'BEGIN { printf "%.3f", a / b }') (target <= 1.01)"
echo "one update as the tool printed it, with its line times:"
cat "$out/update1.log"
