#include "dataflash/transfer.h"

#include "tests/support/capture.h"
#include "tests/support/case_name.h"
#include "tests/support/memory_dataflash.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

constexpr const char* SIZE_WARNING = "ERROR: Dataflash is smaller than requested size\n";

struct transfer_case {
    const char* name;
    int write;
    uint32_t offset;
    uint32_t length;
    bool fails;
    int result;
    std::string out;
};

const transfer_case TRANSFER_CASES[] = {
    {"linux_admin_read", 0, 0x410040, 1056, false, 0, ""},
    {"page32_write", 1, 0x4200, 10, false, 0, ""},
    {"read_to_device_end", 0, 0x41FFF0, 0x10, false, 0, ""},
    {"read_past_device_end_warns", 0, 0x41FFF0, 0x11, false, 0, SIZE_WARNING},
    {"write_past_device_end_warns", 1, 0x41FFFF, 2, false, 0, SIZE_WARNING},
    {"read_failure", 0, 0xCE400, 1056, true, -1, "ERROR: Failed to read from dataflash (5)\n"},
    {"write_failure", 1, 0xCE400, 528, true, -1, "ERROR: Failed to write to dataflash (5)\n"},
    {"failure_past_end", 1, 0x420000, 1, true, -1,
     std::string(SIZE_WARNING) + "ERROR: Failed to write to dataflash (5)\n"},
};

class Transfer : public testing::TestWithParam<transfer_case> {
  protected:
    void SetUp() override
    {
        reset_test_dataflash();
    }
};

// Warned or not, failed or not, the range goes to the device exactly once.
TEST_P(Transfer, ReportsAndPassesRangeToDevice)
{
    const transfer_case& c = GetParam();
    test_dataflash().fail_access = c.fails ? 1 : 0;
    std::vector<uint8_t> buffer(c.length, 0x5A);
    captured_output output;
    int result = capture_output(
        &output, [&] { return dataflash_transfer(c.write, buffer.data(), c.offset, c.length); });
    EXPECT_EQ(c.result, result);
    EXPECT_EQ(c.out, output.out);
    EXPECT_EQ("", output.err);
    std::vector<dataflash_access> expected{{c.write != 0, c.offset, c.length}};
    EXPECT_EQ(expected, test_dataflash().accesses);
}

INSTANTIATE_TEST_SUITE_P(Ranges, Transfer, testing::ValuesIn(TRANSFER_CASES), case_name());

} // namespace
