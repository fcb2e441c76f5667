// SPDX-License-Identifier: MIT
#include "dataflash/bootloader.h"

#include "dataflash/layout.h"
#include "firmpack/byte_order.h"
#include "firmpack/checksum.h"

#include "tests/support/capture.h"
#include "tests/support/case_name.h"
#include "tests/support/memory_dataflash.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

namespace {

namespace record = bootloader_admin_record;

const std::string PACKAGE = "   Package 'bootloader    ' ";
const std::string NOT_INSTALLED = PACKAGE + "not yet installed\n";
const std::string NOT_CHANGED = PACKAGE + "not changed, got 'new'\n";
const std::string CHANGED = PACKAGE + "changed, got 'old', found 'new'\n";
const std::string INSTALLING = "   Installing package 'bootloader    '... (new)\n";
const std::string STORE_FIRST = "ERROR: Store the bootloader first!\n";
const std::string LONG(300, 'd');
constexpr uint32_t LINUX_ADMIN = 0x410040;
constexpr uint32_t IMAGE_0 = 0xCE820;
constexpr uint32_t AREA = 1707024;

struct seed {
    int slot;
    uint32_t sequence;
    const char* description;
    std::pair<uint32_t, uint32_t> change = {record::VALID, 1}; // one field of the good record
};

// Both slots carry a pattern past their records, which no operation may
// change. A record whose image is moved gets the CRC-32 of the bytes there.
void seed_records(const std::vector<seed>& seeds)
{
    std::vector<uint8_t>& bytes = test_dataflash().bytes;
    std::fill_n(bytes.begin() + BOOTLOADER_ADMIN_OFFSET, ADMIN_AREA_SIZE, 0xA5);
    for (const seed& s : seeds) {
        uint8_t* r = bytes.data() + bootloader_slot_offset(s.slot);
        uint32_t offset = BOOTLOADER_IMAGE_OFFSETS[s.slot];
        std::fill_n(bytes.begin() + offset, 64, static_cast<uint8_t>(s.sequence + 1));
        put_bootloader_record(r, offset, bytes.data() + offset, 64, s.sequence, s.description);
        put_le32(r + s.change.first, s.change.second);
        uint32_t length = get_le32(r + record::IMAGE_LENGTH);
        if (s.change.first == record::IMAGE_LENGTH && length <= DATAFLASH_SIZE - offset) {
            put_le32(r + record::IMAGE_CRC, checksum_crc32(0, bytes.data() + offset, length));
        }
    }
}

// The tests run in a fresh process each (in_fresh_process), since the
// administration, once loaded, stays loaded.
class Bootloader : public testing::Test {
  protected:
    template <typename Body> int run(std::string* out, Body body)
    {
        captured_output output;
        int result = capture_output(&output, body);
        EXPECT_EQ("", output.err);
        *out += without_transfer_failures(output.out);
        return result;
    }
    int check(const std::string& description, std::string* out, int type = 1)
    {
        return run(out, [&] {
            return libsu_is_update_required(type, description.c_str(), work_buffer.data(),
                                            &required);
        });
    }

