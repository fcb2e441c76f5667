// SPDX-License-Identifier: MIT
#include "dataflash/legacy.h"

#include "tests/support/capture.h"
#include "tests/support/case_name.h"
#include "tests/support/memory_dataflash.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace {

const std::string NOT_ERASED =
    "ERROR: install_legacy_firmpacks: Dataflash does not contain 0xff after erasei\n";
constexpr uint32_t LAST_BYTE = LINUX_ADMIN_OFFSET + ADMIN_AREA_SIZE - 1;

struct legacy_case {
    const char* name;
    dataflash_faults faults;
    int result;
    std::string out;
};

// clang-format off
const legacy_case LEGACY_CASES[] = {
    {"erased", {}, 0, ""},
    {"write_fails", {.fail_write = 1}, -1, "ERROR: install_legacy_firmpacks: Failed to erase to dataflash\n"},
    {"read_fails", {.fail_read = 1}, -1, "ERROR: install_legacy_firmpacks: Failed to read from dataflash\n"},
    {"first_byte_differs", {.flip_offset = LINUX_ADMIN_OFFSET, .flip_length = 1}, 22, NOT_ERASED},
    {"last_byte_differs", {.flip_offset = LAST_BYTE, .flip_length = 1}, 22, NOT_ERASED},
    {"short_read", {.read_limit = ADMIN_AREA_SIZE - 1}, 22, NOT_ERASED},
};
// clang-format on

class LegacyDowngrade : public testing::TestWithParam<legacy_case> {};

// Both Linux slots are written with 0xFF and read back.
TEST_P(LegacyDowngrade, ErasesLinuxAdministration)
{
    const legacy_case& c = GetParam();
    memory_dataflash& flash = test_dataflash() = {.faults = c.faults};
    std::fill_n(flash.bytes.begin() + LINUX_ADMIN_OFFSET, ADMIN_AREA_SIZE, 0x01);
    std::vector<uint8_t> expected = flash.bytes;
    if (c.faults.fail_write == 0) {
        std::fill_n(expected.begin() + LINUX_ADMIN_OFFSET, ADMIN_AREA_SIZE, 0xFF);
    }
    captured_output output;
    EXPECT_EQ(c.result, capture_output(&output, [] { return install_legacy_firmpacks(); }));
    EXPECT_EQ("## Legacy Firmpacks detected, preparing for downgrade...\n" + c.out,
              without_transfer_failures(output.out));
    EXPECT_TRUE(expected == flash.bytes);
}

INSTANTIATE_TEST_SUITE_P(Faults, LegacyDowngrade, testing::ValuesIn(LEGACY_CASES), case_name());

} // namespace
