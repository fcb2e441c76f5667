// The acceptance checks of a pair: the sample pair that examples/ builds,
// changed in one property per row.
// SPDX-License-Identifier: MIT

#include "acceptance/pair.h"

#include "tests/support/capture.h"
#include "tests/support/fixture.h"
#include "tests/support/sample_pair.h"
#include "tests/support/temp_dir.h"

#include <gtest/gtest.h>

#include <string>

namespace {

firmpack_pair pair_of(const std::vector<uint8_t>& os, const std::vector<uint8_t>& app,
                      uint32_t board_id)
{
    return {{os.data(), static_cast<uint32_t>(os.size()), "os.img"},
            {app.data(), static_cast<uint32_t>(app.size()), "app.img"},
            board_id};
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
    std::string printed; // after the consistent line
};

const std::string MATCH = "## Both firmpacks match together\n";
const std::string VERSIONS = MATCH + "## Checking versions:\n";

TEST(PairAcceptance, EachRuleDecides)
{
    const char* const ROOT = "/";
    const char* const DESC = "description";
    constexpr pair_verdict OK = PAIR_ACCEPTED;
    constexpr pair_verdict LEGACY = PAIR_LEGACY;
    constexpr pair_verdict REFUSED = PAIR_REFUSED;
    // clang-format off
    const acceptance_case cases[] = {
        {SAME, SAME, OK, 0, VERSIONS},
        {removed(CONFIG, "fdt"), SAME, REFUSED, 22,
         "ERROR: Firmpack does not contain an FDT node Firmpack is corrupt!\n"},
        {removed(CONFIG, "filesystem"), SAME, LEGACY, 0, MATCH},
        {removed(FDT, DESC), SAME, REFUSED, 38, "No Description for FDT package\n"},
        {text(FDT, DESC, "Partition ID"), SAME, LEGACY, 0, NO_ID_FIELD + MATCH},
        {text(FDT, DESC, "partition ID v2"), SAME, OK, 0, VERSIONS},
        {removed(FDT, "data"), SAME, REFUSED, 38, "Could not find partition ID subimage data\n"},
        {bytes(FDT, "data", ""), SAME, LEGACY, 0, ID_LENGTH + "0)\n" + MATCH},
        {bytes(FDT, "data", "000002"), SAME, LEGACY, 0, ID_LENGTH + "6)\n" + MATCH},
        {bytes(FDT, "data", "0002"), SAME, OK, 0, VERSIONS},
        {bytes(FDT, "data", "2\n"), SAME, OK, 0, VERSIONS},
        {bytes(FDT, "data", "3"), SAME, LEGACY, 0, OTHER_ID + "3)\n" + MATCH},
        {bytes(FDT, "data", "x"), SAME, LEGACY, 0, OTHER_ID + "0)\n" + MATCH},
        {bytes(FDT, "data", "3"), text(ROOT, DESC, "R4"), LEGACY, 0, OTHER_ID + "3)\n" + MATCH},
        {removed(ROOT, DESC), SAME, REFUSED, 22, "OS firmpack does not contain version string\n"},
        {SAME, removed(ROOT, DESC), REFUSED, 22, "APP firmpack does not contain version string\n"},
        {SAME, text(ROOT, DESC, "R5.1"), REFUSED, 9, MISMATCH + "R5.1'\n"},
        {SAME, text(ROOT, DESC, "apps:R5.1 "), REFUSED, 9, MISMATCH + "R5.1 '\n"},
        {text(ROOT, DESC, "b:R5.1"), text(ROOT, DESC, "a:b:R5.1"), OK, 0, VERSIONS},
        {removed(CONFIG, "firmware"), SAME, REFUSED, 22,
         MATCH + "Firmpack does not contain a 'firmware =' definition\n"},
    };
    // clang-format on
    for (const acceptance_case& c : cases) {
        std::vector<uint8_t> os = sample_firmpack("fp_os.img", c.os);
        std::vector<uint8_t> app = sample_firmpack("fp_app.img", c.app);
        firmpack_pair pair = pair_of(os, app, 0x105);
        int result = -7;
        captured_output output;
        pair_verdict verdict =
            capture_output(&output, [&] { return accept_board(&pair, &result); });
        const std::string row = std::string(c.os.node ? c.os.node : "") + " " +
                                (c.app.node ? c.app.node : "") + ": " + c.printed;
        EXPECT_EQ(c.verdict, verdict) << row;
        EXPECT_EQ(c.result, result) << row;
        EXPECT_EQ("## Both firmpacks are consistent\n" + c.printed, output.out) << row;
    }
}

// The configuration is the board's own: the second board's, and no other.
// An accepted pair carries its packages as the configuration names them.
TEST(PairAcceptance, BoardsConfigurationAndPackages)
{
    const std::vector<uint8_t> os = sample_firmpack("fp_os.img", SAME);
    const std::vector<uint8_t> app = sample_firmpack("fp_app.img", SAME);
    firmpack_pair pair = pair_of(os, app, 0x300);
    int result = 0;
    captured_output output;
    EXPECT_EQ(PAIR_REFUSED, capture_output(&output, [&] { return accept_board(&pair, &result); }));
    EXPECT_EQ("## Both firmpacks are consistent\n"
              "Invalid firmpack for this board (Board 0x0300 not defined)\n",
              output.out);
    pair = pair_of(os, app, 0x200);
    ASSERT_EQ(PAIR_ACCEPTED, capture_output(&output, [&] { return accept_board(&pair, &result); }));
    EXPECT_STREQ("bootloader@1", pair.bootloader.name);
    EXPECT_STREQ("rootfs@1", pair.os_filesystem.name);
    EXPECT_STREQ("apps@1", pair.app_filesystem.name);
    EXPECT_STREQ("bootloader 2026.10", pair.bootloader.description);
    EXPECT_STREQ("filesystem R5.1", pair.os_filesystem.description);
    EXPECT_STREQ("applications R5.1", pair.app_filesystem.description);
}

// Both firmpacks whole first, then intact; the OS firmpack before the APP one.
TEST(PairAcceptance, FirstDamagedFirmpackIsNamed)
{
    const property_change os_damaged = damaged(FDT, "data", "3");
    const property_change app_damaged = damaged("/images/apps@1", "data", "x");
    const std::tuple<property_change, property_change, uint32_t, std::string> cases[] = {
        {SAME, SAME, 0, ""},
        {os_damaged, SAME, 0, "file os.img is corrupt, stopping upgrade\n"},
        {SAME, app_damaged, 0, "file app.img is corrupt, stopping upgrade\n"},
        {os_damaged, app_damaged, 0, "file os.img is corrupt, stopping upgrade\n"},
        // The APP firmpack is one byte short of its header: refused before any hash.
        {os_damaged, SAME, 1, "file app.img is corrupt, stopping upgrade\n"},
    };
    for (const auto& [os_change, app_change, missing, last_line] : cases) {
        std::vector<uint8_t> os = sample_firmpack("fp_os.img", os_change);
        std::vector<uint8_t> app = sample_firmpack("fp_app.img", app_change);
        firmpack_pair pair = pair_of(os, app, 0x105);
        pair.app.size -= missing;
        int result = -7;
        captured_output output;
        const pair_verdict verdict =
            capture_output(&output, [&] { return accept_pair(&pair, &result); });
        EXPECT_EQ(last_line.empty() ? PAIR_ACCEPTED : PAIR_REFUSED, verdict);
        EXPECT_EQ(last_line.empty() ? 0 : 22, result);
        if (missing != 0) {
            EXPECT_EQ(last_line, output.out);
        } else if (!last_line.empty()) {
            EXPECT_EQ(last_line,
                      output.out.substr(output.out.rfind('\n', output.out.size() - 2) + 1));
        }
    }
}

// With a key file the board accepts only what its keys signed, legacy pairs
// too; an unusable key file refuses every pair; without one nothing changes.
TEST(PairAcceptance, SignedPairs)
{
    temp_dir dir;
    const std::string keys = fixture_path("signed_keys.dtb");
    const std::string VERIFIED = "   Signature for Configuration board_0x0105 (os.img): "
                                 "sha256,rsa2048:dev+ \n   Signature for Configuration "
                                 "board_0x0105 (app.img): sha256,rsa2048:dev+ \n";
    const std::string CONSISTENT = "## Both firmpacks are consistent\n";
    const std::string REFUSED = "ERROR: os.img: configuration board_0x0105: ";
    const std::tuple<std::string, std::string, std::string, int, std::string> cases[] = {
        {"signed_os.img", "signed_app.img", keys, 0, VERIFIED + CONSISTENT},
        {"signed_os_legacy.img", "signed_app.img", keys, 0, VERIFIED + CONSISTENT},
        {"signed_os.img", "signed_app.img", dir.path("none.dtb"), 0, CONSISTENT},
        {"tampered_os.img", "signed_app.img", keys, 13,
         REFUSED + "bad signature, stopping upgrade\n"},
        {"", "", keys, 13, REFUSED + "no signature, stopping upgrade\n"},
        {"signed_os.img", "signed_app.img", dir.write("empty.dtb", ""), 13,
         "ERROR: key file " + dir.path("empty.dtb") + " is empty, stopping upgrade\n"},
        {"signed_os.img", "signed_app.img", dir.write("text.dtb", "keys"), 13,
         "ERROR: key file " + dir.path("text.dtb") + " is not a device tree, stopping upgrade\n"},
        {"signed_os.img", "signed_app.img", dir.root, 13,
         "ERROR: key file " + dir.root + " cannot be read (No such device), stopping upgrade\n"},
    };
    for (const auto& [os_name, app_name, key_file, result, printed] : cases) {
        // Empty names: the unsigned sample pair.
        const std::vector<uint8_t> os =
            os_name.empty() ? sample_firmpack("fp_os.img", SAME) : load_fixture(os_name);
        const std::vector<uint8_t> app =
            app_name.empty() ? sample_firmpack("fp_app.img", SAME) : load_fixture(app_name);
        firmpack_pair pair = pair_of(os, app, 0x105);
        pair.key_file = key_file.c_str();
        int code = -7;
        captured_output output;
        const pair_verdict verdict =
            capture_output(&output, [&] { return accept_pair(&pair, &code); });
        EXPECT_EQ(result, code) << os_name << " " << key_file;
        EXPECT_EQ(result == 0, verdict != PAIR_REFUSED) << os_name;
        const std::size_t after_hashes = output.out.find("\n   Signature");
        const std::size_t start = after_hashes != std::string::npos
                                      ? after_hashes + 1
                                      : output.out.find(result == 0 ? CONSISTENT : "ERROR: ");
        EXPECT_EQ(printed, output.out.substr(start, printed.size())) << os_name << " " << key_file;
    }
}

} // namespace
