// SPDX-License-Identifier: MIT
#include "status/report.h"
#include "status/status.h"

#include "dataflash/layout.h"
#include "firmpack/byte_order.h"

#include "tests/support/capture.h"
#include "tests/support/case_name.h"
#include "tests/support/memory_dataflash.h"
#include "tests/support/temp_dir.h"

#include <gtest/gtest.h>
#include <json-c/json.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace std::string_literals;
namespace bootloader = bootloader_admin_record;
namespace linux_record = linux_admin_record;

constexpr uint32_t BOARD = 0x105;

struct record_seed {
    int slot; // bootloader slot, or Linux baseline
    uint32_t sequence;
    std::pair<uint32_t, uint32_t> change = {0, RECORD_MAGIC}; // one field of the good record
};

// A good bootloader record over 64 image bytes of its sequence, described as
// "bl<sequence>", then the one change.
void seed_bootloader(const record_seed& s)
{
    std::vector<uint8_t>& bytes = test_dataflash().bytes;
    uint8_t* r = bytes.data() + bootloader_slot_offset(s.slot);
    const uint32_t offset = BOOTLOADER_IMAGE_OFFSETS[s.slot];
    std::fill_n(bytes.begin() + offset, 64, static_cast<uint8_t>(s.sequence));
    put_bootloader_record(r, offset, bytes.data() + offset, 64, s.sequence,
                          "bl" + std::to_string(s.sequence));
    put_le32(r + s.change.first, s.change.second);
}

void seed_linux(const record_seed& s)
{
    uint8_t* r = test_dataflash().bytes.data() + linux_slot_offset(s.slot);
    put_linux_record(r, s.sequence, BOARD);
    put_le32(r + s.change.first, s.change.second);
}

struct record_case {
    const char* name;
    std::vector<record_seed> bootloader;
    std::vector<record_seed> linux;
    int fail_read; // the n-th read fails: the administrations first, then the images
    std::string lines;
    std::string installed_bootloader; // the installed file's line, or why there is none
    // In the JSON document: the four slots' states, the next slot and baseline.
    std::string json;
};

const std::string ERASED = "bootloader slot 0: erased\nbootloader slot 1: erased\n";
const std::string GOOD_1 =
    "bootloader slot 0: sequence 1, \"bl1\", image of 64 bytes at 0xce820, CRC-32 good\n";
const std::string LINUX_1 = "linux baseline 1:  sequence 4, valid for board 0x105\n";
const std::string LINUX_2_ERASED = "linux baseline 2:  erased\n";
const std::string NO_RECORD = "bootloader=(not installed)\0\n"s;
const std::string UNREADABLE = "the bootloader update administration could not be read";

// clang-format off
const record_case RECORD_CASES[] = {
    {"erased", {}, {}, 0, ERASED + "linux baseline 1:  erased\n" + LINUX_2_ERASED +
        "next bootloader:   none\nnext baseline:     none\nrestart pending:   unknown\n", NO_RECORD,
        "erased erased erased erased - -"},
    {"running", {{0, 1}}, {{1, 4}}, 0, GOOD_1 + "bootloader slot 1: erased\n" + LINUX_1 + LINUX_2_ERASED +
        "next bootloader:   slot 0, sequence 1, \"bl1\"\nnext baseline:     1, sequence 4\n"
        "restart pending:   no\n", "bootloader=bl1\n",
        "good erased valid erased 0 1"},
    {"updated", {{0, 1}, {1, 2}}, {{1, 4}, {2, 5}}, 0, GOOD_1 +
        "bootloader slot 1: sequence 2, \"bl2\", image of 64 bytes at 0x26f430, CRC-32 good\n" + LINUX_1 +
        "linux baseline 2:  sequence 5, valid for board 0x105\n"
        "next bootloader:   slot 1, sequence 2, \"bl2\"\nnext baseline:     2, sequence 5\n"
        "restart pending:   yes: baseline 2 starts next, baseline 1 runs\n", "bootloader=bl2\n",
        "good good valid valid 1 2"},
    {"newest_damaged", {{0, 1}, {1, 2, {bootloader::IMAGE_CRC, 0}}}, {{1, 4}, {2, 4}}, 0, GOOD_1 +
        "bootloader slot 1: sequence 2, \"bl2\", image of 64 bytes at 0x26f430: does not have the record's CRC-32\n" +
        LINUX_1 + "linux baseline 2:  sequence 4, valid for board 0x105\n"
        "next bootloader:   slot 0, sequence 1, \"bl1\"\nnext baseline:     1, sequence 4\n"
        "restart pending:   no\n", "bootloader=bl1\n",
        "good image_damaged valid valid 0 1"},
    {"corrupt", {{0, 3, {bootloader::MAGIC_END, 0}}}, {{1, 4}, {2, 9, {linux_record::BOARD_ID, 0x200}}}, 0,
        "bootloader slot 0: corrupt record: magic 0xdeadbeef, image 0xce820 + 64, valid 1, sequence 3, "
        "magic_end 0x0\nbootloader slot 1: erased\n" + LINUX_1 +
        "linux baseline 2:  not valid for board 0x105: magic 0xdeadbeef, valid 1, sequence 9, format 2, "
        "board 0x200, magic_end 0xdeadbeef\n"
        "next bootloader:   none\nnext baseline:     1, sequence 4\nrestart pending:   no\n", NO_RECORD,
        "corrupt erased valid invalid - 1"},
    {"administration_unreadable", {{0, 1}}, {{1, 4}}, 1, "dataflash:         cannot be read\n"
        "bootloader slot 0: not read\nbootloader slot 1: not read\nlinux baseline 1:  not read\n"
        "linux baseline 2:  not read\nnext bootloader:   unknown\nnext baseline:     unknown\n"
        "restart pending:   unknown\n", UNREADABLE,
        "unread unread unread unread - -"},
    {"image_unreadable", {{0, 1}}, {{1, 4}}, 3,
        "bootloader slot 0: sequence 1, \"bl1\", image of 64 bytes at 0xce820: cannot be read\n"
        "bootloader slot 1: erased\n" + LINUX_1 + LINUX_2_ERASED + "next bootloader:   unknown\n"
        "next baseline:     1, sequence 4\nrestart pending:   no\n", UNREADABLE,
        "image_unread erased valid erased - 1"},
};
// clang-format on

