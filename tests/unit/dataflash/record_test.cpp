#include "dataflash/admin.h"
#include "dataflash/record.h"
#include "firmpack/checksum.h"

#include "tests/support/capture.h"
#include "tests/support/case_name.h"
#include "tests/support/dataflash_seed.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace {

namespace record = bootloader_admin_record;
namespace linux_record = linux_admin_record;

using field_values = std::vector<std::pair<uint32_t, uint32_t>>;

TEST(Record, FieldsAreLittleEndian)
{
    uint8_t bytes[4];
    put_le32(bytes, RECORD_MAGIC);
    EXPECT_EQ(0xEF, bytes[0]);
    EXPECT_EQ(0xDE, bytes[3]);
    EXPECT_EQ(RECORD_MAGIC, get_le32(bytes));
}

struct validation_case {
    const char* name;
    field_values changes; // applied to a good record of slot 0
    bool valid;
    bool reads_image; // the header passes, so the image's CRC-32 decides
};

const validation_case VALIDATION_CASES[] = {
    {"good", {}, true, true},
    {"valid_any_nonzero", {{record::VALID, 2}}, true, true},
    {"magic", {{record::MAGIC, 0xDEADBEEE}}, false, false},
    {"magic_end", {{record::MAGIC_END, 0xEFBEADDE}}, false, false},
    {"valid_zero", {{record::VALID, 0}}, false, false},
    {"sequence_zero", {{record::SEQUENCE, 0}}, false, false},
    {"offset_in_admin_area", {{record::IMAGE_OFFSET, 0xCE81F}}, false, false},
    {"largest_end", {{record::IMAGE_LENGTH, 0x41003F - 0xCE820}}, true, true},
    {"end_at_linux_admin", {{record::IMAGE_LENGTH, 0x410040 - 0xCE820}}, false, false},
    {"full_area_slot_0", {{record::IMAGE_LENGTH, 1707024}}, true, true},
    {"full_area_slot_1",
     {{record::IMAGE_OFFSET, 0x26F430}, {record::IMAGE_LENGTH, 1707024}},
     false,
     false},
    {"end_wraps_from_offset",
     {{record::IMAGE_OFFSET, 0xFFFFFFF0}, {record::IMAGE_LENGTH, 0x20}},
     false,
     false},
    {"end_wraps_from_length", {{record::IMAGE_LENGTH, 0xFFFFFFFF}}, false, false},
    {"image_crc", {{record::IMAGE_CRC, 0}}, false, true},
};

class Validation : public testing::TestWithParam<validation_case> {};

// The record is an exact 528-byte allocation and the work buffer exactly the
// device's size, so a read past either is caught.
TEST_P(Validation, JudgesHeaderThenImage)
{
    const validation_case& c = GetParam();
    reset_dataflash_state();
    seed_bootloader(0, 3, "boot");
    std::vector<uint8_t> slot = flash_range(BOOTLOADER_ADMIN_OFFSET, ADMIN_SLOT_SIZE);
    bool crc_given = false;
    for (auto [field, value] : c.changes) {
        put_le32(slot.data() + field, value);
        crc_given |= field == record::IMAGE_CRC;
    }
    uint32_t offset = get_le32(slot.data() + record::IMAGE_OFFSET);
    uint32_t length = get_le32(slot.data() + record::IMAGE_LENGTH);
    if (!crc_given && offset < DATAFLASH_SIZE && length <= DATAFLASH_SIZE - offset) {
        put_le32(slot.data() + record::IMAGE_CRC,
                 checksum_crc32(0, test_dataflash().bytes.data() + offset, length));
    }
    std::vector<uint8_t> work_buffer(DATAFLASH_SIZE);
    uint32_t valid_before = get_le32(slot.data() + record::VALID);

    EXPECT_EQ(0, validate_bootloader_record(slot.data(), work_buffer.data()));
    EXPECT_EQ(c.valid ? valid_before : 0, get_le32(slot.data() + record::VALID));
    std::vector<dataflash_access> image_read{{false, offset, length}};
    EXPECT_EQ(c.reads_image ? image_read : std::vector<dataflash_access>{},
              test_dataflash().accesses);
}

INSTANTIATE_TEST_SUITE_P(Records, Validation, testing::ValuesIn(VALIDATION_CASES), case_name());

struct newest_case {
    const char* name;
    uint32_t valid_0, sequence_0, valid_1, sequence_1;
    int newest;
};

const newest_case NEWEST_CASES[] = {
    {"none", 0, 4, 0, 5, -1},           {"only_slot_0", 1, 5, 0, 9, 0},
    {"only_slot_1", 0, 9, 1, 1, 1},     {"slot_1_higher", 1, 6, 1, 7, 1},
    {"slot_0_higher", 1, 8, 1, 7, 0},   {"equal_sequences", 1, 7, 1, 7, 0},
    {"sequences_zero", 1, 0, 1, 0, -1}, {"unsigned_order", 1, 0x80000000, 1, 1, 0},
};

class NewestRecord : public testing::TestWithParam<newest_case> {};

