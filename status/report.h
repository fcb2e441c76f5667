// What firmpack-status shows of a board_status: lines of text, one JSON
// document, and the installed state in the form that
// firmpack-check --installed reads.
// SPDX-License-Identifier: MIT
#pragma once

#include "status/status.h"

#include <cstdio>
#include <string>
#include <vector>

// One line of the text: "<item>: <text>". A problem is something that could
// not be read, is missing or is damaged.
struct status_line {
    std::string item;
    std::string text;
    bool problem;
};

// Every line, in order: the kernel command line, the installed versions, both
// bootloader slots, both Linux slots, what starts next.
[[nodiscard]] std::vector<status_line> status_lines(const board_status& status);

void print_status_text(FILE* out, const std::vector<status_line>& lines);

// One JSON document with the same facts, the records' fields, and the problem
// lines; written with json-c.
void print_status_json(FILE* out, const board_status& status,
                       const std::vector<status_line>& lines);

// The lines "bootloader=", "rootfs=" and "apps=" whose comparison with a
// pair's packages gives the update's answer on this board. A bootloader or
// filesystem that the update would take as changed for every package gets a
// value that matches no package: a bootloader that is not installed a text
// with a NUL byte, a filesystem that is not installed (or has a version file
// too long to compare) a text too long to compare. 0, or 1 with the reason
// when the board's state cannot be written so: the dataflash could not be
// read, or a text holds a line feed.
[[nodiscard]] int installed_file_text(const board_status& status, std::string* text,
                                      std::string* reason);
