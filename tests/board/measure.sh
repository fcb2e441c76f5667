#!/bin/sh
# Runs every measurement of /board/tests/measurements (or those named,
# comma-separated, by fpu_measurements on the kernel command line), each on a
# board reset to a known state, in the folder of the fixture firmpacks. A
# measurement is a shell script like a scenario: it sets the board up with
# the words of lib.sh, times what it measures with timerun, and prints its
# report. The reports go to the console and to the results port (fpu_results)
# as
#   === <name>
#   <report>
# and the run ends with "=== done <count>".
# SPDX-License-Identifier: MIT
. /board/tests/lib.sh

results=$fpu_results
output=/run/measurement.out
count=0
for measurement in /board/tests/measurements/*.sh; do
    name=$(basename "$measurement" .sh)
    selected "$name" "${fpu_measurements:-}" || continue
    reset_board
    echo "measurement $name: started after $(uptime_seconds) s"
    (cd "$FIXTURES" && . "$measurement") > "$output" 2>&1
    # A setup step that failed says so.
    [ ! -s "$WORK/failed" ] || cat "$REPORT" >> "$output"
    {
        echo "=== $name"
        cat "$output"
    } | tee "$results"
    count=$((count + 1))
done
reset_board
echo "=== done $count" > "$results"
