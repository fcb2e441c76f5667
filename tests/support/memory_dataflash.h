// An in-memory dataflash in place of the device access (dataflash_read,
// dataflash_write): link fpu_memory_dataflash instead of
// fpu_dataflash_device, and everything above the device calls runs unchanged.
// It records every access and can fail chosen accesses or deliver changed
// bytes on read. A failing access returns the chosen error number and prints
// nothing itself.
#pragma once

#include "dataflash/layout.h"

#include <cerrno>
#include <cstdint>
#include <vector>

struct dataflash_access {
    bool write;
    uint32_t offset;
    uint32_t length;
    bool operator==(const dataflash_access&) const = default;
};

// A byte that reads deliver as value, whatever the flash holds at offset.
struct read_change {
    uint32_t offset;
    uint8_t value;
};

struct memory_dataflash {
    std::vector<uint8_t> bytes = std::vector<uint8_t>(DATAFLASH_SIZE, 0xFF); // erased
    std::vector<dataflash_access> accesses; // every read and write, failed ones too
    // Counted from 1 over the accesses so far; 0 fails none.
    int fail_access = 0; // the n-th access of either kind
    int fail_read = 0;   // the n-th read
    int fail_write = 0;  // the n-th write
    int error = EIO;
    uint32_t read_limit = UINT32_MAX; // a read delivers at most this many bytes
    std::vector<read_change> read_changes;
};

// The dataflash that the device calls use.
memory_dataflash& test_dataflash();

// Erases the dataflash, clears the faults and the record of accesses.
void reset_test_dataflash();

// The accesses of one kind, in order.
std::vector<dataflash_access> dataflash_writes();
std::vector<dataflash_access> dataflash_reads();
