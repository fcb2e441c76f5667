#include "firmpack/fit.h"
#include "firmpack/lookup.h"
#include "firmpack/verify.h"

#include "tests/support/capture.h"

#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <iterator>
#include <libfdt.h>
#include <string>
#include <vector>

namespace {

const char* const UBIFS_NODE_MAGIC = "31181006"; // 0x06101831, little-endian
const char* const GZIP_MAGIC = "1f8b";

std::vector<uint8_t> load_example(const std::string& name)
{
    std::ifstream file(std::string(FPU_EXAMPLE_PAIR_DIR) + "/" + name, std::ios::binary);
    EXPECT_TRUE(file) << name;
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(file), {});
}

std::string package_description(const std::vector<uint8_t>& fit, const char* package)
{
    const char* description = nullptr;
    EXPECT_EQ(0, lookup_package(fit.data(), "example", package, &description)) << package;
    return description != nullptr ? description : "";
}

std::string fdt_description(const std::vector<uint8_t>& fit)
{
    int fdt = firmpack_config_fdt(fit.data(), firmpack_config_node(fit.data(), "board_0x0105"));
    const char* description = nullptr;
    EXPECT_EQ(0, firmpack_get_description(fit.data(), fdt, &description));
    return description != nullptr ? description : "";
}

// The first bytes of a package, as text of hexadecimal digits.
std::string leading_bytes(const std::vector<uint8_t>& fit, const char* package, uint32_t count)
{
    const uint8_t* data = nullptr;
    uint32_t size = 0;
    EXPECT_EQ(
        0, firmpack_get_data(fit.data(), firmpack_image_node(fit.data(), package), &data, &size));
    std::string text;
    for (uint32_t i = 0; i < count && i < size; ++i) {
        text += "0123456789abcdef"[data[i] >> 4];
        text += "0123456789abcdef"[data[i] & 15];
    }
    return text;
}

// The sample pair that the demo installs passes every check this subsystem
// makes, and its packages are where the update sequence looks for them.
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
    EXPECT_EQ(0, lookup_board_filesystem(os.data(), &rootfs, 0x105));
    EXPECT_EQ(0, lookup_board_filesystem(app.data(), &apps, 0x105));
    EXPECT_EQ(0, package_description(os, rootfs).rfind("filesystem ", 0));
    EXPECT_EQ(0, package_description(app, apps).rfind("applications ", 0));

    int config = firmpack_config_node(os.data(), "board_0x0105");
    const char* bootloader =
        fdt_get_name(os.data(), firmpack_config_firmware(os.data(), config), nullptr);
    EXPECT_EQ(0, package_description(os, bootloader).rfind("bootloader ", 0));
    uint8_t compression = 0;
    EXPECT_EQ(0, firmpack_get_compression(app.data(), firmpack_image_node(app.data(), apps),
                                          &compression));
    EXPECT_EQ(COMPRESSION_GZIP, compression);
    EXPECT_EQ(UBIFS_NODE_MAGIC, leading_bytes(os, rootfs, 4));
    EXPECT_EQ(GZIP_MAGIC, leading_bytes(app, apps, 2));
}

// What decides between a direct update and the legacy path: the partition ID
// package, and the APP version naming the OS version after its first colon.
TEST(ExamplePair, PairsAndCarriesItsPartitionLayout)
{
    std::vector<uint8_t> os = load_example("fp_os.img");
    std::vector<uint8_t> app = load_example("fp_app.img");
    std::vector<uint8_t> legacy = load_example("fp_os_legacy.img");

    const char* os_version = nullptr;
    const char* app_version = nullptr;
    ASSERT_EQ(0, firmpack_get_description(os.data(), 0, &os_version));
    ASSERT_EQ(0, firmpack_get_description(app.data(), 0, &app_version));
    const char* colon = strchr(app_version, ':');
    ASSERT_NE(nullptr, colon);
    EXPECT_STREQ(os_version, colon + 1);

    EXPECT_EQ("partition ID", fdt_description(os).substr(0, 12));
    EXPECT_NE("partition ID", fdt_description(legacy).substr(0, 12));
    int fdt = firmpack_config_fdt(os.data(), firmpack_config_node(os.data(), "board_0x0105"));
    const uint8_t* data = nullptr;
    uint32_t size = 0;
    ASSERT_EQ(0, firmpack_get_data(os.data(), fdt, &data, &size));
    EXPECT_EQ('2', data[0]);
}

} // namespace
