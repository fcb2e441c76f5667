// Dataflash transfers: the one accessor through which the subsystem reads and
// writes the dataflash, and whole administration slots written through it.
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

// The direction argument of dataflash_transfer.
inline constexpr int DATAFLASH_READ = 0;
inline constexpr int DATAFLASH_WRITE = 1;

// Writes (write non-zero) or reads length bytes at offset. 0, or -1 after
// printing the failure; a range past the end of the device draws a warning and
// is attempted all the same.
[[nodiscard]] int dataflash_transfer(int write, uint8_t* buffer, uint32_t offset, uint32_t length);

// Writes one whole 528-byte slot of the administration area at area_offset.
// 0, or -1 when the transfer failed.
[[nodiscard]] int write_admin_slot(uint32_t area_offset, int slot, uint8_t* slot_bytes);
