// Dataflash device access. The dataflash is an MTD character device of type
// MTD_DATAFLASH, found once per process among /dev/mtd1, /dev/mtd2, ... and
// kept open until the process ends. Only dataflash_transfer (transfer.h) calls
// the read and the write; the unit tests link an in-memory dataflash in their
// place.
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

// One seek and one read or write; 0 or the system error number of the failing
// call, also of the search for the device.
[[nodiscard]] int dataflash_read(uint32_t offset, uint32_t length, uint8_t* buffer);
[[nodiscard]] int dataflash_write(uint32_t offset, const uint8_t* buffer, uint32_t length);

// For a program that only reads the dataflash: called once, before the first
// transfer, it makes the search take the first MTD_DATAFLASH device whether or
// not it is writable, and open it read-only, so that every write fails. The
// update never calls it: it needs the first writable dataflash, opened
// read-write.
void dataflash_choose_read_only();
