// firmpack-check over the sample pair that mkimage builds, changed in one
// place per row (hash records recomputed where the change would break them).

#include "check/check.h"
#include "firmpack/fit.h"
#include "firmpack/verify.h"

#include "tests/support/capture.h"
#include "tests/support/fixture.h"
#include "tests/support/process.h"
#include "tests/support/temp_dir.h"

#include <gtest/gtest.h>

#include <libfdt.h>
#include <string>

namespace {

const std::string PAIR_DIR = FPU_EXAMPLE_PAIR_DIR;

struct change {
    const char* node; // null: no change
    const char* property;
    std::string value; // set with its bytes as they are
};

// The sample firmpack with one property set, and every hash record of the
// changed image computed anew as mkimage would.
std::vector<uint8_t> changed(const std::string& file, const change& c)
{
    std::vector<uint8_t> fit = load_file(PAIR_DIR + "/" + file);
    if (c.node == nullptr) {
        return fit;
    }
    fit.resize(fit.size() + c.value.size() + 1024);
    EXPECT_EQ(0, fdt_open_into(fit.data(), fit.data(), static_cast<int>(fit.size())));
    int node = fdt_path_offset(fit.data(), c.node);
    if (node < 0) { // a new node under an existing one
        const std::string path = c.node;
        const std::size_t slash = path.rfind('/');
        node =
            fdt_add_subnode(fit.data(), fdt_path_offset(fit.data(), path.substr(0, slash).c_str()),
                            path.c_str() + slash + 1);
    }
    EXPECT_EQ(0, fdt_setprop(fit.data(), node, c.property, c.value.data(),
                             static_cast<int>(c.value.size())));
    const uint8_t* data = nullptr;
    uint32_t size = 0;
    if (firmpack_get_data(fit.data(), node, &data, &size) == 0) {
        int hash = 0;
        fdt_for_each_subnode(hash, fit.data(), node)
        {
            const char* algo = nullptr;
            uint8_t digest[HASH_MAX_SIZE];
            int length = 0;
            if (firmpack_get_string(fit.data(), hash, "algo", &algo) == 0 &&
                firmpack_calc_hash(data, size, algo, digest, &length) == 0) {
                EXPECT_EQ(0, fdt_setprop_inplace(fit.data(), hash, "value", digest, length));
            }
        }
    }
    return fit;
}

std::string text(const char* value)
{
    return std::string(value) + '\0';
}

struct check_case {
    const char* name;
    change os;
    change app;
    check_verdict verdict;
    const char* warning; // a text the one warning contains, or null for none
};

TEST(FirmpackCheck, EachRuleWarns)
{
    const change none = {nullptr, nullptr, ""};
    const char* const rootfs = "/images/rootfs@1";
    const char* const apps = "/images/apps@1";
    const char* const bootloader = "/images/bootloader@1";
    const check_case cases[] = {
        {"good", none, none, CHECK_INSTALLABLE, nullptr},
        {"label",
         {rootfs, "description", text("rootfs R5.1")},
         none,
         CHECK_WARNINGS,
         "not as 'filesystem <version>'"},
        {"blank after version",
         none,
         {apps, "description", text("applications R5.1 ")},
         CHECK_WARNINGS,
         "not as 'applications <version>'"},
        {"large bootloader",
         {bootloader, "data", std::string(1707025, 'b')},
         none,
         CHECK_WARNINGS,
         "more than its image area of 1707024"},
        {"long description",
         {bootloader, "description", text(std::string(264, 'd').c_str())},
         none,
         CHECK_WARNINGS,
         "longer than the 263 characters"},
        {"lzma",
         {rootfs, "compression", text("lzma")},
         none,
         CHECK_WARNINGS,
         "compression other than none or gzip"},
        {"not UBIFS",
         {rootfs, "data", std::string(4096, 'x')},
         none,
         CHECK_WARNINGS,
         "'rootfs@1' is not a UBIFS image"},
        {"gzip of no UBIFS",
         none,
         {apps, "data", "\x1f\x8b"},
         CHECK_WARNINGS,
         "not a UBIFS image once gunzipped"},
        {"sha256",
         {"/images/fdt@1/hash@1", "algo", text("sha256")},
         none,
         CHECK_REFUSED,
         "uses sha256, which the tool does not compute"},
        {"partition id",
         {"/images/fdt@1", "description", text("Partition  Id")},
         none,
         CHECK_LEGACY,
         "only in letter case or blanks"},
        {"APP board",
         none,
         {"/configurations/board_0x0300", "filesystem", text("apps")},
         CHECK_WARNINGS,
         "board 0x0300 is defined in app.img but not in os.img"},
    };
    for (const check_case& c : cases) {
        std::vector<uint8_t> os = changed("fp_os.img", c.os);
        std::vector<uint8_t> app = changed("fp_app.img", c.app);
        pair_check check{os.data(), app.data(), "os.img", "app.img", false, {}, {}};
        captured_output output;
        capture_output(&output, [&] {
            check_pair(&check, {}, installed_state{});
            return 0;
        });
        EXPECT_EQ(c.verdict, pair_verdict_of(check)) << c.name;
        ASSERT_EQ(c.warning == nullptr ? 0u : 1u, check.warnings.size()) << c.name;
        if (c.warning != nullptr) {
            EXPECT_NE(std::string::npos, check.warnings[0].find(c.warning))
                << c.name << ": " << check.warnings[0];
        }
    }
}
// The built command: exit statuses, one line for unusable input, the
// installed state, and JSON.
TEST(FirmpackCheck, CommandLine)
{
    temp_dir dir;
    const std::string os = PAIR_DIR + "/fp_os.img";
    const std::string app = PAIR_DIR + "/fp_app.img";
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
        {{PAIR_DIR + "/fp_os_legacy.img", app}, 2, "verdict: legacy (exit status 2)"},
        {{"--json", "--installed",
          dir.write("installed", "bootloader=bootloader 2026.10\nrootfs=R5.1\napps=R5.0\n"), os,
          app},
         0,
         "\"update\": true}}}"},
        {{dir.path("missing.img"), app}, 1, "Failed to open"},
        {{os, dir.write("empty.img", "")}, 1, "Bad size"},
        {{dir.write("head.img", head), app}, 1, "head.img: truncated"},
        {{os, dir.write("text.img", "not a firmpack")}, 1, "text.img: not a FIT image"},
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
