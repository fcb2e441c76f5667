// An in-memory dataflash in place of the device access (dataflash_read,
// dataflash_write): link fpu_memory_dataflash instead of fpu_dataflash_device,
// and everything above the device calls runs unchanged. It records every
// access and can fail chosen accesses (with EIO, printing nothing itself),
// deliver fewer bytes or flipped bytes on read. Also what the tests of the
// layers above need around it.
// SPDX-License-Identifier: MIT
#pragma once

#include "dataflash/layout.h"
#include "tests/support/process.h"

#include <cstdint>
#include <string>
#include <vector>

struct dataflash_access {
    bool write;
    uint32_t offset;
    uint32_t length;
    bool operator==(const dataflash_access&) const = default;
};

struct dataflash_faults {
    int fail_read = 0;                // the n-th read fails, counted from 1; 0 fails none
    int fail_write = 0;               // the n-th write fails
    uint32_t read_limit = UINT32_MAX; // a read delivers at most this many bytes
    uint32_t flip_offset = 0;         // the bytes of this range read inverted
    uint32_t flip_length = 0;
};

struct memory_dataflash {
    std::vector<uint8_t> bytes = std::vector<uint8_t>(DATAFLASH_SIZE, 0xFF); // erased
    std::vector<dataflash_access> accesses = {}; // every read and write, failed ones too
    dataflash_faults faults = {};
};

// The dataflash that the device calls use; assign {} for a fresh one.
memory_dataflash& test_dataflash();

// A good bootloader record at record for the image of length bytes at
// image_offset: magic, image offset, length and CRC-32, valid, sequence, each
// little-endian, the description cut to the field and the magic again.
void put_bootloader_record(uint8_t* record, uint32_t image_offset, const uint8_t* image,
                           uint32_t length, uint32_t sequence, const std::string& description);

// A good baseline record at record: magic, valid, sequence, format 2, board, magic.
void put_linux_record(uint8_t* record, uint32_t sequence, uint32_t board);

// What the code under test printed, without the lines of failed transfers
// (dataflash_transfer's own, which its test checks).
std::string without_transfer_failures(const std::string& out);
