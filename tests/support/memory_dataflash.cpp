// SPDX-License-Identifier: MIT
#include "tests/support/memory_dataflash.h"

#include "dataflash/device.h"
#include "firmpack/byte_order.h"
#include "firmpack/checksum.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
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

void put_bootloader_record(uint8_t* record, uint32_t image_offset, const uint8_t* image,
                           uint32_t length, uint32_t sequence, const std::string& description)
{
    uint8_t* field = record;
    for (uint32_t value : {RECORD_MAGIC, image_offset, length, checksum_crc32(0, image, length),
                           RECORD_VALID, sequence}) {
        put_le32(field, value);
        field += 4;
    }
    namespace bootloader = bootloader_admin_record;
    memset(record + bootloader::DESCRIPTION, 0, bootloader::DESCRIPTION_SIZE);
    description.copy(reinterpret_cast<char*>(record + bootloader::DESCRIPTION),
                     bootloader::DESCRIPTION_KEPT);
    put_le32(record + bootloader::MAGIC_END, RECORD_MAGIC);
}

void put_linux_record(uint8_t* record, uint32_t sequence, uint32_t board)
{
    for (uint32_t value : {RECORD_MAGIC, RECORD_VALID, sequence, 2u, board, RECORD_MAGIC}) {
        put_le32(record, value);
        record += 4;
    }
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
