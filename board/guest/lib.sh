# The words that set the simulated board up and look at it, for the demo, a
# preflight and the tests (tests/board/lib.sh adds the words that run the
# tool and check what came out). A script that sources this runs in the
# fixtures folder on a board that reset_board has reset: NAND partitions
# erased and detached, dataflash all 0xFF, no /version, nothing mounted, the
# kernel's own /proc/cmdline, no dataflash faults, no key file. A setup step
# that fails adds what it printed to $REPORT and $WORK/failed and ends the
# script.
# SPDX-License-Identifier: MIT

FIXTURES=/fixtures
WORK=/run/scenario
REPORT=$WORK/report
# Where the board keeps the keys its firmpacks must be signed with.
KEY_FILE=/etc/firmpack-update/keys.dtb
DATAFLASH_PARAMS=/sys/module/dataflash_sim/parameters
PARTITIONS="rootfs1 rootfs2 apps1 apps2"
# The tool attaches the partition of MTD device M as UBI device M + 10.
UBI_OFFSET=10

fail() {
    printf '%s\n' "$*" >> "$REPORT"
    printf '%s\n' "$*" >> "$WORK/failed"
}

# A board that cannot be set up as asked ends the scenario.
broken() {
    fail "setup failed: $*"
    exit 1
}

# Runs a setup command; its output goes into the report only when it fails.
must() {
    "$@" > "$WORK/must.out" 2>&1 && return 0
    cat "$WORK/must.out" >> "$REPORT"
    broken "$*"
}

mtd_number() {
    for file in /sys/class/mtd/mtd*/name; do
        if [ "$(cat "$file")" = "$1" ]; then
            file=${file#/sys/class/mtd/mtd}
            echo "${file%/name}"
            return 0
        fi
    done
    return 1
}

partition_ubi() {
    mtd=$(mtd_number "$1") || { fail "no MTD partition named $1"; return 1; }
    echo $((mtd + UBI_OFFSET))
}

clear_faults() {
    for fault in fail_write fail_read flip_read cut_after read_only reads writes opens; do
        echo 0 > "$DATAFLASH_PARAMS/$fault"
    done
    echo -1 > "$DATAFLASH_PARAMS/flip_offset"
}

detach_all_ubi() {
    for device in /sys/class/ubi/ubi*; do
        case ${device##*/} in
            *_*) ;;
            ubi[0-9]*) ubidetach -d "${device##*/ubi}" > /dev/null ;;
        esac
    done
}

# restore_node <name>: /dev/<name> made anew from the numbers the kernel gave
# the MTD device, when a scenario removed it.
restore_node() {
    # shellcheck disable=SC2046 # major and minor are two words
    [ -e "/dev/$1" ] || mknod "/dev/$1" c $(tr ':' ' ' < "/sys/class/mtd/$1/dev")
}

