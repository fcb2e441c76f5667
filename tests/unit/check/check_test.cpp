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

#include <string>

namespace {

struct check_case {
    property_change os;
    property_change app;
    check_verdict verdict;
    const char* warning; // a text the one warning contains, or null for none
};

TEST(FirmpackCheck, EachRuleWarns)
{
    const char* const ROOTFS = "/images/rootfs@1";
    const char* const APPS = "/images/apps@1";
    const char* const BOOTLOADER = "/images/bootloader@1";
    const char* const DESC = "description";
    const property_change SAME = UNCHANGED;
    // clang-format off
    const check_case cases[] = {
        {SAME, SAME, CHECK_INSTALLABLE, nullptr},
        {text(ROOTFS, DESC, "rootfs R5.1"), SAME, CHECK_WARNINGS, "not as 'filesystem <version>'"},
        {SAME, text(APPS, DESC, "applications R5.1 "), CHECK_WARNINGS, "not as 'applications <"},
        {bytes(BOOTLOADER, "data", std::string(1707025, 'b')), SAME, CHECK_WARNINGS,
         "more than its image area of 1707024"},
        {text(BOOTLOADER, DESC, std::string(264, 'd')), SAME, CHECK_WARNINGS,
         "longer than the 263 characters"},
        {text(ROOTFS, "compression", "lzma"), SAME, CHECK_WARNINGS, "compression other than none"},
        {bytes(ROOTFS, "data", std::string(4096, 'x')), SAME, CHECK_WARNINGS,
         "'rootfs@1' is not a UBIFS image"},
        {SAME, bytes(APPS, "data", "\x1f\x8b"), CHECK_WARNINGS, "not a UBIFS image once gunzipped"},
        {text("/images/fdt@1/hash@1", "algo", "sha256"), SAME, CHECK_REFUSED,
         "uses sha256, which the tool does not compute"},
        {text("/images/fdt@1", DESC, "Partition  Id"), SAME, CHECK_LEGACY,
         "only in letter case or blanks"},
        {SAME, text("/configurations/board_0x0300", "filesystem", "apps"), CHECK_WARNINGS,
         "board 0x0300 is defined in app.img but not in os.img"},
    };
    // clang-format on
    for (const check_case& c : cases) {
        std::vector<uint8_t> os = sample_firmpack("fp_os.img", c.os);
        std::vector<uint8_t> app = sample_firmpack("fp_app.img", c.app);
        pair_check check{};
        check.pair = {{os.data(), static_cast<uint32_t>(os.size()), "os.img"},
                      {app.data(), static_cast<uint32_t>(app.size()), "app.img"}};
        captured_output output;
        capture_output(&output, [&] {
            check_pair(&check, {}, installed_state{});
            return 0;
        });
        const std::string row = c.warning != nullptr ? c.warning : "no warning";
        EXPECT_EQ(c.verdict, pair_verdict_of(check)) << row;
        ASSERT_EQ(c.warning == nullptr ? 0u : 1u, check.warnings.size()) << row;
        if (c.warning != nullptr) {
            EXPECT_NE(std::string::npos, check.warnings[0].find(c.warning)) << check.warnings[0];
        }
    }
}

// The built command: exit statuses, one line for unusable input, the
// installed state, and JSON.
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
        const char* found; // in what it printed
    };
    const run_case runs[] = {
        {{os, app}, 0, "verdict: installable (exit status 0)"},
        {{"--board", "0x300", os, app}, 1, "board 0x0300: refused (the tool ends with result 22)"},
        {{sample_path("fp_os_legacy.img"), app}, 2, "verdict: legacy (exit status 2)"},
        {{"--json", "--installed",
          dir.write("installed", "bootloader=bootloader 2026.10\nrootfs=R5.1\napps=R5.0\n"), os,
          app},
         0,
         "\"update\": true}}}"},
        {{dir.write("head.img", head), app}, 1, "head.img is corrupt, stopping upgrade"},
        {{os, dir.write("text.img", "not a firmpack")}, 1, "text.img is corrupt"},
        {{os}, 64, "two firmpacks"},
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