    memory_dataflash& flash = test_dataflash() = {};
    // Exactly the device's size, so that a read past it is caught.
    std::vector<uint8_t> work_buffer = std::vector<uint8_t>(DATAFLASH_SIZE);
    uint32_t required = 7;
};

struct check_case {
    const char* name;
    std::vector<seed> seeds;
    std::string out;
    uint32_t required;
    int fail_read = 0; // the check fails with -1
};

// clang-format off
const check_case CHECK_CASES[] = {
    {"good", {{0, 3, "new"}}, NOT_CHANGED, 0},
    {"magic", {{0, 3, "new", {record::MAGIC, 0xDEADBEEE}}}, NOT_INSTALLED, 1},
    {"magic_end", {{0, 3, "new", {record::MAGIC_END, 0xEFBEADDE}}}, NOT_INSTALLED, 1},
    {"valid_zero", {{0, 3, "new", {record::VALID, 0}}}, NOT_INSTALLED, 1},
    {"sequence_zero", {{0, 3, "new", {record::SEQUENCE, 0}}}, NOT_INSTALLED, 1},
    {"offset_in_admin_area", {{0, 3, "new", {record::IMAGE_OFFSET, IMAGE_0 - 1}}}, NOT_INSTALLED, 1},
    {"largest_end", {{0, 3, "new", {record::IMAGE_LENGTH, LINUX_ADMIN - 1 - IMAGE_0}}}, NOT_CHANGED, 0},
    {"end_at_linux_admin", {{0, 3, "new", {record::IMAGE_LENGTH, LINUX_ADMIN - IMAGE_0}}}, NOT_INSTALLED, 1},
    {"end_wraps", {{0, 3, "new", {record::IMAGE_LENGTH, 0xFFFFFFFF}}}, NOT_INSTALLED, 1},
    {"image_crc", {{0, 3, "new", {record::IMAGE_CRC, 0}}}, NOT_INSTALLED, 1},
    {"newest_in_slot_1", {{0, 6, "old"}, {1, 7, "new"}}, NOT_CHANGED, 0},
    {"equal_sequences", {{0, 7, "new"}, {1, 7, "old"}}, NOT_CHANGED, 0},
    {"higher_invalid", {{0, 9, "old", {record::VALID, 0}}, {1, 1, "new"}}, NOT_CHANGED, 0},
    {"newest_damaged", {{0, 6, "old"}, {1, 7, "new", {record::IMAGE_CRC, 0}}}, CHANGED, 1},
    {"administration_unreadable", {{0, 5, "new"}}, "", 0, 1},
    {"image_unreadable", {{0, 5, "new"}}, "", 0, 2},
};
// clang-format on

class ChangeCheck : public Bootloader, public testing::WithParamInterface<check_case> {};

// Reads only; a record that fails its header or its image's CRC-32 counts as absent.
TEST_P(ChangeCheck, ComparesNewestValidRecord)
{
    const check_case& c = GetParam();
    in_fresh_process([&] {
        seed_records(c.seeds);
        std::vector<uint8_t> before = flash.bytes;
        flash.faults.fail_read = c.fail_read;
        std::string out;
        EXPECT_EQ(c.fail_read == 0 ? 0 : -1, check("new", &out));
        EXPECT_EQ(c.out, out);
        EXPECT_EQ(c.required, required);
        EXPECT_TRUE(before == flash.bytes);
    });
}

INSTANTIATE_TEST_SUITE_P(Records, ChangeCheck, testing::ValuesIn(CHECK_CASES), case_name());

// What an update does wrong: type 2 for one operation, so that the change
// check does not load the administration.
enum misuse_kind { NONE, CHECK_TYPE, STORE_TYPE, PERSIST_TYPE };

// A store and its persistence after a change check, then a change check again.
struct update_case {
    const char* name;
    std::vector<seed> seeds;
    std::string description;
    uint32_t length;
    misuse_kind misuse;
    dataflash_faults faults; // counted from the store on
    int store_result;
    int persist_result;
    std::string out; // of the store and the persistence
    int writes;      // of the record erased, the image, page 32 and the new record
    int slot;        // where the new record goes, with its sequence
    uint32_t sequence;
    std::string check_after;
};

const std::vector<seed> OLD = {{0, 5, "old"}};
const std::string NOT_STORED = INSTALLING + STORE_FIRST;
const std::string CUT_IN = "   Installing package 'bootloader    '... (" + LONG + ")\n";
const std::string CUT_OUT =
    PACKAGE + "changed, got '" + LONG.substr(0, 263) + "', found '" + LONG + "'\n";
const std::string TOO_LARGE =
    "ERROR: Package 'bootloader    ' too large (1707025 > 1707024 bytes)\n";
const std::string UNLOADED =
    "libsu_is_update_required: Invalid type:2\n"
    "ERROR: libsu_store_package: update administration not loaded\n"
    "ERROR: libsu_make_update_persistent: update administration not loaded\n";
const std::string STORE_TYPE_2 = "libsu_store_package: Invalid type:2\n" + STORE_FIRST;
const std::string PERSIST_TYPE_2 = INSTALLING + "libsu_make_update_persistent: Invalid type:2\n";
const std::string PAGE32 = INSTALLING + "Corrupting update administration failed\n";
// The report on an image of 64 bytes 0x5A whose bytes from first on read back
// inverted: at most 20 of them shown.
std::string read_back_report(uint32_t first)
{
    std::vector<uint8_t> image(64, 0x5A), read_back = image;
    std::fill(read_back.begin() + first, read_back.end(), 0xA5);
    std::string report =
        INSTALLING + "CRC expected: " + std::to_string(checksum_crc32(0, image.data(), 64)) +
        ", CRC dataflash:" + std::to_string(checksum_crc32(0, read_back.data(), 64)) + "\n";
    for (uint32_t i = first; i < std::min(first + 20, 64u); ++i) {
        report += "Error at byte: " + std::to_string(i) + ", (0x5a != 0xa5)\n";
    }
    return report + STORE_FIRST;
}

// clang-format off
const update_case UPDATE_CASES[] = {
    {"first_into_slot_0", {}, "new", 64, NONE, {}, 0, 0, INSTALLING, 4, 0, 1, NOT_CHANGED},
    {"into_slot_1", OLD, "new", 64, NONE, {}, 0, 0, INSTALLING, 4, 1, 6, NOT_CHANGED},
    {"back_into_slot_0", {{0, 6, "older"}, {1, 7, "old"}}, "new", 64, NONE, {}, 0, 0, INSTALLING, 4, 0, 8, NOT_CHANGED},
    {"description_cut", OLD, LONG, 64, NONE, {}, 0, 0, CUT_IN, 4, 1, 6, CUT_OUT},
    // In slot 1 a full image area ends at the Linux update administration.
    {"full_area_in_slot_1", OLD, "new", AREA, NONE, {}, 0, 0, INSTALLING, 4, 1, 6, CHANGED},
    {"too_large", OLD, "new", AREA + 1, NONE, {}, 27, 1, INSTALLING + TOO_LARGE + STORE_FIRST, 0, 1, 6, CHANGED},
    {"check_type", OLD, "new", 64, CHECK_TYPE, {}, 22, 22, UNLOADED, 0, 1, 6, CHANGED},
    {"store_type", OLD, "new", 64, STORE_TYPE, {}, 22, 1, STORE_TYPE_2, 0, 1, 6, CHANGED},
    {"persist_type", OLD, "new", 64, PERSIST_TYPE, {}, 0, 22, PERSIST_TYPE_2, 2, 1, 6, CHANGED},
    {"slot_erase_fails", OLD, "new", 64, NONE, {.fail_write = 1}, -1, 1, NOT_STORED, 0, 1, 6, CHANGED},
    {"image_write_fails", OLD, "new", 64, NONE, {.fail_write = 2}, -1, 1, NOT_STORED, 1, 1, 6, CHANGED},
    {"read_back_fails", OLD, "new", 64, NONE, {.fail_read = 1}, -1, 1, NOT_STORED, 2, 1, 6, CHANGED},
    {"read_back_differs", OLD, "new", 64, NONE, {.flip_offset = 0x26F430, .flip_length = 64}, 19, 1, read_back_report(0), 2, 1, 6, CHANGED},
    {"read_back_differs_at_end", OLD, "new", 64, NONE, {.flip_offset = 0x26F430 + 45, .flip_length = 19}, 19, 1, read_back_report(45), 2, 1, 6, CHANGED},
    {"page32_fails", OLD, "new", 64, NONE, {.fail_write = 3}, 0, 19, PAGE32, 2, 1, 6, CHANGED},
    {"record_write_fails", OLD, "new", 64, NONE, {.fail_write = 4}, 0, -1, INSTALLING, 3, 1, 6, CHANGED},
    {"reload_fails", OLD, "new", 64, NONE, {.fail_read = 2}, 0, -1, INSTALLING, 4, 1, 6, NOT_CHANGED},
};
// clang-format on

class Update : public Bootloader, public testing::WithParamInterface<update_case> {};

// The writes in their order, each of them whole: the target slot's record
// erased, its image, page 32 erased and the new record, which alone makes the
// new bootloader the installed one.
TEST_P(Update, WritesNewRecordLast)
{
    const update_case& c = GetParam();
    in_fresh_process([&] {
        seed_records(c.seeds);
        std::fill_n(flash.bytes.begin() + PAGE32_ADMIN_OFFSET, PAGE32_ADMIN_CORRUPT_LENGTH + 1, 0);
        std::string out;
        int check_type = c.misuse == CHECK_TYPE ? 2 : 1;
        ASSERT_EQ(check_type == 1 ? 0 : 22, check(c.description, &out, check_type));
        out.erase(0, check_type == 1 ? std::string::npos : 0);
        std::vector<uint8_t> expected = flash.bytes;
        flash.accesses.clear();
        flash.faults = c.faults;
        std::vector<uint8_t> image(c.length, 0x5A);
        EXPECT_EQ(c.store_result, run(&out, [&] {
                      return libsu_store_package(c.misuse == STORE_TYPE ? 2 : 1,
                                                 c.description.c_str(), image.data(), c.length,
                                                 work_buffer.data());
                  }));
        EXPECT_EQ(c.persist_result, run(&out, [&] {
                      return libsu_make_update_persistent(c.misuse == PERSIST_TYPE ? 2 : 1);
                  }));
        EXPECT_EQ(c.out, out);
        uint32_t offset = BOOTLOADER_IMAGE_OFFSETS[c.slot];
        std::fill_n(expected.begin() + bootloader_slot_offset(c.slot),
                    c.writes > 0 ? record::SIZE : 0, 0xFF);
        std::copy_n(image.begin(), c.writes > 1 ? c.length : 0, expected.begin() + offset);
        std::fill_n(expected.begin() + PAGE32_ADMIN_OFFSET, c.writes > 2 ? 10 : 0, 0xFF);
        if (c.writes > 3) {
            put_bootloader_record(expected.data() + bootloader_slot_offset(c.slot), offset,
                                  image.data(), c.length, c.sequence, c.description);
        }
        EXPECT_TRUE(expected == flash.bytes);
        flash.faults = {};
        out.clear();
        EXPECT_EQ(0, check(c.description, &out));
        EXPECT_EQ(c.check_after, out);
    });
}

INSTANTIATE_TEST_SUITE_P(Steps, Update, testing::ValuesIn(UPDATE_CASES), case_name());

// The administration in memory after persistence is the one read back and
// judged again: a record whose image reaches the Linux update administration
// is not the newest, so the next store goes into its slot again.
TEST_F(Bootloader, PersistenceJudgesTheRecordReadBack)
{
    in_fresh_process([&] {
        seed_records(OLD);
        std::vector<uint8_t> image(AREA, 0x5A);
        std::string out;
        ASSERT_EQ(0, check("new", &out));
        for (int store = 0; store < 2; ++store) {
            flash.accesses.clear();
            ASSERT_EQ(0, run(&out, [&] {
                          return libsu_store_package(1, "new", image.data(), AREA,
                                                     work_buffer.data()) +
                                 libsu_make_update_persistent(1);
                      }));
            EXPECT_EQ(bootloader_slot_offset(1), flash.accesses.at(0).offset);
        }
    });
}

} // namespace
