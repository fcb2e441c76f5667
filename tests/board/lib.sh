# The words of a board scenario, on top of the board's own words
# (board/guest/lib.sh). A scenario is a shell script, sourced in a subshell in
# the fixtures folder on a freshly reset board. It sets the board up, runs the
# tool with `run`, and checks what came out; every check that fails adds what
# differed to the scenario's report and makes it fail.
#
# Expected text is read from standard input (a here-document). A line that
# starts with "~ " is a shell pattern for the actual line in the same place
# (for run-time values such as addresses and process IDs); every other line
# must match exactly.
# SPDX-License-Identifier: MIT

. /board/lib.sh

TOOL_TIMEOUT=120
FAULTS=
PENDING=

uptime_seconds() {
    cut -d' ' -f1 /proc/uptime
}

seconds_since() {
    awk -v from="$1" -v to="$(uptime_seconds)" 'BEGIN { printf "%.2f", to - from }'
}

# selected <name> <list>: whether a comma-separated list from the kernel
# command line names <name>; an empty list names every one.
selected() {
    case ",${2:-$1}," in
        *",$1,"*) return 0 ;;
    esac
    return 1
}

# --- more of the board before the run ----------------------------------------

# page32_admin <text>: the first bytes of the boot loader's page-32 update
# administration.
page32_admin() {
    must dftool page32 "$1"
}

# fault <name>=<n>...: dataflash faults during the next run only: fail_write,
# fail_read, flip_read (with flip_offset), cut_after, read_only (see
# dataflash_sim.c).
fault() {
    FAULTS="$FAULTS $*"
}

# wrapper <utility> fail | log: put first on the tool's PATH a utility that
# reads all its input and exits with status 1, or one that appends its command
# line to the commands log (see expect_commands) and runs the real utility.
wrapper() {
    real=$(command -v "$1") || broken "wrapper: no utility $1"
    case $2 in
        fail) printf '#!/bin/sh\ncat > /dev/null\nexit 1\n' > "$WORK/bin/$1" ;;
        log)
            cat > "$WORK/bin/$1" <<WRAPPER
#!/bin/sh
printf '%s\\n' "$1 \$*" >> $WORK/commands
exec $real "\$@"
WRAPPER
            ;;
        *) broken "wrapper $1: $2 is neither fail nor log" ;;
    esac
    chmod +x "$WORK/bin/$1"
}

# unwrap <utility>: the real utility again, from the next run on.
unwrap() {
    rm -f "$WORK/bin/$1"
}

# --- the run -----------------------------------------------------------------

# run <command> [argument]...: runs it with the faults set, the wrappers first
# on PATH and no input; its output, exit status and wall time are kept. Its
# exit status, standard output and standard error must all be checked.
run() {
    finish_checks
    : > "$WORK/commands"
    for setting in $FAULTS; do
        echo "${setting#*=}" > "$DATAFLASH_PARAMS/${setting%%=*}" || broken "fault $setting"
    done
    for counter in reads writes opens; do
        echo 0 > "$DATAFLASH_PARAMS/$counter"
    done
    started=$(uptime_seconds)
    # Through /bin/sh, since busybox's timeout would prefer its own applets.
    PATH="$WORK/bin:$PATH" timeout -s KILL "$TOOL_TIMEOUT" /bin/sh -c 'exec "$@"' sh "$@" \
        < /dev/null > "$WORK/stdout" 2> "$WORK/stderr"
    echo $? > "$WORK/status"
    echo "time $(seconds_since "$started") s, dataflash $(cat "$DATAFLASH_PARAMS/opens") opens" \
        "$(cat "$DATAFLASH_PARAMS/reads") reads $(cat "$DATAFLASH_PARAMS/writes") writes: $*" \
        >> "$REPORT"
    cat "$DATAFLASH_PARAMS/opens" > "$WORK/opens"
    clear_faults
    FAULTS=
    PENDING="status stdout stderr"
}

