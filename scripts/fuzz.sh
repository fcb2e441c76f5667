#!/bin/sh
# Runs each fuzz target (tests/fuzz/) of a libFuzzer build (make fuzz) for a
# given time. The corpus each one grows is kept in <build>/fuzz-corpus/<target>,
# what it finds (a crash, a sanitizer report, an input slower than 2 s) in
# <build>/fuzz-findings/; a summary per target ends the run, which fails when
# any target found something.
#
# Usage: fuzz.sh <fuzz build dir> <seconds per target> [target]...
# SPDX-License-Identifier: MIT
set -eu

build=$1
seconds=$2
shift 2
targets=${*:-firmpack cmdline version}
findings=$build/fuzz-findings
mkdir -p "$findings"

status=0
for target in $targets; do
    corpus=$build/fuzz-corpus/$target
    log=$build/fuzz-$target.log
    mkdir -p "$corpus"
    echo "== $target: $seconds s"
    # Standard output (the tool's progress lines) is closed: it only slows
    # the runs down. Inputs are kept small; the large regressions are
    # replayed whole by the tests.
    if ! "$build/tests/fuzz/fuzz_$target" -max_total_time="$seconds" -timeout=2 \
        -rss_limit_mb=2048 -max_len=16384 -close_fd_mask=1 -print_final_stats=1 \
        -artifact_prefix="$findings/$target-" "$corpus" \
        $(cat "$build/tests/fuzz/$target.corpora") >"$log" 2>&1; then
        status=1
        tail -n 60 "$log"
        echo "== $target: FOUND SOMETHING, see $findings and $log"
    fi
    grep -E '^#[0-9]+[[:space:]]+DONE|^stat::(number_of_executed_units|average_exec_per_sec|slowest_unit_time_sec|peak_rss_mb)' "$log" || true
done
exit $status
