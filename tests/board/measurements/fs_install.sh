# The filesystem installation with packages of 16 MiB of incompressible
# payload, against the same work done by hand with the utilities on the same
# partition, prepared the same way (detached, erased, attached, one volume):
#
#   none: the tool's volume update, from its "Installing" line to its
#         "Verifying" line, against ubiupdatevol of the package file, and of
#         the package through a pipe from cat as the tool feeds it;
#   gzip: the tool's extraction and volume update, from "Extracting" to
#         "Verifying", against gunzip of the package file (and of the package
#         through a pipe from cat) into /tmp and ubiupdatevol of the result.
#
# Each is run $RUNS times, the tool and the utilities in turn, first one and
# then the other first; the medians give the ratios. The tool's peak memory (ru_maxrss of the tool and the
# utilities it ran) with a 16 MiB package is set against its peak with the
# small pair: the firmpacks are mapped and read in place, so the difference
# is the difference of the firmpacks' sizes, where a copy of the package
# would add as much again.
RUNS=11

cmdline console=ttyS0 brd_id_io=1 brd_id_core=5 baseline=1
volume rootfs1 ubifs "R6.0"
volume apps1 ubifs "R6.0"
apps_mounted apps1
root_version "R6.0"
linux_record 1 sequence=1 board_id=0x105
bootloader_record 0 image=ms_app_small.img "description=bootloader 2026.10"

out=/run/measure
rm -rf "$out"
mkdir -p "$out"

# checked <log> <name>: ends the measurement when the timed command failed.
checked() {
    tail -n 1 "$1" | grep -q 'status 0$' && return 0
    echo "$2 failed:"
    cat "$1" "${1%.log}.err"
    exit 1
}

# tool <name> <os firmpack> <app firmpack>: the whole update, its lines timed,
# into $out/<name>.log; its temporary image goes again.
tool() {
    timerun firmpack-update "$2" "$3" > "$out/$1.log" 2> "$out/$1.err"
    rm -f /tmp/ubifs_*.img
    checked "$out/$1.log" "$1"
}

# prepared <partition>: the partition as the tool leaves it before writing.
prepared() {
    mtd=$(mtd_number "$1")
    ubidetach /dev/ubi_ctrl -m "$mtd" 2> /dev/null
    flash_eraseall -q "/dev/mtd$mtd"
    ubiattach /dev/ubi_ctrl -m "$mtd" -d $((mtd + UBI_OFFSET)) > /dev/null
    ubimkvol "/dev/ubi$((mtd + UBI_OFFSET))" -N "$1" -m > /dev/null
}

# by_hand <name> <partition> <command>: the command timed on a freshly
# prepared partition, into $out/<name>.log.
by_hand() {
    prepared "$2"
    timerun sh -c "$3" > "$out/$1.log" 2> "$out/$1.err"
    rm -f /tmp/raw.img
    checked "$out/$1.log" "$1"
}

# stamp <log> <pattern>: when the first line that matches came.
stamp() {
    awk -v line="$2" '$0 ~ line { print $1; exit }' "$1"
}

size() {
    wc -c < "$1"
}

rootfs_size=$(size ms_rootfs_big.ubifs)
tool small ms_os_small.img ms_app_small.img
# One line per run and kind in $out/runs, times in seconds:
#   none <tool's update> <from file> <through pipe> <tool's preparation> <tool's verification>
#        <whole run> <peak KiB>
#   gzip <tool's extraction and update> <from file> <through pipe> <tool's gunzip>
#        <gunzip from file> <whole run> <peak KiB>
# runs <number>: the tool and both ways by hand, for each kind.
runs() {
    tool "none$1" ms_os_big.img ms_app_small.img
    by_hand "file_none$1" rootfs2 "ubiupdatevol /dev/ubi12_0 ms_rootfs_big.ubifs"
    by_hand "pipe_none$1" rootfs2 \
        "cat ms_rootfs_big.ubifs | ubiupdatevol /dev/ubi12_0 -s $rootfs_size -"
    tool "gzip$1" ms_os_small.img ms_app_big.img
    by_hand "file_gzip$1" apps2 "gunzip -c ms_apps_big.ubifs.gz > /tmp/raw.img &&
        echo unpacked && ubiupdatevol /dev/ubi14_0 /tmp/raw.img"
    by_hand "pipe_gzip$1" apps2 "cat ms_apps_big.ubifs.gz | gunzip -c > /tmp/raw.img &&
        ubiupdatevol /dev/ubi14_0 /tmp/raw.img"
}

