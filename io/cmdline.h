// The kernel command line, read once per process through read_kernel_cmdline,
// the only reader of /proc/cmdline.
// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>

// Size of the command-line cache and of every caller's value buffer.
inline constexpr std::size_t CMDLINE_SIZE = 4096;

// Copies into value (CMDLINE_SIZE bytes) the value of the first word of
// cmdline that reads key=value, or the empty text. Words are separated by
// single blanks only; tab and newline belong to the words.
void cmdline_find_param(const char* cmdline, const char* key, char* value);

// Copies /proc/cmdline into buffer (size bytes), cut to fit and ended with a
// NUL. 0, or the errno value when it cannot be opened, after saying so on
// standard error. It lives in a library of its own (fpu_kernel_cmdline): the
// programs link it, the unit tests link a command line of their own
// (tests/support/test_cmdline.h) so that everything above runs unchanged.
[[nodiscard]] int read_kernel_cmdline(char* buffer, std::size_t size);

// Looks key up in the kernel command line, read once per process. 0 whether
// or not the key was found (value empty when not); the errno value when
// /proc/cmdline cannot be opened; 1 when it reads empty.
[[nodiscard]] int get_cmdline_param(const char* key, char* value);

// The keys that give the board id, and the one that names the running
// baseline (1 or 2).
inline constexpr const char* CMDLINE_KEY_BOARD_IO = "brd_id_io";
inline constexpr const char* CMDLINE_KEY_BOARD_CORE = "brd_id_core";
inline constexpr const char* CMDLINE_KEY_BASELINE = "baseline";

// The board id from the values of brd_id_io and brd_id_core: io shifted left
// by 8, or core, both decimal, in 32 bits without masking; an empty value
// counts as 0.
[[nodiscard]] uint32_t board_id_from_params(const char* brd_id_io, const char* brd_id_core);
