#!/bin/sh
# Boots the board VM once: prepares the kernel side (cached), builds the
# initramfs, runs QEMU until the guest powers itself off or the time limit
# ends it. The board is of the build's architecture (FPU_BOARD_ARCH of its
# CMake cache): armhf, the board's own, boots Debian's armmp kernel in
# qemu-system-arm -M virt; amd64, a PC, Debian's amd64 kernel in
# qemu-system-x86_64.
#
# Usage: run-vm.sh scenarios|measure <build dir> <output dir> <tests folder> [fixture]...
#        run-vm.sh demo|preflight <build dir> <output dir> [fixture]...
#   The tests folder (tests/board) holds the test words, the runners and the
#   scenarios and measurements they run (make-initramfs.sh).
#   scenarios: runs the scenarios of the tests folder; the console goes to
#              <output dir>/console.log, each scenario's result to
#              <output dir>/results/<name>.txt (first line PASS or FAIL), what
#              ran how fast to <output dir>/summary.txt; exits non-zero when
#              the run did not complete.
#   measure:   runs the measurements of the tests folder; the console, with
#              their reports, is this terminal and <output dir>/console.log,
#              the reports alone go to <output dir>/report.txt; exits non-zero
#              when the run did not complete.
#   demo, preflight: the console is this terminal (board/guest/preflight.sh);
#              what the guest writes to its results port goes to
#              <output dir>/results.raw.
# The results port is the PC's second serial port, and on ARM, whose -M virt
# has one serial port (the console, ttyAMA0), a virtio serial port; the guest
# finds its device in fpu_results.
# The fixtures (files, and the files directly inside folders) are in the
# guest's /fixtures.
# Environment:
#   FPU_BOARD_CACHE      prepared kernels (default: the build's FPU_BOARD_CACHE)
#   FPU_BOARD_KVM=1      use KVM for the amd64 board; software emulation (TCG)
#                        otherwise, since the KVM of some hosts cannot run an
#                        unmodified guest kernel. The ARM board is always TCG.
#   FPU_BOARD_MEMORY     guest memory in MiB (default 256, 512 to measure; 128
#                        is the least that boots)
#   FPU_BOARD_TIMEOUT    seconds before the run is stopped (default 1200, 1800
#                        to measure)
#   FPU_BOARD_SCENARIOS  comma-separated scenario names to run (default all)
#   FPU_BOARD_MEASUREMENTS  comma-separated measurement names (default all)
#   FPU_BOARD_PARAMS     more kernel parameters for the guest's scripts
#                        (fpu_<name>=<value> words, which reach them as variables)
# SPDX-License-Identifier: MIT
set -eu

mode=$1
build=$(cd "$2" && pwd)
out=$3
shift 3
here=$(cd "$(dirname "$0")" && pwd)
if [ ! -x "$build/board/dftool" ]; then
    echo "run-vm.sh: $build is a build without the simulated board (FPU_BUILD_BOARD=ON)" >&2
    exit 1
fi
tests=
case $mode in
    scenarios | measure) tests=$(cd "$1" && pwd); shift ;;
    demo | preflight) ;;
    *) echo "run-vm.sh: no mode $mode (scenarios, measure, demo or preflight)" >&2; exit 2 ;;
esac

cache=${FPU_BOARD_CACHE:-$(sed -n 's/^FPU_BOARD_CACHE:PATH=//p' "$build/CMakeCache.txt")}
arch=$(sed -n 's/^FPU_BOARD_ARCH:INTERNAL=//p' "$build/CMakeCache.txt")
# The measurements' firmpacks are large: they and their copy unpacked from
# the initramfs are in the guest's memory, and the runs under emulation take
# minutes.
if [ "$mode" = measure ]; then
    memory=${FPU_BOARD_MEMORY:-512}
    time_limit=${FPU_BOARD_TIMEOUT:-1800}
else
    memory=${FPU_BOARD_MEMORY:-256}
    time_limit=${FPU_BOARD_TIMEOUT:-1200}
fi
if [ "${FPU_BOARD_KVM:-0}" = 1 ] && [ "$arch" = amd64 ]; then accel=kvm; else accel=tcg; fi
# 64 MiB of translated code is plenty for the guest and halves QEMU's memory.
accel_options=$accel
[ "$accel" = kvm ] || accel_options="$accel,tb-size=64"
KERNEL_CMDLINE="quiet panic=-1 brd_id_io=1 brd_id_core=5 baseline=1"

