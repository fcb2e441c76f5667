#!/bin/sh
# The tool as a user meets it on a development machine.
set -u
build=${1:-build/release}
tool="$build/driver/firmpack-update"

step() { printf '\n\033[1m$ %s\033[0m\n' "$*"; }

step firmpack-update
"$tool"; echo "(exit status $?)"

step firmpack-update missing_os.img missing_app.img
"$tool" missing_os.img missing_app.img; echo "(exit status $?)"
