#include "dataflash/layout.h"
#include "dataflash/legacy.h"

#include "tests/support/capture.h"
#include "tests/support/case_name.h"
#include "tests/support/memory_dataflash.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace {

constexpr const char* BANNER = "## Legacy Firmpacks detected, preparing for downgrade...\n";
constexpr const char* NOT_ERASED =
    "ERROR: install_legacy_firmpacks: Dataflash does not contain 0xff after erasei\n";

struct legacy_case {
    const char* name;
    int fail_write;
    int fail_read;
    std::vector<read_change> read_changes;
    uint32_t read_limit;
    int result;
    std::string out;
};

const legacy_case LEGACY_CASES[] = {
    {"erased", 0, 0, {}, UINT32_MAX, 0, ""},
    {"write_fails",
     1,
     0,
     {},
     UINT32_MAX,
     -1,
     "ERROR: Failed to write to dataflash (5)\n"
     "ERROR: install_legacy_firmpacks: Failed to erase to dataflash\n"},
    {"read_fails",
     0,
     1,
     {},
     UINT32_MAX,
     -1,
     "ERROR: Failed to read from dataflash (5)\n"
     "ERROR: install_legacy_firmpacks: Failed to read from dataflash\n"},
    {"first_byte_differs", 0, 0, {{LINUX_ADMIN_OFFSET, 0x00}}, UINT32_MAX, 22, NOT_ERASED},
    {"last_byte_differs",
     0,
     0,
     {{LINUX_ADMIN_OFFSET + ADMIN_AREA_SIZE - 1, 0xFE}},
     UINT32_MAX,
     22,
     NOT_ERASED},
    {"short_read", 0, 0, {}, ADMIN_AREA_SIZE - 1, 22, NOT_ERASED},
};

class LegacyDowngrade : public testing::TestWithParam<legacy_case> {};

TEST_P(LegacyDowngrade, ErasesLinuxAdministration)
{
    const legacy_case& c = GetParam();
    reset_test_dataflash();
    memory_dataflash& flash = test_dataflash();
    std::fill_n(flash.bytes.begin() + LINUX_ADMIN_OFFSET, ADMIN_AREA_SIZE, 0x01);
    flash.fail_write = c.fail_write;
    flash.fail_read = c.fail_read;
    flash.read_changes = c.read_changes;
    flash.read_limit = c.read_limit;

    captured_output output;
    EXPECT_EQ(c.result, capture_output(&output, [] { return install_legacy_firmpacks(); }));
    EXPECT_EQ(BANNER + c.out, output.out);
    EXPECT_EQ("", output.err);

    std::vector<dataflash_access> expected{{true, LINUX_ADMIN_OFFSET, ADMIN_AREA_SIZE}};
    if (c.fail_write == 0) {
        expected.push_back({false, LINUX_ADMIN_OFFSET, ADMIN_AREA_SIZE});
    }
    EXPECT_EQ(expected, flash.accesses);
    auto area = flash.bytes.begin() + LINUX_ADMIN_OFFSET;
    uint8_t held = c.fail_write == 0 ? 0xFF : 0x01;
    EXPECT_EQ(ADMIN_AREA_SIZE, std::count(area, area + ADMIN_AREA_SIZE, held));
}

INSTANTIATE_TEST_SUITE_P(Faults, LegacyDowngrade, testing::ValuesIn(LEGACY_CASES), case_name());

} // namespace
