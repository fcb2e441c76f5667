// Package lookup: from a firmpack and the board id to the packages an update
// installs. Each lookup prints its own failure on standard output.
// SPDX-License-Identifier: MIT
#pragma once

#include "firmpack/package.h"

#include <cstdint>

// 0 with the node name of the image that configuration "board_0x%4.4x"
// selects with "filesystem"; 22 when the configuration or the image is missing.
[[nodiscard]] int lookup_board_filesystem(const uint8_t* fit, const char** package_name,
                                          uint32_t board_id);

// 0 with package package_name read into *package (its description, which
// the lookup requires, and whatever else it has); 14 when the buffer is not a
// usable FIT or the package has no description, 2 when there is no such package.
[[nodiscard]] int lookup_package(const uint8_t* fit, const char* display_name,
                                 const char* package_name, firmpack_package* package);
