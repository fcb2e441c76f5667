#!/bin/sh
# Checks every C/C++ file of the project against its checked-in .clang-format
# (the kernel modules in board/kmod against the kernel's style beside them) and
# lists what differs. With --fix, reformats them instead.
# SPDX-License-Identifier: MIT
set -eu
cd "$(dirname "$0")/.."

mode="--dry-run --Werror"
[ "${1:-}" = --fix ] && mode=-i
find . \( -path ./.git -o -path './build*' -o -path ./debian \) -prune -o \
    \( -name '*.c' -o -name '*.cpp' -o -name '*.h' \) -print0 |
    xargs -0 clang-format $mode