reset_board() {
    restore_node mtd0
    restore_node mtd0ro
    while grep -q ' /proc/cmdline ' /proc/mounts; do umount /proc/cmdline || break; done
    awk '$3 == "ubifs" { print $2 }' /proc/mounts | sort -r | while read -r dir; do
        umount "$dir"
    done
    detach_all_ubi
    for partition in $PARTITIONS; do
        flash_erase -q "/dev/mtd$(mtd_number "$partition")" 0 0
    done
    rm -rf /tmp/* /dev/shm/* /version "$KEY_FILE"
    clear_faults
    dftool erase
    rm -rf "$WORK"
    mkdir -p "$WORK/bin"
    : > "$REPORT"
}

# --- the board before the run ------------------------------------------------

# cmdline <text>: the kernel command line the tool reads (with the kernel's
# trailing line feed), bind-mounted over /proc/cmdline.
cmdline() {
    printf '%s\n' "$*" > "$WORK/cmdline"
    must mount --bind "$WORK/cmdline" /proc/cmdline
}

# key_file <file>: the board's key file, so that it installs only firmpacks
# signed by one of its keys.
key_file() {
    mkdir -p "$(dirname "$KEY_FILE")"
    must cp "$1" "$KEY_FILE"
}

# root_version <text>: /version of the running root filesystem, one line.
root_version() {
    printf '%s\n' "$1" > /version
}

# volume <partition> erased | ubifs [<version>]: the partition erased, or
# attached as the tool attaches it, holding one volume with a UBIFS whose
# version file is that one line (no version file without it).
volume() {
    ubi=$(partition_ubi "$1") || exit 1
    mtd=$((ubi - UBI_OFFSET))
    ubidetach -m "$mtd" > /dev/null 2>&1
    must flash_erase -q "/dev/mtd$mtd" 0 0
    case $2 in
        erased) return 0 ;;
        ubifs) ;;
        *) broken "volume $1: $2 is neither erased nor ubifs" ;;
    esac
    must ubiattach /dev/ubi_ctrl -m "$mtd" -d "$ubi"
    must ubimkvol "/dev/ubi$ubi" -N "$1" -m
    mkdir -p "$WORK/volume"
    # An empty volume gets a fresh UBIFS when it is first mounted.
    must mount -t ubifs "/dev/ubi${ubi}_0" "$WORK/volume"
    if [ $# -ge 3 ]; then printf '%s\n' "$3" > "$WORK/volume/version"; fi
    must umount "$WORK/volume"
}

# apps_mounted <partition>: the running applications filesystem, a volume made
# with `volume`, mounted read-only at /mnt/apps.
apps_mounted() {
    ubi=$(partition_ubi "$1") || exit 1
    must mount -t ubifs -o ro "/dev/ubi${ubi}_0" /mnt/apps
}

# linux_record <baseline> [field=value]...: a Linux update administration
# record; fields magic valid sequence format board_id magic_end, valid by default.
linux_record() {
    must dftool linux "$@"
}

# bootloader_record <slot> [image=<file>] [field=value]...: a bootloader update
# administration record, with the file's bytes in the slot's image area; fields
# magic image_offset image_length image_crc valid sequence description
# magic_end, by default valid and describing the image.
bootloader_record() {
    must dftool bootloader "$@"
}

# reboot_into <baseline>: what a restart into that baseline changes for the
# tool: the kernel command line, /version from the baseline's root volume, and
# its applications volume at /mnt/apps.
reboot_into() {
    cmdline "console=ttyS0 brd_id_io=1 brd_id_core=5 baseline=$1"
    mount_volume "rootfs$1" || exit 1
    must cp "$WORK/check/version" /version
    release_volume
    umount /mnt/apps 2> /dev/null
    apps_mounted "apps$1"
}

# demo_board [baseline] [board id]: the board as the demo finds it: the board
# id (0x105) on the kernel command line, the baseline (1) running filesystems
# "0.9" with their Linux update administration record, and bootloader
# "2025.04" (64 KiB) in slot 0; the other baseline's partitions erased.
demo_board() {
    demo_baseline=${1:-1}
    demo_id=$((${2:-0x105}))
    cmdline "console=ttyS0 brd_id_io=$((demo_id >> 8)) brd_id_core=$((demo_id & 255))" \
        "baseline=$demo_baseline"
    volume "rootfs$demo_baseline" ubifs "0.9"
    volume "apps$demo_baseline" ubifs "0.9"
    apps_mounted "apps$demo_baseline"
    root_version "0.9"
    linux_record "$demo_baseline" sequence=1 "board_id=$demo_id"
    head -c 65536 /dev/urandom > "$WORK/bootloader-2025.04.bin"
    bootloader_record 0 image="$WORK/bootloader-2025.04.bin" sequence=1 \
        "description=bootloader 2025.04"
}

# --- the board afterwards ----------------------------------------------------

# Mounts a partition's volume read-only at $WORK/check, attaching it first when
# needed; release_volume undoes both.
mount_volume() {
    ubi=$(partition_ubi "$1") || return 1
    attached_here=
    if [ ! -e "/sys/class/ubi/ubi$ubi" ]; then
        ubiattach /dev/ubi_ctrl -m $((ubi - UBI_OFFSET)) -d "$ubi" > /dev/null 2>&1 ||
            { fail "volume $1: cannot be attached"; return 1; }
        attached_here=$ubi
    fi
    mkdir -p "$WORK/check"
    mount -t ubifs -o ro "/dev/ubi${ubi}_0" "$WORK/check" 2> /dev/null && return 0
    fail "volume $1: no UBIFS to mount"
    release_volume
    return 1
}

release_volume() {
    umount "$WORK/check" 2> /dev/null
    [ -z "$attached_here" ] || ubidetach -d "$attached_here" > /dev/null
}

# volume_version <partition>: prints the version file of the partition's
# volume, mounted read-only for the moment, or what is there instead (no UBI,
# no UBIFS, no version file, with status 1); checks nothing.
volume_version() {
    mtd=$(mtd_number "$1") || { echo "no partition $1"; return 1; }
    ubi=$((mtd + UBI_OFFSET)) peeked= found=1
    if [ ! -e "/sys/class/ubi/ubi$ubi" ]; then
        ubiattach /dev/ubi_ctrl -m "$mtd" -d "$ubi" > /dev/null 2>&1 || { echo "no UBI"; return 1; }
        peeked=$ubi
    fi
    mkdir -p "$WORK/peek"
    if ! mount -t ubifs -o ro "/dev/ubi${ubi}_0" "$WORK/peek" 2> /dev/null; then
        echo "no UBIFS"
    elif [ -f "$WORK/peek/version" ]; then
        cat "$WORK/peek/version" && found=0
    else
        echo "no version file"
    fi
    umount "$WORK/peek" 2> /dev/null
    [ -z "$peeked" ] || ubidetach -d "$peeked" > /dev/null
    return "$found"
}
