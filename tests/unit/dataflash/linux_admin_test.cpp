// SPDX-License-Identifier: MIT
#include "dataflash/linux_admin.h"

#include "dataflash/layout.h"
#include "firmpack/byte_order.h"

#include "tests/support/capture.h"
#include "tests/support/case_name.h"
#include "tests/support/memory_dataflash.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <string>
#include <utility>
#include <vector>

namespace {

namespace linux_record = linux_admin_record;

constexpr uint32_t BOARD = 0x105;
constexpr const char* CORRUPT = "ERROR: Linux update administration in DF corrupt!\n";

// A change that leaves the record as it is.
constexpr std::pair<uint32_t, uint32_t> KEEP = {linux_record::VALID, 1};

struct finalise_case {
    const char* name;
    int current;
    int updating;
    std::pair<uint32_t, uint32_t> change; // one field of the running baseline's record
    dataflash_faults faults;
    int result;
    std::string out;
};

// clang-format off
const finalise_case FINALISE_CASES[] = {
    {"from_baseline_1", 1, 2, KEEP, {}, 0, ""},
    {"from_baseline_2", 2, 1, KEEP, {}, 0, ""},
    {"sequence_wraps", 1, 2, {linux_record::SEQUENCE, 0xFFFFFFFF}, {}, 0, ""},
    {"erased_magic", 1, 2, {linux_record::MAGIC, 0xFFFFFFFF}, {}, 29, CORRUPT},
    {"magic_end", 2, 1, {linux_record::MAGIC_END, 0xDEADBEEE}, {}, 29, CORRUPT},
    {"valid_2", 1, 2, {linux_record::VALID, 2}, {}, 29, CORRUPT},
    {"format_1", 1, 2, {linux_record::FORMAT, 1}, {}, 29, CORRUPT},
    {"other_board", 1, 2, {linux_record::BOARD_ID, BOARD | 0x10000}, {}, 29, CORRUPT},
    {"read_fails", 1, 2, KEEP, {.fail_read = 1}, 6, "ERROR: Failed to read update administration in DF!\n"},
    {"write_fails", 2, 1, KEEP, {.fail_write = 1}, 6, "ERROR: Failed to store update administration in DF!\n"},
    {"same_baseline", 1, 1, KEEP, {}, 22, "ERROR: finalise_fs_update: Invalid baselines 1, 1\n"},
    {"baseline_3", 3, 2, KEEP, {}, 22, "ERROR: finalise_fs_update: Invalid baselines 3, 2\n"},
};
// clang-format on

class Finalise : public testing::TestWithParam<finalise_case> {};

// Only the updated baseline's slot changes: it becomes the running baseline's
// whole slot (a pattern past its record) with the next sequence. The updated
// slot is never examined.
TEST_P(Finalise, CopiesRunningSlotWithNextSequence)
{
    const finalise_case& c = GetParam();
    memory_dataflash& flash = test_dataflash() = {};
    std::vector<uint8_t> running(ADMIN_SLOT_SIZE);
    std::iota(running.begin(), running.end(), uint8_t{0});
    put_linux_record(running.data(), 41, BOARD);
    put_le32(running.data() + c.change.first, c.change.second);
    std::fill_n(flash.bytes.begin() + LINUX_ADMIN_OFFSET, ADMIN_AREA_SIZE, 0x00);
    std::copy(running.begin(), running.end(), flash.bytes.begin() + linux_slot_offset(c.current));
    std::vector<uint8_t> expected = flash.bytes;
    flash.faults = c.faults;

    captured_output output;
    EXPECT_EQ(c.result, capture_output(&output, [&] {
                  return finalise_fs_update(c.current, c.updating, BOARD);
              }));
    EXPECT_EQ(c.out, without_transfer_failures(output.out));
    if (c.result == 0) {
        put_le32(running.data() + linux_record::SEQUENCE,
                 get_le32(running.data() + linux_record::SEQUENCE) + 1);
        std::copy(running.begin(), running.end(), expected.begin() + linux_slot_offset(c.updating));
    }
    EXPECT_TRUE(expected == flash.bytes);
}

INSTANTIATE_TEST_SUITE_P(LinuxAdministration, Finalise, testing::ValuesIn(FINALISE_CASES),
                         case_name());

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
