// SPDX-License-Identifier: MIT
#include "tests/support/memory_dataflash.h"

#include "dataflash/device.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

namespace {

memory_dataflash flash;

// Records the access and tells whether it is one that must fail.
bool record_access(bool write, uint32_t offset, uint32_t length)
{
    flash.accesses.push_back({write, offset, length});
    auto kind_count = std::count_if(flash.accesses.begin(), flash.accesses.end(),
                                    [&](const dataflash_access& a) { return a.write == write; });
    return kind_count == (write ? flash.faults.fail_write : flash.faults.fail_read);
}

// Bytes of the range that lie on the device; like an MTD device, a range past
// the end is cut short.
uint32_t bytes_on_device(uint32_t offset, uint32_t length)
{
    return offset >= DATAFLASH_SIZE ? 0 : std::min(length, DATAFLASH_SIZE - offset);
}

} // namespace

memory_dataflash& test_dataflash()
{
    return flash;
}

int dataflash_read(uint32_t offset, uint32_t length, uint8_t* buffer)
{
    if (record_access(false, offset, length)) {
        return EIO;
    }
    uint32_t count = std::min(bytes_on_device(offset, length), flash.faults.read_limit);
    std::copy_n(flash.bytes.begin() + offset, count, buffer);
    for (uint32_t i = 0; i < count; ++i) {
        buffer[i] ^= offset + i - flash.faults.flip_offset < flash.faults.flip_length ? 0xFF : 0;
    }
    return 0;
}

int dataflash_write(uint32_t offset, const uint8_t* buffer, uint32_t length)
{
    if (record_access(true, offset, length)) {
        return EIO;
    }
    std::copy_n(buffer, bytes_on_device(offset, length), flash.bytes.begin() + offset);
    return 0;
}

std::string without_transfer_failures(const std::string& out)
{
    std::istringstream lines(out);
    std::string kept;
    for (std::string line; std::getline(lines, line);) {
        bool failure = line.starts_with("ERROR: Failed to ") && line.ends_with(" dataflash (5)");
        kept += failure ? "" : line + "\n";
    }
    return kept;
}
