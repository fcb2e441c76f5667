#!/bin/sh
# Runs every scenario of /board/tests/scenarios (or those named, comma-separated, by
# fpu_scenarios on the kernel command line), each on a board reset to a known
# state. Each result goes to the results port (fpu_results) as
#   === <name>
#   PASS | FAIL
#   <report: run times, and what differed>
# and the run ends with "=== done <count>". The console gets one line per scenario.
# SPDX-License-Identifier: MIT
. /board/tests/lib.sh

results=$fpu_results
count=0
for scenario in /board/tests/scenarios/*.sh; do
    scenario_name=$(basename "$scenario" .sh)
    selected "$scenario_name" "${fpu_scenarios:-}" || continue
    reset_board
    started=$(uptime_seconds)
    (cd "$FIXTURES" && . "$scenario" && finish_checks) > "$WORK/scenario.log" 2>&1
    status=$?
    # Anything a scenario printed outside the checks is part of its report.
    cat "$WORK/scenario.log" >> "$REPORT"
    if [ "$status" -eq 0 ] && [ ! -s "$WORK/failed" ]; then verdict=PASS; else verdict=FAIL; fi
    echo "scenario $scenario_name: $verdict ($(seconds_since "$started") s)"
    {
        echo "=== $scenario_name"
        echo "$verdict"
        cat "$REPORT"
    } > "$results"
    count=$((count + 1))
done
reset_board
echo "=== done $count" > "$results"
