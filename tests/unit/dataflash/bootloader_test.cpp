#include "dataflash/admin.h"
#include "dataflash/bootloader.h"
#include "dataflash/record.h"
#include "firmpack/checksum.h"

#include "tests/support/capture.h"
#include "tests/support/case_name.h"
#include "tests/support/dataflash_seed.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

namespace record = bootloader_admin_record;

constexpr const char* WRITE_FAILED = "ERROR: Failed to write to dataflash (5)\n";
constexpr const char* READ_FAILED = "ERROR: Failed to read from dataflash (5)\n";
constexpr const char* NOT_INSTALLED = "   Package 'bootloader    ' not yet installed\n";
const std::string INSTALLING = "   Installing package 'bootloader    '... (new)\n";
constexpr const char* STORE_FIRST = "ERROR: Store the bootloader first!\n";

uint32_t slot_offset(int slot)
{
    return BOOTLOADER_ADMIN_OFFSET + ADMIN_SLOT_SIZE * static_cast<uint32_t>(slot);
}

std::vector<uint8_t> make_package(uint32_t length)
{
    std::vector<uint8_t> data(length);
    for (uint32_t i = 0; i < length; ++i) {
        data[i] = static_cast<uint8_t>(i * 13 + 1);
    }
    return data;
}

struct seed {
    int slot;
    uint32_t sequence;
    const char* description;
    bool damaged; // one byte of its image changed after the record was written
};

// Both slots carry a pattern past their records, which no operation may change.
void seed_administration(const std::vector<seed>& seeds)
{
    auto& bytes = test_dataflash().bytes;
    std::fill_n(bytes.begin() + BOOTLOADER_ADMIN_OFFSET, ADMIN_AREA_SIZE, 0xA5);
    std::fill_n(bytes.begin() + slot_offset(0), record::SIZE, 0xFF);
    std::fill_n(bytes.begin() + slot_offset(1), record::SIZE, 0xFF);
    for (const seed& s : seeds) {
        seed_bootloader(s.slot, s.sequence, s.description);
        bytes[BOOTLOADER_IMAGE_OFFSETS[s.slot] + 5] ^= s.damaged ? 0x40 : 0;
    }
}

class Bootloader : public testing::Test {
  protected:
    void SetUp() override
    {
        reset_dataflash_state();
    }

    int check(const char* description, std::string* out, uint32_t* required)
    {
        return run(out, [&] {
            return libsu_is_update_required(1, description, work_buffer.data(), required);
        });
    }
    int store(const std::string& description, const std::vector<uint8_t>& package, std::string* out)
    {
        return run(out, [&] {
            return libsu_store_package(1, description.c_str(), package.data(),
                                       static_cast<uint32_t>(package.size()), work_buffer.data());
        });
    }
    int persist(std::string* out)
    {
        return run(out, [] { return libsu_make_update_persistent(1); });
    }
    template <typename Body> int run(std::string* out, Body body)
    {
        captured_output output;
        int result = capture_output(&output, body);
        EXPECT_EQ("", output.err);
        *out += output.out;
        return result;
    }

    std::vector<uint8_t> work_buffer = std::vector<uint8_t>(DATAFLASH_SIZE);
};

struct check_case {
    const char* name;
    std::vector<seed> seeds;
    int fail_read;
    int result;
    uint32_t required;
    std::string out;
};

// clang-format off
const check_case CHECK_CASES[] = {
    {"empty", {}, 0, 0, 1, NOT_INSTALLED},
    {"same", {{0, 5, "new", false}}, 0, 0, 0, "   Package 'bootloader    ' not changed, got 'new'\n"},
    {"letter_case", {{0, 5, "New", false}}, 0, 0, 1,
     "   Package 'bootloader    ' changed, got 'New', found 'new'\n"},
    {"newest_in_slot_1", {{0, 6, "old", false}, {1, 7, "new", false}}, 0, 0, 0,
     "   Package 'bootloader    ' not changed, got 'new'\n"},
    {"damaged_newest", {{0, 6, "old", false}, {1, 7, "new", true}}, 0, 0, 1,
     "   Package 'bootloader    ' changed, got 'old', found 'new'\n"},
    {"damaged_only", {{1, 7, "new", true}}, 0, 0, 1, NOT_INSTALLED},
    {"administration_unreadable", {{0, 5, "new", false}}, 1, -1, 0, READ_FAILED},
    {"image_unreadable", {{0, 5, "new", false}}, 2, -1, 0, READ_FAILED},
};
// clang-format on

