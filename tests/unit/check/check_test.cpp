// firmpack-check over the sample pair that mkimage builds, changed in one
// place per row (hash records recomputed where the change would break them).
// SPDX-License-Identifier: MIT

#include "check/check.h"

#include "tests/support/capture.h"
#include "tests/support/fixture.h"
#include "tests/support/process.h"
#include "tests/support/sample_pair.h"
#include "tests/support/temp_dir.h"

#include <gtest/gtest.h>
#include <libfdt.h>

#include <string>

namespace {

struct check_case {
    property_change os;
    property_change app;
    // New names of the configurations board_0x0105 and board_0x0200 in both
    // firmpacks, null for as they are.
    const char* configurations[2];
    check_verdict verdict; // refused with a finding that fails, otherwise one that warns
    const char* finding;   // a text the one finding contains, or null for none
};

std::vector<uint8_t> firmpack_for(const std::string& file, const property_change& change,
                                  const char* const configurations[2])
{
    std::vector<uint8_t> fit = sample_firmpack(file, change);
    fit.resize(fit.size() + 64);
    EXPECT_EQ(0, fdt_open_into(fit.data(), fit.data(), static_cast<int>(fit.size())));
    const char* const paths[2] = {"/configurations/board_0x0105", "/configurations/board_0x0200"};
    for (int i = 0; i < 2; ++i) {
        if (configurations[i] != nullptr) {
            const int node = fdt_path_offset(fit.data(), paths[i]);
            EXPECT_EQ(0, fdt_set_name(fit.data(), node, configurations[i]));
        }
    }
    return fit;
}

TEST(FirmpackCheck, EachRuleFindsWithItsWeight)
{
    const char* const ROOTFS = "/images/rootfs@1";
    const char* const APPS = "/images/apps@1";
    const char* const BOOTLOADER = "/images/bootloader@1";
    const char* const DESC = "description";
    const property_change SAME = UNCHANGED;
    const check_verdict REFUSED = CHECK_REFUSED;
    // clang-format off
    const check_case cases[] = {
        {SAME, SAME, {}, CHECK_INSTALLABLE, nullptr},
        {text(ROOTFS, DESC, "rootfs R5.1"), SAME, {}, REFUSED, "not as 'filesystem <version>'"},
        {SAME, text(APPS, DESC, "applications R5.1 "), {}, REFUSED, "not as 'applications <"},
        {bytes(BOOTLOADER, "data", std::string(1707025, 'b')), SAME, {}, REFUSED,
         "more than its image area of 1707024"},
        {text(BOOTLOADER, DESC, std::string(264, 'd')), SAME, {}, CHECK_WARNINGS,
         "longer than the 263 characters"},
        {text(ROOTFS, "compression", "lzma"), SAME, {}, REFUSED, "compression 'lzma'"},
        {bytes(ROOTFS, "data", std::string(4096, 'x')), SAME, {}, REFUSED,
         "'rootfs@1' is not a UBIFS image: the board erases the partition"},
        {SAME, bytes(APPS, "data", "\x1f\x8b"), {}, REFUSED, "not a UBIFS image once gunzipped"},
        {text("/images/fdt@1/hash@1", "algo", "sha256"), SAME, {}, REFUSED,
         "uses sha256, which the tool does not compute"},
        {SAME, text("/images/extra@1", "data", "x"), {}, CHECK_WARNINGS,
         "app.img: image 'extra@1' has no hash record"},
        {text("/images/fdt@1", DESC, "Partition  Id"), SAME, {}, CHECK_LEGACY,
         "only in letter case or blanks"},
        {bytes("/images/fdt@1", "data", std::string("\0\0\0\2", 4)), SAME, {}, CHECK_LEGACY,
         "(00 00 00 02) where the text of a number belongs: the tool reads it as 0"},
        {SAME, text("/", DESC, "R5.1"), {}, REFUSED, "'R5.1', has no colon"},
        {SAME, text("/", DESC, "apps:R5.0"), {}, REFUSED, "names 'R5.0' after its first colon"},
        {SAME, removed("/configurations/board_0x0105", "filesystem"), {}, REFUSED, nullptr},
        {SAME, text("/configurations/board_0x0300", "filesystem", "apps"), {}, CHECK_WARNINGS,
         "board 0x0300 is defined in app.img but not in os.img"},
        {SAME, SAME, {"conf-1", "board_0x312"}, REFUSED,
         "configurations: conf-1 (not a board configuration), board_0x312 (board 0x0312 would "
         "need it named board_0x0312)"},
        {SAME, SAME, {"conf-1", "conf-2"}, REFUSED, "os.img has no board configuration"},
    };
    // clang-format on
    for (const check_case& c : cases) {
        std::vector<uint8_t> os = firmpack_for("fp_os.img", c.os, c.configurations);
        std::vector<uint8_t> app = firmpack_for("fp_app.img", c.app, c.configurations);
        pair_check check{};
        check.pair = {{os.data(), static_cast<uint32_t>(os.size()), "os.img"},
                      {app.data(), static_cast<uint32_t>(app.size()), "app.img"}};
        captured_output output;
        capture_output(&output, [&] {
            check_pair(&check, {}, installed_state{});
            return 0;
        });
        const std::string row = c.finding != nullptr ? c.finding : "no finding";
        EXPECT_EQ(c.verdict, pair_verdict_of(check)) << row;
        ASSERT_EQ(c.finding == nullptr ? 0u : 1u, check.findings.size()) << row;
        if (c.finding != nullptr) {
            EXPECT_EQ(c.verdict == REFUSED ? FINDING_FAILS : FINDING_WARNS,
                      check.findings[0].weight)
                << row;
            EXPECT_NE(std::string::npos, check.findings[0].text.find(c.finding))
                << check.findings[0].text;
        }
    }
}

// The built command: exit statuses, one line for unusable input, the order of
// the firmpacks, the installed state, and JSON.
TEST(FirmpackCheck, CommandLine)
{
    temp_dir dir;
    const std::string os = sample_path("fp_os.img");
    const std::string app = sample_path("fp_app.img");
    const std::vector<uint8_t> os_bytes = load_file(os);
    const std::string head(os_bytes.begin(), os_bytes.begin() + 100);
    struct run_case {
        std::vector<std::string> arguments;
        int status;
        std::string found; // in what it printed
    };
    const std::string keys = fixture_path("signed_keys.dtb");
    const std::string signed_os = fixture_path("signed_os.img");
    const std::string signed_app = fixture_path("signed_app.img");
    const run_case runs[] = {
        {{os, app}, 0, "verdict: installable (exit status 0)"},
        {{"--json", "--board", "0x300", os, app},
         1,
         "\"reason\": \"Invalid firmpack for this board (Board 0x0300 not defined)\""},
        {{app, os}, 1, "error: " + app + ", given first, names no partition-ID package"},
        {{os, os}, 1, "it is an OS firmpack where the APP firmpack is expected"},
        {{sample_path("fp_os_legacy.img"), app},
         2,
         "legacy: its FDT package is not described as a partition ID; the board erases its Linux "
         "update administration and leaves the update to the boot loader"},
        {{"--json", "--installed",
          dir.write("installed", "bootloader=bootloader 2026.10\nrootfs=R5.1\napps=R5.0\n"), os,
          app},
         0,
         "\"update\": true } } }"},
        {{dir.write("head.img", head), app}, 1, "head.img is corrupt, stopping upgrade"},
        {{os}, 64, "two firmpacks"},
        // Signatures: as a board with the key file checks them, or noted as not checked.
        {{"--keys", keys, signed_os, signed_app}, 0, "verdict: installable (exit status 0)"},
        {{"--keys", keys, os, app}, 1, "board 0x0105: refused (the tool ends with result 13)"},
        {{signed_os, signed_app}, 0, "configuration board_0x0105 carries a signature, not checked"},
    };
    for (const run_case& r : runs) {
        std::vector<std::string> argv = {FPU_CHECK_PATH};
        argv.insert(argv.end(), r.arguments.begin(), r.arguments.end());
        process_result run = run_process(argv);
        EXPECT_EQ(r.status, run.exit_status) << r.found;
        const std::string shown = run.out + run.err;
        EXPECT_NE(std::string::npos, shown.find(r.found)) << shown;
    }
}

} // namespace
