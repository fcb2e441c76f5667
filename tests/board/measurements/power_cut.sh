# Power cuts during an update of all three packages (the sample pair on the
# demo's board): a power cut after each dataflash write in turn (fault
# cut_after=N), each judged as the boot loader reads the dataflash at the next
# start (dftool next); then a second run in the same boot, and cuts in it.
# The README's "When something goes wrong" says what the rows mean.
# SPDX-License-Identifier: MIT
OS=fp_os.img
APP=fp_app.img
ID=0x105
TRACE=/sys/kernel/tracing
out=/run/measure-power-cut
mkdir -p "$out"

# update [fault]...: the tool on the pair; only what `row` shows is looked at.
update() {
    fault "$@"
    : > "$TRACE/trace"
    run firmpack-update "$OS" "$APP"
    PENDING=
}

# The dataflash writes of the last update, "<offset> <length>".
traced_writes() {
    sed -n 's/.* to=\([0-9]*\) len=\([0-9]*\)$/\1 \2/p' "$TRACE/trace"
}

# area <offset> <length>: a write, and where it lies in the dataflash.
area() {
    printf '0x%06x %7d %s\n' "$1" "$2" "$(dftool area "$1")"
}

# row <cut> <what was cut>: what the boot loader starts next, and whether the
# board comes up with it.
row() {
    next=$(dftool next "$ID")
    loader=$(echo "$next" | sed -n 's/^bootloader slot \(.\) sequence [0-9]* "\(.*\)"$/\2 (slot \1)/p')
    baseline=$(echo "$next" | sed -n 's/^linux baseline \(.\) .*/\1/p')
    verdict=bootable
    [ -n "$loader" ] || { loader=none; verdict="NOT BOOTABLE"; }
    if [ -z "$baseline" ]; then
        started=none verdict="NOT BOOTABLE"
    else
        root=$(volume_version "rootfs$baseline") || verdict="NOT BOOTABLE"
        apps=$(volume_version "apps$baseline") || verdict="NOT BOOTABLE"
        started="$baseline ($root, $apps)"
    fi
    status=$(cat "$WORK/status" 2> /dev/null || echo -)
    printf '%4s %-34s %6s  %-28s %-20s %s\n' "$1" "$2" "$status" "$loader" "$started" "$verdict"
}

header() {
    printf '%4s %-34s %6s  %-28s %-20s %s\n' cut "$1" status "bootloader started" \
        "baseline started" "verdict"
}

grep -q " $TRACE " /proc/mounts || mount -t tracefs tracefs "$TRACE"
# The offset and length of each call of the dataflash module's write function
# (mtd, to, len, ...). 32-bit ARM passes the 64-bit offset in r2 and r3 (low
# word first) and the length as the first word on the stack.
case $(uname -m) in
    arm*) arguments='to=%r2:u32 len=$stack0:u32' ;;
    *) arguments='to=$arg2:u64 len=$arg3:u64' ;;
esac
echo "p:dfwrite dataflash_sim:dataflash_write $arguments" > "$TRACE/kprobe_events"
echo 1 > "$TRACE/events/kprobes/dfwrite/enable"

demo_board
update
traced_writes > "$out/writes"
echo "update of $OS and $APP, all three packages changed, baseline 1 to 2: status" \
    "$(cat "$WORK/status"), $(wc -l < "$out/writes") dataflash writes traced," \
    "$(sed -n 's/.* reads \([0-9]*\) writes: .*/\1/p' "$REPORT") counted by the module"
echo "a power cut after write N; at N = the last write the update is whole:"
header "write N: offset, bytes, area"
reset_board
demo_board
row 0 "(none yet)"
n=1
while read -r to length; do
    reset_board
    demo_board
    update cut_after=$n
    row "$n" "$(area "$to" "$length")"
    n=$((n + 1))
done < "$out/writes"

echo "a second run in the same boot after the complete update, without a restart:"
reset_board
demo_board
update
update
echo "  $(grep 'Updating baseline' "$WORK/stdout" | sed 's/^ *//'), status $(cat "$WORK/status"), writes:"
traced_writes | while read -r to length; do echo "    $(area "$to" "$length")"; done
echo "  the board afterwards, and power cuts in the second run:"
header "what was cut"
row - "(no cut)"
for cut in "second run, its rootfs2 write" "second run, its dataflash write" \
    "first run, its rootfs2 write"; do
    reset_board
    demo_board
    case $cut in first*) ;; *) update ;; esac
    case $cut in
        *rootfs2*) wrapper ubiupdatevol fail && update ;;
        *) update fail_write=1 ;;
    esac
    unwrap ubiupdatevol
    row - "$cut"
done
echo "(a write that ubiupdatevol never completes is cut as a failing ubiupdatevol;"
echo " a cut before the second run's only dataflash write as that write failing)"