class ChangeCheck : public Bootloader, public testing::WithParamInterface<check_case> {};

TEST_P(ChangeCheck, ComparesNewestValidRecord)
{
    const check_case& c = GetParam();
    seed_administration(c.seeds);
    test_dataflash().fail_read = c.fail_read;
    uint32_t required = 7;
    std::string out;
    EXPECT_EQ(c.result, check("new", &out, &required));
    EXPECT_EQ(c.out, out);
    EXPECT_EQ(c.required, required);
    EXPECT_TRUE(dataflash_writes().empty());
}

INSTANTIATE_TEST_SUITE_P(Records, ChangeCheck, testing::ValuesIn(CHECK_CASES), case_name());

// Each update goes to the slot without the newest record, with exactly these
// accesses; the previous record stays the installed one until persistence,
// and valid beside the new one afterwards.
TEST_F(Bootloader, SuccessiveUpdatesAlternate)
{
    std::fill_n(test_dataflash().bytes.begin() + PAGE32_ADMIN_OFFSET, 11, 0x00);
    seed_administration({});
    for (uint32_t round = 1; round <= 3; ++round) {
        std::string description = "boot " + std::to_string(round);
        std::string out;
        uint32_t required = 0;
        ASSERT_EQ(0, check(description.c_str(), &out, &required));
        ASSERT_EQ(1u, required);
        int previous = round == 1 ? -1 : static_cast<int>(round % 2);
        ASSERT_EQ(previous, find_newest_record());
        if (round == 3) {
            EXPECT_NE(0u, get_le32(admin_records[1 - previous] + record::VALID));
        }
        std::vector<uint8_t> expected = test_dataflash().bytes;
        test_dataflash().accesses.clear();
        out.clear();
        int slot = 1 - static_cast<int>(round % 2);
        uint32_t image_offset = BOOTLOADER_IMAGE_OFFSETS[slot];
        std::vector<uint8_t> package = make_package(100 + round);
        uint32_t length = static_cast<uint32_t>(package.size());

        ASSERT_EQ(0, store(description, package, &out));
        std::fill_n(expected.begin() + slot_offset(slot), record::SIZE, 0xFF);
        std::copy(package.begin(), package.end(), expected.begin() + image_offset);
        EXPECT_TRUE(expected == test_dataflash().bytes);

        ASSERT_EQ(0, persist(&out));
        put_bootloader_record(expected.data() + slot_offset(slot), image_offset, length,
                              checksum_crc32(0, package.data(), length), round,
                              description.c_str());
        std::fill_n(expected.begin() + PAGE32_ADMIN_OFFSET, 10, 0xFF);
        EXPECT_TRUE(expected == test_dataflash().bytes);
        std::vector<dataflash_access> accesses{{true, slot_offset(slot), ADMIN_SLOT_SIZE},
                                               {true, image_offset, length},
                                               {false, image_offset, length},
                                               {true, PAGE32_ADMIN_OFFSET, 10},
                                               {true, slot_offset(slot), ADMIN_SLOT_SIZE},
                                               {false, BOOTLOADER_ADMIN_OFFSET, ADMIN_AREA_SIZE}};
        EXPECT_EQ(accesses, test_dataflash().accesses);
        EXPECT_EQ("   Installing package 'bootloader    '... (" + description + ")\n", out);
    }
}

struct stored_case {
    const char* name;
    std::string description;
    uint32_t length;
    uint32_t valid;        // the stored header's verdict when persistence reloads it
    std::string check_out; // the change check after store and persistence
};

const std::string LONG_DESCRIPTION(300, 'd');

