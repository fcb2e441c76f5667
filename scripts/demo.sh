#!/bin/sh
# The tool on the simulated board (board/), its console on this terminal:
# the usage, a firmpack file that is missing, an update of the board with the
# sample pair that the build made from examples/ (fp_os.img and fp_app.img),
# the same pair offered again, and a legacy pair (fp_os_legacy.img) for the
# boot loader.
# Usage: demo.sh [build dir, configured with FPU_BUILD_BOARD=ON]
set -eu
cd "$(dirname "$0")/.."
build=${1:-build/release}

exec board/run-vm.sh demo "$build" "$build/board-demo" "$build/examples/pair"
