#include "tests/support/memory_dataflash.h"

#include "dataflash/device.h"

#include <algorithm>
#include <cstring>

namespace {

memory_dataflash flash;

int count_of(bool write)
{
    return static_cast<int>(
        std::count_if(flash.accesses.begin(), flash.accesses.end(),
                      [&](const dataflash_access& a) { return a.write == write; }));
}

// Records the access and tells whether it is one that must fail.
bool record_access(bool write, uint32_t offset, uint32_t length)
{
    flash.accesses.push_back({write, offset, length});
    int kind_count = count_of(write);
    int fail_kind = write ? flash.fail_write : flash.fail_read;
    return static_cast<int>(flash.accesses.size()) == flash.fail_access || kind_count == fail_kind;
}

// Bytes of the range that lie on the device; like an MTD device, a range past
// the end is cut short.
uint32_t bytes_on_device(uint32_t offset, uint32_t length)
{
    if (offset >= flash.bytes.size()) {
        return 0;
    }
    return std::min<uint32_t>(length, static_cast<uint32_t>(flash.bytes.size()) - offset);
}

std::vector<dataflash_access> accesses_of(bool write)
{
    std::vector<dataflash_access> found;
    std::copy_if(flash.accesses.begin(), flash.accesses.end(), std::back_inserter(found),
                 [&](const dataflash_access& a) { return a.write == write; });
    return found;
}

} // namespace

memory_dataflash& test_dataflash()
{
    return flash;
}

void reset_test_dataflash()
{
    flash = memory_dataflash{};
}

std::vector<dataflash_access> dataflash_writes()
{
    return accesses_of(true);
}

std::vector<dataflash_access> dataflash_reads()
{
    return accesses_of(false);
}

int dataflash_read(uint32_t offset, uint32_t length, uint8_t* buffer)
{
    if (record_access(false, offset, length)) {
        return flash.error;
    }
    uint32_t count = std::min(bytes_on_device(offset, length), flash.read_limit);
    if (count > 0) {
        memcpy(buffer, flash.bytes.data() + offset, count);
    }
    for (const read_change& change : flash.read_changes) {
        if (change.offset >= offset && change.offset - offset < count) {
            buffer[change.offset - offset] = change.value;
        }
    }
    return 0;
}

int dataflash_write(uint32_t offset, const uint8_t* buffer, uint32_t length)
{
    if (record_access(true, offset, length)) {
        return flash.error;
    }
    uint32_t count = bytes_on_device(offset, length);
    if (count > 0) {
        memcpy(flash.bytes.data() + offset, buffer, count);
    }
    return 0;
}