const stored_case STORED_CASES[] = {
    {"zero_length", "new", 0, 1, "   Package 'bootloader    ' not changed, got 'new'\n"},
    {"description_cut", LONG_DESCRIPTION, 10, 1,
     "   Package 'bootloader    ' changed, got '" + LONG_DESCRIPTION.substr(0, 263) + "', found '" +
         LONG_DESCRIPTION + "'\n"},
    // In slot 1 a full image area ends at the Linux update administration.
    {"full_area_in_slot_1", "new", 1707024, 0,
     "   Package 'bootloader    ' changed, got 'old', found 'new'\n"},
};

class StoredThenChecked : public Bootloader, public testing::WithParamInterface<stored_case> {};

TEST_P(StoredThenChecked, ReportsWhatTheRecordHolds)
{
    const stored_case& c = GetParam();
    seed_administration({{0, 5, "old", false}});
    uint32_t required;
    std::string out;
    ASSERT_EQ(0, check(c.description.c_str(), &out, &required));
    std::vector<uint8_t> package = make_package(c.length);
    ASSERT_EQ(0, store(c.description, package, &out));
    ASSERT_EQ(0, persist(&out));
    EXPECT_EQ(c.valid, get_le32(admin_records[1] + record::VALID));
    std::vector<uint8_t> slot = flash_range(slot_offset(1), ADMIN_SLOT_SIZE);
    EXPECT_EQ(c.length, get_le32(slot.data() + record::IMAGE_LENGTH));
    EXPECT_EQ(checksum_crc32(0, package.data(), c.length),
              get_le32(slot.data() + record::IMAGE_CRC));
    EXPECT_EQ(0, slot[record::DESCRIPTION_END]);
    out.clear();
    ASSERT_EQ(0, check(c.description.c_str(), &out, &required));
    EXPECT_EQ(c.check_out, out);
}

INSTANTIATE_TEST_SUITE_P(Packages, StoredThenChecked, testing::ValuesIn(STORED_CASES), case_name());

// Steps of store and persistence that write, in order.
enum written_step { NONE, SLOT_INVALIDATED, IMAGE_WRITTEN, PAGE32_ERASED, RECORD_WRITTEN };

struct failure_case {
    const char* name;
    int fail_write;
    int fail_read;
    int store_result;
    int persist_result;
    std::string out;
    written_step written;
};

const failure_case FAILURE_CASES[] = {
    {"invalidation", 1, 0, -1, 1, INSTALLING + WRITE_FAILED + STORE_FIRST, NONE},
    {"image_write", 2, 0, -1, 1, INSTALLING + WRITE_FAILED + STORE_FIRST, SLOT_INVALIDATED},
    {"read_back", 0, 1, -1, 1, INSTALLING + READ_FAILED + STORE_FIRST, IMAGE_WRITTEN},
    {"page32", 3, 0, 0, 19, INSTALLING + WRITE_FAILED + "Corrupting update administration failed\n",
     IMAGE_WRITTEN},
    {"record_write", 4, 0, 0, -1, INSTALLING + WRITE_FAILED, PAGE32_ERASED},
    {"reload", 0, 2, 0, -1, INSTALLING + READ_FAILED, RECORD_WRITTEN},
};

class TransferFailure : public Bootloader, public testing::WithParamInterface<failure_case> {};

TEST_P(TransferFailure, StopsWithDataflashAsPromised)
{
    const failure_case& c = GetParam();
    seed_administration({{0, 5, "old", false}});
    uint32_t required;
    std::string out;
    ASSERT_EQ(0, check("new", &out, &required));
    std::vector<uint8_t> expected = test_dataflash().bytes;
    test_dataflash().accesses.clear();
    test_dataflash().fail_write = c.fail_write;
    test_dataflash().fail_read = c.fail_read;
    std::vector<uint8_t> package = make_package(64);

    out.clear();
    EXPECT_EQ(c.store_result, store("new", package, &out));
    EXPECT_EQ(c.persist_result, persist(&out));
    EXPECT_EQ(c.out, out);
    if (c.written >= SLOT_INVALIDATED) {
        std::fill_n(expected.begin() + slot_offset(1), record::SIZE, 0xFF);
    }
    if (c.written >= IMAGE_WRITTEN) {
        std::copy(package.begin(), package.end(), expected.begin() + BOOTLOADER_IMAGE_OFFSET_1);
    }
    if (c.written >= PAGE32_ERASED) {
        std::fill_n(expected.begin() + PAGE32_ADMIN_OFFSET, 10, 0xFF);
    }
    if (c.written >= RECORD_WRITTEN) {
        put_bootloader_record(expected.data() + slot_offset(1), BOOTLOADER_IMAGE_OFFSET_1, 64,
                              checksum_crc32(0, package.data(), 64), 6, "new");
    }
    EXPECT_TRUE(expected == test_dataflash().bytes);
}

