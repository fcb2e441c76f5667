#!/bin/sh
# The tool on the simulated board (board/), its console on this terminal: the
# preflight (scripts/preflight.sh) of the sample pair that the build made from
# examples/ (fp_os.img and fp_app.img), with the usage and a missing firmpack
# file before the update, and after it the same pair offered again on the
# restarted board and a legacy pair (fp_os_legacy.img) for the boot loader.
# Usage: demo.sh [build dir, configured with FPU_BUILD_BOARD=ON]
# SPDX-License-Identifier: MIT
set -eu
cd "$(dirname "$0")/.."
build=${1:-build/release}
pair=$build/examples/pair

unset FROM_OS FROM_APP
export OS="$pair/fp_os.img" APP="$pair/fp_app.img" BOARD=0x105 BASELINE=1
exec scripts/preflight.sh demo "$build" "$pair/fp_os_legacy.img"