// The JSON document, parsed: "<state> <state> <state> <state> <next slot> <next baseline>".
std::string json_summary(const board_status& status, const std::vector<status_line>& lines)
{
    char* text = nullptr;
    std::size_t size = 0;
    FILE* out = open_memstream(&text, &size);
    print_status_json(out, status, lines);
    fclose(out);
    json_object* document = json_tokener_parse(text);
    free(text);
    std::string summary;
    for (const char* slots : {"bootloader_slots", "linux_slots"}) {
        json_object* array = json_object_object_get(document, slots);
        for (std::size_t i = 0; i < json_object_array_length(array); ++i) {
            json_object* slot = json_object_array_get_idx(array, i);
            summary += json_object_get_string(json_object_object_get(slot, "state")) + " "s;
        }
    }
    json_object* next = json_object_object_get(document, "next");
    for (const char* key : {"bootloader_slot", "baseline"}) {
        json_object* value = json_object_object_get(next, key);
        summary += (value == nullptr ? "-" : json_object_get_string(value)) + " "s;
    }
    json_object_put(document);
    summary.pop_back();
    return summary;
}

class Records : public testing::TestWithParam<record_case> {};

// What the board's records say, as the update judges them, and what the boot
// loader starts next.
TEST_P(Records, ShowsEachSlotAndWhatStartsNext)
{
    const record_case& c = GetParam();
    test_dataflash() = {};
    std::for_each(c.bootloader.begin(), c.bootloader.end(), seed_bootloader);
    std::for_each(c.linux.begin(), c.linux.end(), seed_linux);
    test_dataflash().faults.fail_read = c.fail_read;
    board_status status{};
    status.kernel = {0, "1", "5", "1", BOARD, 1};
    status.rootfs = status.apps = {"/version", "filesystem", 0, MAP_OPEN, true, "filesystem"};
    std::vector<uint8_t> work_buffer(DATAFLASH_SIZE);
    captured_output output;
    capture_output(&output, [&] {
        read_dataflash_status(BOARD, work_buffer.data(), &status.dataflash);
        return 0;
    });
    std::vector<status_line> lines = status_lines(status);
    lines.erase(lines.begin(), lines.begin() + 4); // the command line and the versions
    char* shown = nullptr;
    std::size_t size = 0;
    FILE* out = open_memstream(&shown, &size);
    print_status_text(out, lines);
    fclose(out);
    EXPECT_EQ(c.json, json_summary(status, lines));
    EXPECT_EQ(c.lines, shown);
    free(shown);
    std::string text, reason;
    const bool written = installed_file_text(status, &text, &reason) == 0;
    EXPECT_EQ(c.installed_bootloader, written ? text.substr(0, text.find('\n') + 1) : reason);
    EXPECT_TRUE(std::all_of(test_dataflash().accesses.begin(), test_dataflash().accesses.end(),
                            [](const dataflash_access& a) { return !a.write; }));
}

INSTANTIATE_TEST_SUITE_P(States, Records, testing::ValuesIn(RECORD_CASES), case_name());

// The installed file's filesystem lines compose, with the label, into the
// update's installed version text; a file the update takes as changed for
// every package gets a text too long to compare.
TEST(InstalledFile, VersionTextsComposeAsTheUpdateComposesThem)
{
    const std::string missing = "(not installed)" + std::string(4081, ' ');
    const std::pair<std::string, std::string> cases[] = {
        {"R5.0\n", "R5.0"},
        {"  R5.0 \r\n", "  R5.0"},
        {" \n", ""},
        {"R5.0\0junk"s, "R5.0"},
        {std::string(4085, 'x'), "(too long to compare)" + std::string(4075, ' ')},
        {"", missing},
        {"R5.0\nbuild 7\n", "/version holds more than one line"},
    };
    temp_dir dir;
    for (const auto& [file, expected] : cases) {
        version_status version{};
        read_version_status(dir.write("version", file).c_str(), "filesystem", &version);
        version.path = "/version";
        board_status status{};
        status.dataflash.next_bootloader_known = true;
        status.dataflash.next_bootloader = NO_SLOT;
        status.rootfs = status.apps = version;
        std::string text, reason;
        const bool written = installed_file_text(status, &text, &reason) == 0;
        EXPECT_EQ(expected, written ? text.substr(text.find("rootfs=") + 7,
                                                  text.find("\napps=") - text.find("rootfs=") - 7)
                                    : reason)
            << file.substr(0, 20);
    }
}

} // namespace