INSTANTIATE_TEST_SUITE_P(Steps, TransferFailure, testing::ValuesIn(FAILURE_CASES), case_name());

TEST_F(Bootloader, ReadBackMismatchShowsTwentyBytes)
{
    uint32_t required;
    std::string out;
    ASSERT_EQ(0, check("new", &out, &required));
    std::vector<uint8_t> package = make_package(64);
    std::vector<uint8_t> read_back = package;
    for (uint32_t i = 1; i < 64; i += 2) {
        read_back[i] ^= 0x81;
        test_dataflash().read_changes.push_back({BOOTLOADER_IMAGE_OFFSET_0 + i, read_back[i]});
    }
    out.clear();
    EXPECT_EQ(19, store("new", package, &out));
    EXPECT_EQ(1, persist(&out));

    char line[100];
    snprintf(line, sizeof line, "CRC expected: %u, CRC dataflash:%u\n",
             checksum_crc32(0, package.data(), 64), checksum_crc32(0, read_back.data(), 64));
    std::string expected = INSTALLING + line;
    for (int i = 1; i < 40; i += 2) {
        snprintf(line, sizeof line, "Error at byte: %i, (0x%x != 0x%x)\n", i, package[i],
                 read_back[i]);
        expected += line;
    }
    EXPECT_EQ(expected + STORE_FIRST, out);
}

enum operation { CHECK, STORE, PERSIST };

struct refusal_case {
    const char* name;
    operation op;
    bool loaded;
    int type;
    int result;
    std::string out;
};

const refusal_case REFUSAL_CASES[] = {
    {"check_type", CHECK, false, 2, 22, "libsu_is_update_required: Invalid type:2\n"},
    {"store_type", STORE, true, 2, 22, "libsu_store_package: Invalid type:2\n"},
    {"store_unloaded", STORE, false, 1, 22,
     "ERROR: libsu_store_package: update administration not loaded\n"},
    {"store_too_large", STORE, true, 1, 27,
     INSTALLING + "ERROR: Package 'bootloader    ' too large (1707025 > 1707024 bytes)\n"},
    {"persist_type", PERSIST, true, 2, 22, "libsu_make_update_persistent: Invalid type:2\n"},
    {"persist_unloaded", PERSIST, false, 1, 22,
     "ERROR: libsu_make_update_persistent: update administration not loaded\n"},
    {"persist_unstored", PERSIST, true, 1, 1, STORE_FIRST},
};

class Refusal : public Bootloader, public testing::WithParamInterface<refusal_case> {};

TEST_P(Refusal, WritesNothing)
{
    const refusal_case& c = GetParam();
    uint32_t required = 7;
    std::string out;
    if (c.loaded) {
        ASSERT_EQ(0, check("new", &out, &required));
        out.clear();
    }
    std::vector<uint8_t> package = make_package(1707025);
    int result = 0;
    switch (c.op) {
    case CHECK:
        result = run(&out, [&] {
            return libsu_is_update_required(c.type, "new", work_buffer.data(), &required);
        });
        EXPECT_EQ(7u, required);
        break;
    case STORE:
        result = run(&out, [&] {
            return libsu_store_package(c.type, "new", package.data(), 1707025, work_buffer.data());
        });
        break;
    case PERSIST:
        result = run(&out, [&] { return libsu_make_update_persistent(c.type); });
        break;
    }
    EXPECT_EQ(c.result, result);
    EXPECT_EQ(c.out, out);
    EXPECT_TRUE(dataflash_writes().empty());
}

INSTANTIATE_TEST_SUITE_P(Operations, Refusal, testing::ValuesIn(REFUSAL_CASES), case_name());

} // namespace