# The machine, its kernel and its console, and the port the results leave by.
case $arch in
    armhf)
        qemu="qemu-system-arm -M virt"
        kernel=zImage
        # The boot's errors of the armmp kernel on this machine (no firmware
        # to set the CPU's IBE bit, a PCIe window it cannot claim) stay off
        # the console; the guest's init shows errors again after the boot.
        append="console=ttyAMA0 loglevel=3"
        results="-device virtio-serial-device -chardev file,id=results,path=$out/results.raw
            -device virtserialport,chardev=results,name=results"
        results_node=/dev/vport0p1
        ;;
    amd64)
        qemu="qemu-system-x86_64 -M q35"
        kernel=vmlinux
        append="console=ttyS0"
        results="-serial file:$out/results.raw"
        results_node=/dev/ttyS1
        ;;
    *)
        echo "run-vm.sh: $build has no board architecture (FPU_BOARD_ARCH); configure it again" >&2
        exit 1
        ;;
esac
mkdir -p "$out"
prepared=$("$here/prepare.sh" "$cache" "$here/kmod" "$arch")
"$here/make-initramfs.sh" -a "$arch" -t "$tests" "$out/initramfs.cpio" "$prepared" "$build" "$@"

append="$KERNEL_CMDLINE $append fpu_run=$mode fpu_results=$results_node"
[ -z "${FPU_BOARD_SCENARIOS:-}" ] || append="$append fpu_scenarios=$FPU_BOARD_SCENARIOS"
[ -z "${FPU_BOARD_MEASUREMENTS:-}" ] || append="$append fpu_measurements=$FPU_BOARD_MEASUREMENTS"
[ -z "${FPU_BOARD_PARAMS:-}" ] || append="$append $FPU_BOARD_PARAMS"
case $mode in
    demo | preflight) console="-serial stdio" ;;
    measure) console="-chardev stdio,id=console,logfile=$out/console.log -serial chardev:console" ;;
    *) console="-serial file:$out/console.log" ;;
esac

rm -f "$out/results.raw" "$out/console.log"
echo "Board VM: $arch, QEMU with $(echo "$accel" | tr a-z A-Z), $memory MiB," \
    "kernel $(basename "$prepared")" | tee "$out/summary.txt"
status=0
started=$(date +%s.%N)
# shellcheck disable=SC2086 # $qemu, $console and $results are several words
timeout "$time_limit" $qemu -accel "$accel_options" -m "$memory" -smp 1 \
    -nodefaults -display none -no-reboot -net none \
    -kernel "$prepared/$kernel" -initrd "$out/initramfs.cpio" -append "$append" $console $results ||
    status=$?
elapsed=$(echo "$started $(date +%s.%N)" | awk '{ printf "%.1f", $2 - $1 }')
touch "$out/results.raw" "$out/console.log" # when QEMU did not start at all
if [ "$status" -eq 124 ]; then
    echo "Board VM: stopped after the time limit of $time_limit s"
fi
case $mode in demo | preflight) exit "$status" ;; esac
if [ "$mode" = measure ]; then
    tr -d '\r' < "$out/results.raw" | grep -v '^=== done ' > "$out/report.txt" || true
    if ! tr -d '\r' < "$out/results.raw" | grep -q '^=== done '; then
        echo "Board VM: the measurements did not complete (QEMU status $status after $elapsed s)"
        exit 1
    fi
    echo "Board VM: measurements in $elapsed s, boot to power-off; report in $out/report.txt"
    exit 0
fi

# One file per scenario from the stream of the results port.
rm -rf "$out/results"
mkdir -p "$out/results"
tr -d '\r' < "$out/results.raw" | awk -v dir="$out/results" '
    /^=== done / { done = $3; next }
    /^=== / { file = dir "/" $2 ".txt"; next }
    file { print > file }
    END { if (done == "") exit 1; print done }' > "$out/results.count" || {
    echo "Board VM: the run did not complete (QEMU status $status after $elapsed s); console:"
    tail -n 30 "$out/console.log"
    exit 1
}
{
    echo "Board VM: $(cat "$out/results.count") scenarios in $elapsed s, boot to power-off"
    # Each scenario's verdict and time, and under it each run's wall time.
    grep '^scenario ' "$out/console.log" | while read -r _ name rest; do
        echo "  ${name%:} $rest"
        sed -n 's/^time /    /p' "$out/results/${name%:}.txt"
    done
} | tee -a "$out/summary.txt"
