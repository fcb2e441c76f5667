#!/bin/sh
# The tool on the simulated board (tests/board/), its console on this terminal:
# the usage, a firmpack file that is missing, and, once examples/ builds the
# sample pair (fp_os.img and fp_app.img), an update of the board and the same
# pair offered again.
# Usage: demo.sh [build dir]
set -eu
cd "$(dirname "$0")/.."
build=${1:-build/release}

pair=$build/examples
if [ -x examples/build-pair.sh ]; then
    examples/build-pair.sh "$pair"
fi
exec tests/board/run-vm.sh demo "$build" "$build/board-demo" "$pair"
