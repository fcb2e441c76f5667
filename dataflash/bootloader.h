// Bootloader package store and change check (software-update library). Package
// type 1, the bootloader, is the only type; any other is refused with 22.
// work_buffer is the update's scratch buffer of DATAFLASH_SIZE bytes.
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

inline constexpr int LIBSU_TYPE_BOOTLOADER = 1;

// Loads and validates the bootloader update administration and compares the
// newest valid record's description with description: *update_required is 1
// when the package must be installed, 0 when it is the installed one.
// 0; 22 for a bad type; -1 when the dataflash could not be read.
[[nodiscard]] int libsu_is_update_required(int type, const char* description, uint8_t* work_buffer,
                                           uint32_t* update_required);

// Writes the package into the slot that does not hold the newest record,
// reads it back and prepares the new record in memory. 0; 22 for a bad type
// or before libsu_is_update_required has loaded the administration;
// -1 when a transfer failed; 19 when the image read back does not match;
// 27 when the package is larger than an image area.
[[nodiscard]] int libsu_store_package(int type, const char* description, const uint8_t* data,
                                      uint32_t length, uint8_t* work_buffer);

// The first check of every operation of the library: 0 for type 1; otherwise
// prints that the operation refuses the type and returns 22.
[[nodiscard]] int check_package_type(const char* operation, int type);
