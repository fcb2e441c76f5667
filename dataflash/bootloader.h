// The bootloader update administration (software-update library): the change
// check, the store of a new bootloader into the slot that does not hold the
// newest record, and its persistence. The three operations share the
// administration as this process last read it, which stays private here.
// Package type 1, the bootloader, is the only type; any other is refused with
// 22. work_buffer is the update's scratch buffer of DATAFLASH_SIZE bytes.
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

inline constexpr int LIBSU_TYPE_BOOTLOADER = 1;

// Loads and validates the bootloader update administration (each record's
// header, and its image's CRC-32 read into work_buffer) and compares the
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

// Makes the bootloader record prepared by libsu_store_package the newest one:
// overwrites the page-32 administration's first bytes, writes the record's
// slot and reads the administration back. 0; 22 for a type other than 1 or
// before the administration was loaded; 1 when nothing was stored in this
// process; 19 when the page-32 administration could not be overwritten; -1
// when a dataflash transfer failed.
[[nodiscard]] int libsu_make_update_persistent(int type);
