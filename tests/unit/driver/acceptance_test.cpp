// The acceptance checks of a pair: the sample pair that examples/ builds,
// changed in one property per row.

#include "driver/acceptance.h"

#include "tests/support/capture.h"
#include "tests/support/fixture.h"

#include <gtest/gtest.h>

#include <libfdt.h>
#include <string>

namespace {

const std::string PAIR_DIR = FPU_EXAMPLE_PAIR_DIR;
constexpr int KEEP = -3;   // the property as the sample pair has it
constexpr int REMOVE = -2; // no such property
constexpr int TEXT = -1;   // a string property with its NUL

struct change {
    const char* node;
    const char* property;
    const char* value;
    int bytes; // KEEP, REMOVE, TEXT, or that many bytes of value
};

std::vector<uint8_t> changed(const std::string& file, const change& c)
{
    std::vector<uint8_t> fit = load_file(PAIR_DIR + "/" + file);
    if (c.bytes == KEEP) {
        return fit;
    }
    fit.resize(fit.size() + 256);
    EXPECT_EQ(0, fdt_open_into(fit.data(), fit.data(), static_cast<int>(fit.size())));
    int node = fdt_path_offset(fit.data(), c.node);
    int result = c.bytes == REMOVE ? fdt_delprop(fit.data(), node, c.property)
                 : c.bytes == TEXT ? fdt_setprop_string(fit.data(), node, c.property, c.value)
                                   : fdt_setprop(fit.data(), node, c.property, c.value, c.bytes);
    EXPECT_EQ(0, result) << c.node << " " << c.property;
    return fit;
}

firmpack_pair pair_of(const std::vector<uint8_t>& os, const std::vector<uint8_t>& app,
                      uint32_t board_id)
{
    firmpack_pair pair{};
    pair.os_fit = os.data();
    pair.app_fit = app.data();
    pair.os_display_name = "os.img";
    pair.app_display_name = "app.img";
    pair.board_id = board_id;
    return pair;
}

const change SAME = {"/", "description", "", KEEP};
const char* const CONFIG = "/configurations/board_0x0105";
const char* const FDT = "/images/fdt@1";
const char* const LEGACY = "   -> Firmpack does not contain a partition ID field . Firmpack is a "
                           "legacy firmpack!\n";
const char* const PID_LENGTH = "ERROR: partition ID field length zero or longer than 5 digits???? "
                               "Assuming Firmpack is a legacy firmpack! (len:";
const char* const PID_OTHER = "   -> Firmpack partition IDs does not match current partitioning. "
                              "Make the bootloader handle the update!(curr:2, fp:";
const char* const MISMATCH =
    "Application firmpack version and OS-firmpack version do not match:\n\t- Expected: 'R5.1'\n"
    "\t- Found   : '";

struct acceptance_case {
    const char* name;
    change os;
    change app;
    uint32_t board_id;
    pair_verdict verdict;
    int result;
    std::string printed;
};

TEST(PairAcceptance, EachRuleDecides)
{
    const acceptance_case cases[] = {
        {"good", SAME, SAME, 0x105, PAIR_ACCEPTED, 0, ""},
        {"second board", SAME, SAME, 0x200, PAIR_ACCEPTED, 0, ""},
        {"foreign board", SAME, SAME, 0x300, PAIR_REFUSED, 22,
         "Invalid firmpack for this board (Board 0x0300 not defined)\n"},
        {"no fdt",
         {CONFIG, "fdt", "", REMOVE},
         SAME,
         0x105,
         PAIR_REFUSED,
         22,
         "ERROR: Firmpack does not contain an FDT node Firmpack is corrupt!\n"},
        {"no filesystem", {CONFIG, "filesystem", "", REMOVE}, SAME, 0x105, PAIR_LEGACY, 0, ""},
        {"fdt undescribed",
         {FDT, "description", "", REMOVE},
         SAME,
         0x105,
         PAIR_REFUSED,
         38,
         "No Description for FDT package\n"},
        {"capital P",
         {FDT, "description", "Partition ID", TEXT},
         SAME,
         0x105,
         PAIR_LEGACY,
         0,
         LEGACY},
        {"more words",
         {FDT, "description", "partition ID v2", TEXT},
         SAME,
         0x105,
         PAIR_ACCEPTED,
         0,
         ""},
        {"no partition data",
         {FDT, "data", "", REMOVE},
         SAME,
         0x105,
         PAIR_REFUSED,
         38,
         "Could not find partition ID subimage data\n"},
        {"empty partition",
         {FDT, "data", "", 0},
         SAME,
         0x105,
         PAIR_LEGACY,
         0,
         std::string(PID_LENGTH) + "0)\n"},
        {"six digits",
         {FDT, "data", "000002", 6},
         SAME,
         0x105,
         PAIR_LEGACY,
         0,
         std::string(PID_LENGTH) + "6)\n"},
        {"zero-filled", {FDT, "data", "0002", 4}, SAME, 0x105, PAIR_ACCEPTED, 0, ""},
        {"line feed", {FDT, "data", "2\n", 2}, SAME, 0x105, PAIR_ACCEPTED, 0, ""},
        {"partitioning 3",
         {FDT, "data", "3", 1},
         SAME,
         0x105,
         PAIR_LEGACY,
         0,
         std::string(PID_OTHER) + "3)\n"},
        {"not a number",
         {FDT, "data", "x", 1},
         SAME,
         0x105,
         PAIR_LEGACY,
         0,
         std::string(PID_OTHER) + "0)\n"},
        {"legacy, unpaired",
         {FDT, "data", "3", 1},
         {"/", "description", "R4", TEXT},
         0x105,
         PAIR_LEGACY,
         0,
         std::string(PID_OTHER) + "3)\n"},
        {"no OS version",
         {"/", "description", "", REMOVE},
         SAME,
         0x105,
         PAIR_REFUSED,
         22,
         "OS firmpack does not contain version string\n"},
        {"no APP version",
         SAME,
         {"/", "description", "", REMOVE},
         0x105,
         PAIR_REFUSED,
         22,
         "APP firmpack does not contain version string\n"},
        {"no colon",
         SAME,
         {"/", "description", "R5.1", TEXT},
         0x105,
         PAIR_REFUSED,
         9,
         std::string(MISMATCH) + "R5.1'\n"},
        {"trailing blank",
         SAME,
         {"/", "description", "apps:R5.1 ", TEXT},
         0x105,
         PAIR_REFUSED,
         9,
         std::string(MISMATCH) + "R5.1 '\n"},
        {"first colon splits",
         {"/", "description", "b:R5.1", TEXT},
         {"/", "description", "a:b:R5.1", TEXT},
         0x105,
         PAIR_ACCEPTED,
         0,
         ""},
    };
    for (const acceptance_case& c : cases) {
        std::vector<uint8_t> os = changed("fp_os.img", c.os);
        std::vector<uint8_t> app = changed("fp_app.img", c.app);
        firmpack_pair pair = pair_of(os, app, c.board_id);
        int result = -7;
        captured_output output;
        pair_verdict verdict =
            capture_output(&output, [&] { return check_pair_acceptance(&pair, &result); });
        EXPECT_EQ(c.verdict, verdict) << c.name;
        EXPECT_EQ(c.result, result) << c.name;
        EXPECT_EQ(c.printed, output.out) << c.name;
    }
}

// A damaged image names its firmpack; the OS firmpack is checked first.
TEST(PairIntegrity, FirstDamagedFirmpackIsNamed)
{
    const change damaged = {"/images/fdt@1", "data", "3", 1}; // its hash no longer matches
    struct integrity_case {
        change os;
        change app;
        int result;
        const char* last_line;
    };
    const integrity_case cases[] = {
        {SAME, SAME, 0, "## Both firmpacks are consistent\n"},
        {damaged, SAME, 22, "file os.img is corrupt, stopping upgrade\n"},
        {SAME,
         {"/images/apps@1", "data", "x", 1},
         22,
         "file app.img is corrupt, stopping upgrade\n"},
        {damaged,
         {"/images/apps@1", "data", "x", 1},
         22,
         "file os.img is corrupt, stopping upgrade\n"},
    };
    for (const integrity_case& c : cases) {
        std::vector<uint8_t> os = changed("fp_os.img", c.os);
        std::vector<uint8_t> app = changed("fp_app.img", c.app);
        firmpack_pair pair = pair_of(os, app, 0x105);
        captured_output output;
        EXPECT_EQ(c.result, capture_output(&output, [&] { return check_pair_integrity(&pair); }));
        EXPECT_EQ(c.last_line,
                  output.out.substr(output.out.rfind('\n', output.out.size() - 2) + 1));
    }
}

// The packages of an accepted pair, by the names the configuration gives.
TEST(PairPackages, NamesAndDescriptions)
{
    std::vector<uint8_t> os = load_file(PAIR_DIR + "/fp_os.img");
    std::vector<uint8_t> app = load_file(PAIR_DIR + "/fp_app.img");
    firmpack_pair pair = pair_of(os, app, 0x105);
    int result = 0;
    captured_output output;
    ASSERT_EQ(PAIR_ACCEPTED,
              capture_output(&output, [&] { return check_pair_acceptance(&pair, &result); }));
    ASSERT_EQ(0, find_pair_packages(&pair));
    ASSERT_EQ(0, find_pair_descriptions(&pair));
    EXPECT_STREQ("bootloader@1", pair.bootloader_name);
    EXPECT_STREQ("rootfs@1", pair.os_filesystem_name);
    EXPECT_STREQ("apps@1", pair.app_filesystem_name);
    EXPECT_STREQ("bootloader 2026.10", pair.bootloader_description);
    EXPECT_STREQ("filesystem R5.1", pair.os_filesystem_description);
    EXPECT_STREQ("applications R5.1", pair.app_filesystem_description);

    std::vector<uint8_t> no_firmware = changed("fp_os.img", {CONFIG, "firmware", "", REMOVE});
    pair.os_fit = no_firmware.data();
    EXPECT_EQ(22, capture_output(&output, [&] { return find_pair_packages(&pair); }));
    EXPECT_EQ("Firmpack does not contain a 'firmware =' definition\n", output.out);
}

} // namespace