# The same, by hand first, so that the order favours neither side.
runs_reversed() {
    by_hand "pipe_none$1" rootfs2 \
        "cat ms_rootfs_big.ubifs | ubiupdatevol /dev/ubi12_0 -s $rootfs_size -"
    by_hand "file_none$1" rootfs2 "ubiupdatevol /dev/ubi12_0 ms_rootfs_big.ubifs"
    tool "none$1" ms_os_big.img ms_app_small.img
    by_hand "pipe_gzip$1" apps2 "cat ms_apps_big.ubifs.gz | gunzip -c > /tmp/raw.img &&
        ubiupdatevol /dev/ubi14_0 /tmp/raw.img"
    by_hand "file_gzip$1" apps2 "gunzip -c ms_apps_big.ubifs.gz > /tmp/raw.img &&
        echo unpacked && ubiupdatevol /dev/ubi14_0 /tmp/raw.img"
    tool "gzip$1" ms_os_small.img ms_app_big.img
}

run=1
while [ "$run" -le "$RUNS" ]; do
    if [ $((run % 2)) -eq 1 ]; then runs "$run"; else runs_reversed "$run"; fi
    log=$out/none$run.log
    echo "none $(seconds "$log" "Installing package 'rootfs" "Verifying package  'rootfs")" \
        "$(wall "$out/file_none$run.log") $(wall "$out/pipe_none$run.log")" \
        "$(seconds "$log" "Preparing package  'rootfs" "Installing package 'rootfs")" \
        "$(seconds "$log" "Verifying package  'rootfs" "Preparing package  'apps")" \
        "$(wall "$log") $(peak "$log")" >> "$out/runs"
    log=$out/gzip$run.log
    echo "gzip $(seconds "$log" "Extracting package 'apps" "Verifying package  'apps")" \
        "$(wall "$out/file_gzip$run.log") $(wall "$out/pipe_gzip$run.log")" \
        "$(seconds "$log" "Extracting package 'apps" "Installing package 'apps")" \
        "$(stamp "$out/file_gzip$run.log" "unpacked")" \
        "$(wall "$log") $(peak "$log")" >> "$out/runs"
    run=$((run + 1))
done

# column <kind> <field>: that field of the kind's runs, one per line.
column() {
    awk -v kind="$1" -v field="$2" '$1 == kind { print $field }' "$out/runs"
}

# timing <kind> <field> <label>: the median and least of a time.
timing() {
    printf '  %-46s median %.3f s, least %.3f s\n' "$3" "$(column "$1" "$2" | median)" \
        "$(column "$1" "$2" | least)"
}

# ratio <kind> <field> <label>: the tool's step (field 2) against a time.
ratio() {
    awk -v tool="$(column "$1" 2 | median)" -v other="$(column "$1" "$2" | median)" \
        -v label="$3" 'BEGIN { printf "  ratio to %s: %.3f\n", label, tool / other }'
}

# memory <kind> <firmpack with the payload> <the same without> <package>
memory() {
    awk -v big="$(column "$1" 8 | median)" -v small="$(peak "$out/small.log")" \
        -v grown="$(($(size "$2") - $(size "$3")))" -v package="$(size "$4")" 'BEGIN {
        printf "  peak memory median %d KiB, with the small pair %d KiB: %d KiB more", big, small,
            big - small
        printf " for a firmpack %d KiB bigger, mapped and read in place; a copy of the package",
            grown / 1024
        printf " would add another %d KiB\n", package / 1024 }'
}

echo "none package, root filesystem, $rootfs_size bytes in ms_os_big.img" \
    "of $(size ms_os_big.img) bytes; $RUNS runs:"
timing none 2 "the tool's volume update"
timing none 3 "ubiupdatevol of the package file by hand"
timing none 4 "cat of the package file into ubiupdatevol"
ratio none 3 "the file by hand (goal at most 1.1)"
ratio none 4 "the pipe by hand"
timing none 5 "the tool's preparation of the partition"
timing none 6 "the tool's verification by mounting"
timing none 7 "the tool's whole run"
memory none ms_os_big.img ms_os_small.img ms_rootfs_big.ubifs

echo "gzip package, applications, $(size ms_apps_big.ubifs.gz) bytes in ms_app_big.img" \
    "of $(size ms_app_big.img) bytes; $RUNS runs:"
timing gzip 2 "the tool's extraction and volume update"
timing gzip 3 "gunzip and ubiupdatevol of the file by hand"
timing gzip 4 "the same with cat of the file into gunzip"
ratio gzip 3 "the file by hand (goal at most 1.1)"
ratio gzip 4 "the pipe by hand"
timing gzip 5 "gunzip in the tool"
timing gzip 6 "gunzip of the file by hand"
timing gzip 7 "the tool's whole run"
memory gzip ms_app_big.img ms_app_small.img ms_apps_big.ubifs.gz
