// SPDX-License-Identifier: MIT
#include "dataflash/transfer.h"

#include "tests/support/capture.h"
#include "tests/support/case_name.h"
#include "tests/support/memory_dataflash.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

const std::string SIZE_WARNING = "ERROR: Dataflash is smaller than requested size\n";

struct transfer_case {
    const char* name;
    int write; // any non-zero value writes
    uint32_t offset;
    uint32_t length;
    bool fails;
    std::string out;
};

// clang-format off
const transfer_case TRANSFER_CASES[] = {
    {"read_to_device_end", DATAFLASH_READ, 0x41FFF0, 0x10, false, ""},
    {"read_past_device_end", DATAFLASH_READ, 0x41FFF0, 0x11, false, SIZE_WARNING},
    {"read_fails", DATAFLASH_READ, 0xCE400, 1056, true, "ERROR: Failed to read from dataflash (5)\n"},
    {"write_fails_past_end", 2, 0x420000, 1, true,
     SIZE_WARNING + "ERROR: Failed to write to dataflash (5)\n"},
};
// clang-format on

class Transfer : public testing::TestWithParam<transfer_case> {};

// Warned or not, failed or not, the range goes to the device exactly once.
TEST_P(Transfer, ReportsAndPassesRangeToDevice)
{
    const transfer_case& c = GetParam();
    test_dataflash() = {.faults = {.fail_read = c.fails, .fail_write = c.fails}};
    std::vector<uint8_t> buffer(c.length);
    captured_output output;
    EXPECT_EQ(c.fails ? -1 : 0, capture_output(&output, [&] {
                  return dataflash_transfer(c.write, buffer.data(), c.offset, c.length);
              }));
    EXPECT_EQ(c.out, output.out);
    std::vector<dataflash_access> expected{{c.write != DATAFLASH_READ, c.offset, c.length}};
    EXPECT_EQ(expected, test_dataflash().accesses);
}

INSTANTIATE_TEST_SUITE_P(Ranges, Transfer, testing::ValuesIn(TRANSFER_CASES), case_name());

} // namespace
