# The filesystem installation of 16 MiB against the same work by hand (from
# the file, and piped from cat), and its peak memory against a small pair's.
# SPDX-License-Identifier: MIT
RUNS=11
out=/run/measure
running_board R6.0
bootloader_record 0 image=ms_app_small.img "description=bootloader 2026.10"
rm -rf "$out"
mkdir -p "$out"
size() { wc -c < "$1"; }

# timed <name> <command>...: timed into $out/<name>.log; a failure ends all.
timed() {
    name=$1
    shift
    timerun "$@" > "$out/$name.log" 2> "$out/$name.err"
    rm -f /tmp/ubifs_*.img /tmp/raw.img
    tail -n 1 "$out/$name.log" | grep -q 'status 0$' && return 0
    echo "$name failed:"
    cat "$out/$name.log" "$out/$name.err"
    exit 1
}

# by_hand <name> <partition> <command>: timed on the partition as the tool
# prepares it.
by_hand() {
    mtd=$(mtd_number "$2")
    ubidetach /dev/ubi_ctrl -m "$mtd" 2> /dev/null
    flash_eraseall -q "/dev/mtd$mtd"
    ubiattach /dev/ubi_ctrl -m "$mtd" -d $((mtd + UBI_OFFSET)) > /dev/null
    ubimkvol "/dev/ubi$((mtd + UBI_OFFSET))" -N "$2" -m > /dev/null
    timed "$1" sh -c "$3"
}

# ways <kind> <OS firmpack> <APP firmpack> <partition> <from the file> <piped>:
# the tool's run and both ways by hand, then $log (the tool's) and $walls.
ways() {
    [ $((run % 2)) -eq 0 ] || timed "$1$run" firmpack-update "$2" "$3"
    by_hand "file_$1$run" "$4" "$5"
    by_hand "pipe_$1$run" "$4" "$6"
    [ $((run % 2)) -eq 1 ] || timed "$1$run" firmpack-update "$2" "$3"
    log=$out/$1$run.log
    walls="$(wall "$out/file_$1$run.log") $(wall "$out/pipe_$1$run.log")"
}

# One line per run and kind in $out/runs: the kind, the tool's step, the file
# and the pipe by hand, two more steps, the tool's whole run and peak KiB.
timed small firmpack-update ms_os_small.img ms_app_small.img
run=1
while [ "$run" -le "$RUNS" ]; do
    ways none ms_os_big.img ms_app_small.img rootfs2 \
        "ubiupdatevol /dev/ubi12_0 ms_rootfs_big.ubifs" \
        "cat ms_rootfs_big.ubifs | ubiupdatevol /dev/ubi12_0 -s $(size ms_rootfs_big.ubifs) -"
    echo "none $(seconds "$log" "Installing package 'rootfs" "Verifying package  'rootfs")" \
        "$walls $(seconds "$log" "Preparing package  'rootfs" "Installing package 'rootfs")" \
        "$(seconds "$log" "Verifying package  'rootfs" "Preparing package  'apps")" \
        "$(wall "$log") $(peak "$log")" >> "$out/runs"
    ways gzip ms_os_small.img ms_app_big.img apps2 \
        "gunzip -c ms_apps_big.ubifs.gz > /tmp/raw.img && echo unpacked &&
            ubiupdatevol /dev/ubi14_0 /tmp/raw.img" \
        "cat ms_apps_big.ubifs.gz | gunzip -c > /tmp/raw.img &&
            ubiupdatevol /dev/ubi14_0 /tmp/raw.img"
    echo "gzip $(seconds "$log" "Extracting package 'apps" "Verifying package  'apps")" \
        "$walls $(seconds "$log" "Extracting package 'apps" "Installing package 'apps")" \
        "$(awk '/unpacked/ { print $1; exit }' "$out/file_gzip$run.log")" \
        "$(wall "$log") $(peak "$log")" >> "$out/runs"
    run=$((run + 1))
done

column() { awk -v kind="$kind" -v field="$1" '$1 == kind { print $field }' "$out/runs"; }

# report <kind> <package> <firmpack with the payload> <the same without>
# <what> <label of fields 2 to 7>...: each time's median and least, the tool's
# step against both ways by hand, and the peak memory.
report() {
    kind=$1 package=$2 big=$3 small=$4
    echo "$kind package, $5, $(size "$package") bytes in $big of $(size "$big") bytes; $RUNS runs:"
    shift 5
    field=2
    for label; do
        printf '  %-46s median %.3f s, least %.3f s\n' "$label" "$(column $field | median)" \
            "$(column $field | least)"
        field=$((field + 1))
    done
    for field in 3 4; do
        awk -v tool="$(column 2 | median)" -v other="$(column $field | median)" -v f=$field \
            'BEGIN { printf "  ratio to the %s: %.3f\n",
                     f == 3 ? "file by hand (goal at most 1.1)" : "pipe by hand", tool / other }'
    done
    awk -v big="$(column 8 | median)" -v small="$(peak "$out/small.log")" \
        -v grown="$(($(size "$big") - $(size "$small")))" -v package="$(size "$package")" \
        'BEGIN { printf "  peak memory median %d KiB, with the small pair %d KiB: %d KiB more" \
            " for a firmpack %d KiB bigger, mapped and read in place; a copy of the package" \
            " would add another %d KiB\n", big, small, big - small, grown / 1024, package / 1024 }'
}

report none ms_rootfs_big.ubifs ms_os_big.img ms_os_small.img "root filesystem" \
    "the tool's volume update" "ubiupdatevol of the package file by hand" \
    "cat of the package file into ubiupdatevol" "the tool's preparation of the partition" \
    "the tool's verification by mounting" "the tool's whole run"
report gzip ms_apps_big.ubifs.gz ms_app_big.img ms_app_small.img applications \
    "the tool's extraction and volume update" "gunzip and ubiupdatevol of the file by hand" \
    "the same with cat of the file into gunzip" "gunzip in the tool" \
    "gunzip of the file by hand" "the tool's whole run"
