// The acceptance checks of a pair: the sample pair that examples/ builds,
// changed in one property per row.
// SPDX-License-Identifier: MIT

#include "driver/acceptance.h"

#include "tests/support/capture.h"
#include "tests/support/sample_pair.h"

#include <gtest/gtest.h>

#include <string>

namespace {

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

const property_change SAME = UNCHANGED;
const char* const CONFIG = "/configurations/board_0x0105";
const char* const FDT = "/images/fdt@1";
const std::string NO_ID_FIELD =
    "   -> Firmpack does not contain a partition ID field . Firmpack is a legacy firmpack!\n";
const std::string ID_LENGTH = "ERROR: partition ID field length zero or longer than 5 digits???? "
                              "Assuming Firmpack is a legacy firmpack! (len:";
const std::string OTHER_ID = "   -> Firmpack partition IDs does not match current partitioning. "
                             "Make the bootloader handle the update!(curr:2, fp:";
const std::string MISMATCH = "Application firmpack version and OS-firmpack version do not "
                             "match:\n\t- Expected: 'R5.1'\n\t- Found   : '";

struct acceptance_case {
    property_change os;
    property_change app;
    pair_verdict verdict;
    int result;
    std::string printed;
};

TEST(PairAcceptance, EachRuleDecides)
{
    const char* const ROOT = "/";
    const char* const DESC = "description";
    constexpr pair_verdict OK = PAIR_ACCEPTED;
    constexpr pair_verdict LEGACY = PAIR_LEGACY;
    constexpr pair_verdict REFUSED = PAIR_REFUSED;
    // clang-format off
    const acceptance_case cases[] = {
        {SAME, SAME, OK, 0, ""},
        {removed(CONFIG, "fdt"), SAME, REFUSED, 22,
         "ERROR: Firmpack does not contain an FDT node Firmpack is corrupt!\n"},
        {removed(CONFIG, "filesystem"), SAME, LEGACY, 0, ""},
        {removed(FDT, DESC), SAME, REFUSED, 38, "No Description for FDT package\n"},
        {text(FDT, DESC, "Partition ID"), SAME, LEGACY, 0, NO_ID_FIELD},
        {text(FDT, DESC, "partition ID v2"), SAME, OK, 0, ""},
        {removed(FDT, "data"), SAME, REFUSED, 38, "Could not find partition ID subimage data\n"},
        {bytes(FDT, "data", ""), SAME, LEGACY, 0, ID_LENGTH + "0)\n"},
        {bytes(FDT, "data", "000002"), SAME, LEGACY, 0, ID_LENGTH + "6)\n"},
        {bytes(FDT, "data", "0002"), SAME, OK, 0, ""},
        {bytes(FDT, "data", "2\n"), SAME, OK, 0, ""},
        {bytes(FDT, "data", "3"), SAME, LEGACY, 0, OTHER_ID + "3)\n"},
        {bytes(FDT, "data", "x"), SAME, LEGACY, 0, OTHER_ID + "0)\n"},
        {bytes(FDT, "data", "3"), text(ROOT, DESC, "R4"), LEGACY, 0, OTHER_ID + "3)\n"},
        {removed(ROOT, DESC), SAME, REFUSED, 22, "OS firmpack does not contain version string\n"},
        {SAME, removed(ROOT, DESC), REFUSED, 22, "APP firmpack does not contain version string\n"},
        {SAME, text(ROOT, DESC, "R5.1"), REFUSED, 9, MISMATCH + "R5.1'\n"},
        {SAME, text(ROOT, DESC, "apps:R5.1 "), REFUSED, 9, MISMATCH + "R5.1 '\n"},
        {text(ROOT, DESC, "b:R5.1"), text(ROOT, DESC, "a:b:R5.1"), OK, 0, ""},
    };
    // clang-format on
    const std::vector<uint8_t> good_os = sample_firmpack("fp_os.img", SAME);
    const std::vector<uint8_t> good_app = sample_firmpack("fp_app.img", SAME);
    for (const acceptance_case& c : cases) {
        std::vector<uint8_t> os = sample_firmpack("fp_os.img", c.os);
        std::vector<uint8_t> app = sample_firmpack("fp_app.img", c.app);
        firmpack_pair pair = pair_of(os, app, 0x105);
        int result = -7;
        captured_output output;
        pair_verdict verdict =
            capture_output(&output, [&] { return check_pair_acceptance(&pair, &result); });
        const std::string row = std::string(c.os.node ? c.os.node : "") + " " +
                                (c.app.node ? c.app.node : "") + ": " + c.printed;
        EXPECT_EQ(c.verdict, verdict) << row;
        EXPECT_EQ(c.result, result) << row;
        EXPECT_EQ(c.printed, output.out) << row;
    }
    // The configuration is the board's own: the second board's, and no other.
    for (uint32_t board_id : {0x200u, 0x300u}) {
        firmpack_pair pair = pair_of(good_os, good_app, board_id);
        int result = -7;
        captured_output output;
        capture_output(&output, [&] { return check_pair_acceptance(&pair, &result); });
        EXPECT_EQ(
            board_id == 0x200 ? "" : "Invalid firmpack for this board (Board 0x0300 not defined)\n",
            output.out);
    }
}

// A damaged image names its firmpack; the OS firmpack is checked first.
TEST(PairIntegrity, FirstDamagedFirmpackIsNamed)
{
    const property_change os_damaged = damaged(FDT, "data", "3");
    const property_change app_damaged = damaged("/images/apps@1", "data", "x");
    const std::tuple<property_change, property_change, int, std::string> cases[] = {
        {SAME, SAME, 0, "## Both firmpacks are consistent\n"},
        {os_damaged, SAME, 22, "file os.img is corrupt, stopping upgrade\n"},
        {SAME, app_damaged, 22, "file app.img is corrupt, stopping upgrade\n"},
        {os_damaged, app_damaged, 22, "file os.img is corrupt, stopping upgrade\n"},
    };
    for (const auto& [os_change, app_change, status, last_line] : cases) {
        std::vector<uint8_t> os = sample_firmpack("fp_os.img", os_change);
        std::vector<uint8_t> app = sample_firmpack("fp_app.img", app_change);
        firmpack_pair pair = pair_of(os, app, 0x105);
        captured_output output;
        EXPECT_EQ(status, capture_output(&output, [&] { return check_pair_integrity(&pair); }));
        EXPECT_EQ(last_line, output.out.substr(output.out.rfind('\n', output.out.size() - 2) + 1));
    }
}

// The packages of an accepted pair, by the names the configuration gives.
TEST(PairPackages, NamesAndDescriptions)
{
    std::vector<uint8_t> os = sample_firmpack("fp_os.img", SAME);
    std::vector<uint8_t> app = sample_firmpack("fp_app.img", SAME);
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

    std::vector<uint8_t> no_firmware = sample_firmpack("fp_os.img", removed(CONFIG, "firmware"));
    pair.os_fit = no_firmware.data();
    EXPECT_EQ(22, capture_output(&output, [&] { return find_pair_packages(&pair); }));
    EXPECT_EQ("Firmpack does not contain a 'firmware =' definition\n", output.out);
}

} // namespace
