// Seeding the in-memory dataflash with update administration records, and a
// fresh start for each test: the software-update library keeps process-wide
// state that a test would otherwise inherit from the one before.
#pragma once

#include "dataflash/record.h"

#include "tests/support/memory_dataflash.h"

#include <cstdint>
#include <vector>

// A fresh process: erased dataflash, bootloader administration not read yet.
void reset_dataflash_state();

std::vector<uint8_t> flash_range(uint32_t offset, uint32_t length);

// Writes a good Linux record into a 528-byte slot.
void put_linux_record(uint8_t* slot, uint32_t sequence, uint32_t board_id);

// Writes a bootloader record into a 528-byte slot.
void put_bootloader_record(uint8_t* slot, uint32_t image_offset, uint32_t image_length,
                           uint32_t image_crc, uint32_t sequence, const char* description);

// Puts a good record with an image of length bytes into a slot on the dataflash.
void seed_bootloader(int slot, uint32_t sequence, const char* description, uint32_t length = 64);