TEST_P(NewestRecord, HighestValidSequence)
{
    const newest_case& c = GetParam();
    std::vector<uint8_t> copy(ADMIN_AREA_SIZE, 0xFF);
    admin_records = {copy.data(), copy.data() + ADMIN_SLOT_SIZE};
    put_le32(copy.data() + record::VALID, c.valid_0);
    put_le32(copy.data() + record::SEQUENCE, c.sequence_0);
    put_le32(copy.data() + ADMIN_SLOT_SIZE + record::VALID, c.valid_1);
    put_le32(copy.data() + ADMIN_SLOT_SIZE + record::SEQUENCE, c.sequence_1);
    EXPECT_EQ(c.newest, find_newest_record());
    admin_records = {nullptr, nullptr};
    EXPECT_EQ(-1, find_newest_record());
}

INSTANTIATE_TEST_SUITE_P(Records, NewestRecord, testing::ValuesIn(NEWEST_CASES), case_name());

constexpr uint32_t BOARD = 0x105;
constexpr const char* CORRUPT = "ERROR: Linux update administration in DF corrupt!\n";

struct finalise_case {
    const char* name;
    int current;
    int updating;
    field_values changes; // applied to the running baseline's good record
    int fail_read;
    int fail_write;
    int result;
    std::string out;
};

// clang-format off
const finalise_case FINALISE_CASES[] = {
    {"from_baseline_1", 1, 2, {}, 0, 0, 0, ""},
    {"from_baseline_2", 2, 1, {}, 0, 0, 0, ""},
    {"sequence_wraps", 1, 2, {{linux_record::SEQUENCE, 0xFFFFFFFF}}, 0, 0, 0, ""},
    {"erased_magic", 1, 2, {{linux_record::MAGIC, 0xFFFFFFFF}}, 0, 0, 29, CORRUPT},
    {"magic_end", 2, 1, {{linux_record::MAGIC_END, 0xDEADBEEE}}, 0, 0, 29, CORRUPT},
    {"valid_2", 1, 2, {{linux_record::VALID, 2}}, 0, 0, 29, CORRUPT},
    {"format_1", 1, 2, {{linux_record::FORMAT, 1}}, 0, 0, 29, CORRUPT},
    {"other_board", 1, 2, {{linux_record::BOARD_ID, BOARD | 0x10000}}, 0, 0, 29, CORRUPT},
    {"read_fails", 1, 2, {}, 1, 0, 6,
     "ERROR: Failed to read from dataflash (5)\nERROR: Failed to read update administration in DF!\n"},
    {"write_fails", 2, 1, {}, 0, 1, 6,
     "ERROR: Failed to write to dataflash (5)\nERROR: Failed to store update administration in DF!\n"},
    {"same_baseline", 1, 1, {}, 0, 0, 22, "ERROR: finalise_fs_update: Invalid baselines 1, 1\n"},
    {"baseline_3", 3, 2, {}, 0, 0, 22, "ERROR: finalise_fs_update: Invalid baselines 3, 2\n"},
};
// clang-format on

class Finalise : public testing::TestWithParam<finalise_case> {};

TEST_P(Finalise, CopiesRunningRecordWithNextSequence)
{
    const finalise_case& c = GetParam();
    reset_dataflash_state();
    memory_dataflash& flash = test_dataflash();
    // The running slot carries a pattern past its record; the updated slot is
    // never examined, so it holds garbage.
    std::vector<uint8_t> running(ADMIN_SLOT_SIZE);
    for (uint32_t i = 0; i < ADMIN_SLOT_SIZE; ++i) {
        running[i] = static_cast<uint8_t>(i);
    }
    put_linux_record(running.data(), 41, BOARD);
    for (auto [field, value] : c.changes) {
        put_le32(running.data() + field, value);
    }
    uint32_t running_offset = LINUX_ADMIN_OFFSET + ADMIN_SLOT_SIZE * (c.current - 1);
    uint32_t updated_offset = LINUX_ADMIN_OFFSET + ADMIN_SLOT_SIZE * (c.updating - 1);
    std::fill_n(flash.bytes.begin() + LINUX_ADMIN_OFFSET, ADMIN_AREA_SIZE, 0x00);
    if (c.current == 1 || c.current == 2) {
        std::copy(running.begin(), running.end(), flash.bytes.begin() + running_offset);
    }
    std::vector<uint8_t> before = flash.bytes;
    flash.fail_read = c.fail_read;
    flash.fail_write = c.fail_write;

    captured_output output;
    EXPECT_EQ(c.result, capture_output(&output, [&] {
                  return finalise_fs_update(c.current, c.updating, BOARD);
              }));
    EXPECT_EQ(c.out, output.out);
    // Only the updated baseline's slot changes: the running slot with the next sequence.
    if (c.result == 0) {
        put_le32(running.data() + linux_record::SEQUENCE,
                 get_le32(running.data() + linux_record::SEQUENCE) + 1);
        std::copy(running.begin(), running.end(), before.begin() + updated_offset);
        std::vector<dataflash_access> expected{{false, LINUX_ADMIN_OFFSET, ADMIN_AREA_SIZE},
                                               {true, updated_offset, ADMIN_SLOT_SIZE}};
        EXPECT_EQ(expected, flash.accesses);
    }
    EXPECT_TRUE(before == flash.bytes);
}

INSTANTIATE_TEST_SUITE_P(LinuxAdministration, Finalise, testing::ValuesIn(FINALISE_CASES),
                         case_name());

} // namespace