checked() {
    rest=
    for item in $PENDING; do
        [ "$item" = "$1" ] || rest="$rest $item"
    done
    PENDING=${rest# }
}

# Called after each run's checks and at the end of the scenario.
finish_checks() {
    [ -z "$PENDING" ] || fail "not checked after the run: $PENDING"
    PENDING=
}

# --- what the tool prints for a pair built like the sample pair ---------------
# (examples/build-pair.sh: bootloader@1, rootfs@1 and fdt@1 in the OS
# firmpack, apps@1 in the APP firmpack). Expected output is composed from these
# in an unquoted here-document: $(pair_checked).

# pair_consistent [board id]: from the Info line to both firmpacks consistent.
pair_consistent() {
    cat <<EOF
## Info: Firmpacks must match board-id: ${1:-0x105}
~ ## Checking hash(es) for FIT Image at * ...
   Hash(es) for Image 0 (bootloader@1): crc32+ sha1+ 
   Hash(es) for Image 1 (rootfs@1): sha1+ 
   Hash(es) for Image 2 (fdt@1): md5+ 
~ ## Checking hash(es) for FIT Image at * ...
   Hash(es) for Image 0 (apps@1): crc32+ md5+ 
## Both firmpacks are consistent
EOF
}

# pair_checked: up to the version check of an accepted pair.
pair_checked() {
    pair_consistent
    printf '%s\n' "## Both firmpacks match together" "## Checking versions:"
}

# pair_legacy [line]: a legacy pair handed to the boot loader, after the line
# that tells why.
pair_legacy() {
    pair_consistent
    [ -z "${1:-}" ] || printf '%s\n' "$1"
    printf '%s\n' "## Both firmpacks match together" \
        "## Legacy Firmpacks detected, preparing for downgrade..."
}

# banner start | completed | failed | nothing: one of the tool's framed banners.
banner() {
    case $1 in
        start) middle="   --------- Starting SW Update ---------" ;;
        completed) middle="   -------- SW Update Completed ---------" ;;
        failed) middle="   -------- SW Update FAILED !! ---------" ;;
        nothing) middle="   -------- No SW Update required -------" ;;
        *) broken "banner $1" ;;
    esac
    printf '%s\n' "   --------------------------------------" "$middle" "   --------------------------------------"
}

# running_board <version>: board 0x105 running baseline 1 (record sequence 4)
# with filesystems of <version>; nothing else installed.
running_board() {
    cmdline console=ttyS0 brd_id_io=1 brd_id_core=5 baseline=1
    volume rootfs1 ubifs "$1"
    volume apps1 ubifs "$1"
    apps_mounted apps1
    root_version "$1"
    linux_record 1 sequence=4 board_id=0x105
}

# --- the R5.1 pair (up_os.img, up_app.img) on the R5.0 board -------------------

# up_compared: the version lines of the R5.1 pair against the R5.0 board.
up_compared() {
    printf '%s\n' "   Package 'bootloader    ' not yet installed" \
        "   Package 'rootfs@1      ' changed, got 'filesystem R5.0', found 'filesystem R5.1'" \
        "   Package 'apps@1        ' changed, got 'applications R5.0', found 'applications R5.1'"
}

# up_written running target: the lines of the R5.1 pair's whole update, from
# the start banner to the completed one.
up_written() {
    banner start
    echo "   Current baseline:$1, Updating baseline:$2"
    printf '%s\n' "## Preparing bootloader update..." \
        "   Installing package 'bootloader    '... (bootloader 2026.10)" \
        "## Preparing root and applications filesystems..."
    root_written R5.1
    apps_written R5.1
    printf '%s\n' "## Finalising root and applications filesystems update..." \
        "## Finalising bootloader update..."
    banner completed
}

# --- the R6.0 pair of the filesystem scenarios (fs_os.img, fs_app.img) --------

# fs_board: baseline 1 runs R5.0 filesystems and the pair's bootloader;
# baseline 2 holds R4.0.
fs_board() {
    running_board R5.0
    volume rootfs2 ubifs "R4.0"
    volume apps2 ubifs "R4.0"
    bootloader_record 0 image=tiny.fit "description=bootloader 2026.10"
}

# fs_started [root description]: a run of fs_os.img (or of a variant whose root
# filesystem package has that description) with fs_app.img on that board, up
# to its first filesystem step.
fs_started() {
    pair_checked
    cat <<EOF
   Package 'bootloader    ' not changed, got 'bootloader 2026.10'
   Package 'rootfs@1      ' changed, got 'filesystem R5.0', found '${1:-filesystem R6.0}'
   Package 'apps@1        ' changed, got 'applications R5.0', found 'applications R6.0'
$(banner start)
   Current baseline:1, Updating baseline:2
## Preparing root and applications filesystems...
EOF
}

# root_written, apps_written [version]: the lines of each package's
# installation, for the R6.0 pair unless a version is given.
root_written() {
    v=${1:-R6.0}
    printf '%s\n' "   Preparing package  'rootfs@1      '... (filesystem $v)" \
        "   Installing package 'rootfs@1      '... (filesystem $v)" \
        "   Verifying package  'rootfs@1      '... (filesystem $v)"
}

apps_written() {
    v=${1:-R6.0}
    printf '%s\n' "   Preparing package  'apps@1        '... (applications $v)" \
        "   Extracting package 'apps@1        '... (applications $v)" \
        "   Installing package 'apps@1        '... (applications $v)" \
        "   Verifying package  'apps@1        '... (applications $v)"
}

# --- checks after the run ----------------------------------------------------

# Expected lines on standard input; "~ " lines are shell patterns (see top).
resolve_patterns() {
    while IFS= read -r expected <&3; do
        IFS= read -r actual <&4 || actual=
        case $expected in
            '~ '*)
                # shellcheck disable=SC2254 # the pattern is meant to match
                case $actual in ${expected#'~ '}) expected=$actual ;; esac ;;
        esac
        printf '%s\n' "$expected"
    done 3< "$1" 4< "$2"
}

