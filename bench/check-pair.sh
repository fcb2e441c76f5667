#!/bin/sh
# firmpack-check against the tool's own checks of the same pair: a pair with
# 64 MiB of payload in each filesystem (about 128 MiB of firmpacks), built
# once, then each command timed RUNS times in turn. The tool runs as it would
# on a board that is none of the pair's: it verifies every hash, finds no
# configuration for board 0 and stops, so its time is that of its checks.
# firmpack-check adds the acceptance checks of every board and its warnings.
# Usage: check-pair.sh <build dir> [runs]
# SPDX-License-Identifier: MIT
set -eu
build=$1
runs=${2:-5}
pair=$build/bench-pair
here=$(cd "$(dirname "$0")" && pwd)

if [ ! -f "$pair/fp_app.img" ]; then
    ROOTFS_FILL=67108864 APPS_FILL=67108864 MAX_LEBS=1200 BOOTLOADER_SIZE=1048576 \
        sh "$here/../examples/build-pair.sh" "$pair"
fi
ls -l "$pair/fp_os.img" "$pair/fp_app.img"

# seconds <command>...: the wall time of one run.
seconds() {
    start=$(date +%s.%N)
    "$@" > /dev/null 2>&1 || true
    end=$(date +%s.%N)
    echo "$end - $start" | bc
}

median() {
    sort -n | awk '{ v[NR] = $1 } END { print v[int((NR + 1) / 2)] }'
}

: > "$pair/tool.times"
: > "$pair/check.times"
for run in $(seq "$runs"); do
    seconds "$build/driver/firmpack-update" "$pair/fp_os.img" "$pair/fp_app.img" \
        >> "$pair/tool.times"
    seconds "$build/check/firmpack-check" "$pair/fp_os.img" "$pair/fp_app.img" \
        >> "$pair/check.times"
done
tool=$(median < "$pair/tool.times")
check=$(median < "$pair/check.times")
echo "firmpack-update (its checks): $tool s, firmpack-check: $check s, ratio $(echo "scale=3; $check / $tool" | bc) (medians of $runs)"
