// Start-up: board identity, choice of firmpack source and the exit status.
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

enum firmpack_source : int {
    SOURCE_USAGE = 0, // wrong use: print the usage text
    SOURCE_FILES = 1, // two firmpack files
    SOURCE_SHM = 2,   // both firmpacks from the platform library's shared memory
};

// The board id of this board, from the kernel command line
// (board_id_from_params of io/cmdline.h); a key that cannot be read counts as 0.
[[nodiscard]] uint32_t read_board_id();

[[nodiscard]] firmpack_source select_source(int argc, const char* const* argv);

void print_usage(const char* program);

// Puts the process into normal time-sharing scheduling; failures are reported
// and otherwise ignored.
void request_normal_scheduling();

// The process exit status for a result, never 0 for a failure: the low 8
// bits; where those are 0, the next 8 (a utility's exit status in a wait
// status); where those are 0 too, 1.
[[nodiscard]] int exit_status_of(int result);