# compare <what> <actual file>, the expected text on standard input.
compare() {
    cat > "$WORK/expected"
    resolve_patterns "$WORK/expected" "$2" > "$WORK/expected.resolved"
    if ! diff -u -L "expected $1" -L "actual $1" "$WORK/expected.resolved" "$2" > "$WORK/diff"; then
        fail "$1 differs:"
        cat "$WORK/diff" >> "$REPORT"
    fi
}

expect_status() {
    checked status
    actual=$(cat "$WORK/status")
    [ "$actual" = "$1" ] || fail "exit status: expected $1, got $actual"
}

expect_stdout() {
    checked stdout
    compare stdout "$WORK/stdout"
}

expect_stderr() {
    checked stderr
    compare stderr "$WORK/stderr"
}

# expect_dataflash_opens <n>: how often the run opened the dataflash's node.
expect_dataflash_opens() {
    actual=$(cat "$WORK/opens")
    [ "$actual" = "$1" ] || fail "dataflash opened $actual times, expected $1"
}

# The command lines that wrapped utilities ran, one per line.
expect_commands() {
    compare commands "$WORK/commands"
}

# The dataflash as `dftool dump` shows it: page 32, both bootloader records
# (with "image ok" when the image has the record's CRC), both Linux records.
expect_dataflash() {
    dftool dump > "$WORK/dataflash" 2>&1 || fail "dftool dump failed"
    compare dataflash "$WORK/dataflash"
}

# The bootloader and baseline the boot loader would start on board 0x105, as
# `dftool next` chooses them.
expect_next() {
    dftool next 0x105 > "$WORK/next" 2>&1 || fail "dftool next failed"
    compare "next bootloader and baseline" "$WORK/next"
}

# expect_installed_verdicts <os firmpack> <app firmpack>: what firmpack-check
# says of each package of the pair for board 0x105, given the installed file
# that firmpack-status writes on this board: "<package>: would be updated" or
# "<package>: unchanged", one line each.
expect_installed_verdicts() {
    firmpack-status --installed-file "$WORK/installed" > /dev/null 2>&1
    firmpack-check --board 0x105 --installed "$WORK/installed" "$1" "$2" 2> /dev/null |
        awk '/, (would be updated|unchanged)$/ { n = split($0, part, ", "); print $1 ": " part[n] }' \
            > "$WORK/verdicts"
    compare "firmpack-check verdicts" "$WORK/verdicts"
}

# The UBIFS mounts, one "<device> on <folder> ro|rw" line each.
expect_mounts() {
    awk '$3 == "ubifs" { split($4, option, ","); print $1, "on", $2, option[1] }' /proc/mounts \
        > "$WORK/mounts"
    compare mounts "$WORK/mounts"
}

# expect_bytes <file> <reference file>: the file holds exactly the
# reference's bytes.
expect_bytes() {
    if [ ! -f "$1" ]; then
        fail "$1: no such file"
    elif ! cmp -s "$1" "$2"; then
        fail "$1: does not hold the bytes of $2"
    fi
}

# expect_file <path>: the file's contents.
expect_file() {
    if [ -f "$1" ]; then compare "$1" "$1"; else fail "$1: no such file"; fi
}

# expect_volume <partition> <version>: the partition holds a UBIFS whose
# version file is that one line.
expect_volume() {
    mount_volume "$1" || return 0
    printf '%s\n' "$2" > "$WORK/version"
    if [ ! -f "$WORK/check/version" ]; then
        fail "volume $1: no version file"
    elif ! cmp -s "$WORK/version" "$WORK/check/version"; then
        fail "volume $1: version file holds '$(cat "$WORK/check/version")', expected '$2'"
    fi
    release_volume
}

# expect_volume_bytes <partition> <file>: the partition's volume starts with
# exactly the file's bytes.
expect_volume_bytes() {
    ubi=$(partition_ubi "$1") || return 0
    if ! head -c "$(wc -c < "$2")" "/dev/ubi${ubi}_0" 2> /dev/null | cmp -s - "$2"; then
        fail "volume $1: does not start with the bytes of $2"
    fi
}

# --- measurements --------------------------------------------------------------

# On a log of timerun: seconds <log> <from pattern> <to pattern>, the time from
# the last line that matches the first pattern to the last that matches the
# second; wall <log> and peak <log>, the run's wall time and peak memory (KiB).
seconds() {
    awk -v from="$2" -v to="$3" '$0 ~ from { start = $1 } $0 ~ to { end = $1 }
        END { printf "%.3f\n", end - start }' "$1"
}

wall() {
    tail -n 1 "$1" | awk '{ print $3 }'
}

peak() {
    tail -n 1 "$1" | awk '{ print $6 }'
}

# median and least of the numbers on standard input, one per line.
median() {
    sort -n | awk '{ value[NR] = $1 } END { print value[int((NR + 1) / 2)] }'
}

least() {
    sort -n | head -n 1
}
