// Dataflash device access. The dataflash is an MTD character device of type
// MTD_DATAFLASH, found once per process among /dev/mtd1, /dev/mtd2, ... and
// kept open until the process ends. dataflash_transfer is the only accessor
// that the rest of the system uses.
#pragma once

#include <cstdint>

// 0 with the dataflash descriptor, or the system error number of the failing call.
[[nodiscard]] int dataflash_open(int* descriptor);

// One seek and one read or write; 0 or the system error number.
[[nodiscard]] int dataflash_read(uint32_t offset, uint32_t length, uint8_t* buffer);
[[nodiscard]] int dataflash_write(uint32_t offset, const uint8_t* buffer, uint32_t length);

// Writes (write non-zero) or reads length bytes at offset. 0, or -1 after
// printing the failure; a range past the end of the device draws a warning and
// is attempted all the same.
[[nodiscard]] int dataflash_transfer(int write, uint8_t* buffer, uint32_t offset, uint32_t length);
