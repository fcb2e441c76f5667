# firmpack-status's wall time and peak memory on the demo's board (a 64 KiB
# bootloader in slot 0), and with both image areas full, the most it reads:
# each image read with its CRC-32 checked. Medians of $RUNS runs.
# SPDX-License-Identifier: MIT
RUNS=5
out=/run/measure-status
mkdir -p "$out"

# timed_status <label>: $RUNS runs, each a success, and their figures.
timed_status() {
    : > "$out/runs"
    run=1
    while [ "$run" -le "$RUNS" ]; do
        timerun firmpack-status > "$out/log" 2>&1
        case $(tail -n 1 "$out/log") in
            *"status 0") ;;
            *) echo "firmpack-status failed:"; cat "$out/log"; exit 1 ;;
        esac
        echo "$(wall "$out/log") $(peak "$out/log")" >> "$out/runs"
        run=$((run + 1))
    done
    printf '  %-40s median %6.3f s, least %6.3f s, peak memory %s KiB\n' "$1" \
        "$(awk '{ print $1 }' "$out/runs" | median)" "$(awk '{ print $1 }' "$out/runs" | least)" \
        "$(awk '{ print $2 }' "$out/runs" | median)"
}

echo "firmpack-status, $RUNS runs each:"
demo_board
timed_status "demo board, 64 KiB bootloader"
# The largest images each slot's record can describe.
head -c 1707024 /dev/urandom > "$WORK/area0.bin"
head -c 1707023 /dev/urandom > "$WORK/area1.bin"
bootloader_record 0 image="$WORK/area0.bin" sequence=1 "description=bootloader 2025.04"
bootloader_record 1 image="$WORK/area1.bin" sequence=2 "description=bootloader 2026.10"
timed_status "both image areas full, 3.3 MiB read"
echo "its output on that board, with timerun's line times:"
cat "$out/log"
