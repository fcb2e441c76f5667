#include "firmpack/fit.h"
#include "firmpack/lookup.h"
#include "firmpack/verify.h"

#include "tests/support/capture.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <libfdt.h>
#include <string>
#include <vector>

namespace {

std::vector<uint8_t> load_example(const std::string& name)
{
    std::ifstream file(std::string(FPU_EXAMPLE_PAIR_DIR) + "/" + name, std::ios::binary);
    EXPECT_TRUE(file) << name;
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(file), {});
}

std::string description(const std::vector<uint8_t>& fit, const char* package)
{
    const char* text = nullptr;
    EXPECT_EQ(0, lookup_package(fit.data(), "example", package, &text)) << package;
    return text != nullptr ? text : "";
}

// The sample pair that the demo installs passes the hash checks, and its
// packages are where the update sequence looks for them.
TEST(ExamplePair, VerifiesAndHoldsItsPackages)
{
    std::vector<uint8_t> os = load_example("fp_os.img");
    std::vector<uint8_t> app = load_example("fp_app.img");
    std::vector<uint8_t> legacy = load_example("fp_os_legacy.img");
    captured_output output;
    for (const std::vector<uint8_t>* fit : {&os, &app, &legacy}) {
        EXPECT_EQ(1, capture_output(&output, [&] { return firmpack_check_hashes(fit->data()); }));
    }

    const char* rootfs = nullptr;
    const char* apps = nullptr;
    ASSERT_EQ(0, lookup_board_filesystem(os.data(), &rootfs, 0x105));
    ASSERT_EQ(0, lookup_board_filesystem(app.data(), &apps, 0x105));
    EXPECT_EQ(0u, description(os, rootfs).rfind("filesystem ", 0));
    EXPECT_EQ(0u, description(app, apps).rfind("applications ", 0));
    int config = firmpack_config_node(os.data(), "board_0x0105");
    const char* bootloader =
        fdt_get_name(os.data(), firmpack_config_firmware(os.data(), config), nullptr);
    EXPECT_EQ(0u, description(os, bootloader).rfind("bootloader ", 0));
}

} // namespace
