#!/bin/sh
# One board scenario's verdict from the board VM's run: prints its report (run
# times, and what differed) and fails unless the scenario passed.
# Usage: check-scenario.sh <results folder> <scenario name>
# SPDX-License-Identifier: MIT
result=$1/$2.txt
if [ ! -f "$result" ]; then
    # Skipped (CTest's SKIP_RETURN_CODE) when the run was asked for others only.
    case ,${FPU_BOARD_SCENARIOS:-$2}, in
        *,"$2",*) ;;
        *) echo "board scenario $2: not among FPU_BOARD_SCENARIOS"; exit 77 ;;
    esac
    echo "board scenario $2: no result; see the output of the board_vm test"
    exit 1
fi
tail -n +2 "$result"
[ "$(head -n 1 "$result")" = PASS ]
