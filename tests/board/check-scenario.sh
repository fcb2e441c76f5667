#!/bin/sh
# One board scenario's verdict from the board VM's run: prints its report (run
# times, and what differed) and fails unless the scenario passed.
# Usage: check-scenario.sh <results folder> <scenario name>
result=$1/$2.txt
if [ ! -f "$result" ]; then
    echo "board scenario $2: no result; see the output of the board_vm test"
    exit 1
fi
tail -n +2 "$result"
[ "$(head -n 1 "$result")" = PASS ]
