#!/bin/sh
# The tool on the simulated board (board/), its console on this terminal:
# the usage, a firmpack file that is missing, an update of the board with the
# sample pair that examples/ builds (fp_os.img and fp_app.img), the same pair
# offered again, and a legacy pair (fp_os_legacy.img) for the boot loader.
# Usage: demo.sh [build dir]
set -eu
cd "$(dirname "$0")/.."
build=${1:-build/release}

pair=$build/examples
if [ -x examples/build-pair.sh ]; then
    examples/build-pair.sh "$pair"
fi
exec board/run-vm.sh demo "$build" "$build/board-demo" "$pair"
