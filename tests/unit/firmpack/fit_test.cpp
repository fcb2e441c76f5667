// SPDX-License-Identifier: MIT
#include "firmpack/fit.h"

#include "tests/support/capture.h"
#include "tests/support/fixture.h"

#include <gtest/gtest.h>

#include <cstring>
#include <libfdt.h>

namespace {

class TreeAccess : public testing::Test {
  protected:
    std::vector<uint8_t> tree = load_fixture("tree_access.dtb");
    std::vector<uint8_t> os = load_fixture("os_good.fit");

    int image(const char* name)
    {
        return firmpack_image_node(tree.data(), name);
    }
    std::string name_of(const std::vector<uint8_t>& fit, int node)
    {
        return node < 0 ? "" : fdt_get_name(fit.data(), node, nullptr);
    }
};

TEST_F(TreeAccess, ClassifiesBuffers)
{
    std::vector<uint8_t> single = {0x27, 0x05, 0x19, 0x56, 0, 0, 0, 0};
    std::vector<uint8_t> bad_magic = os;
    bad_magic[0] ^= 0x01;
    std::vector<uint8_t> too_new = os;
    too_new[27] = 0x12; // last compatible version beyond what libfdt reads
    EXPECT_EQ(FIRMPACK_FORMAT_FIT, firmpack_get_format(os.data()));
    EXPECT_EQ(FIRMPACK_FORMAT_SINGLE, firmpack_get_format(single.data()));
    EXPECT_EQ(FIRMPACK_FORMAT_INVALID, firmpack_get_format(bad_magic.data()));
    EXPECT_EQ(FIRMPACK_FORMAT_INVALID, firmpack_get_format(too_new.data()));
}

TEST_F(TreeAccess, SanityCheckNeedsDescriptionTimestampAndImages)
{
    EXPECT_TRUE(firmpack_check_format(os.data()));
    for (const char* property : {"description", "timestamp"}) {
        std::vector<uint8_t> damaged = os;
        ASSERT_EQ(0, fdt_nop_property(damaged.data(), 0, property));
        EXPECT_FALSE(firmpack_check_format(damaged.data())) << property;
    }
    std::vector<uint8_t> no_images = os;
    ASSERT_EQ(0, fdt_nop_node(no_images.data(), fdt_path_offset(no_images.data(), "/images")));
    EXPECT_FALSE(firmpack_check_format(no_images.data()));
}

// Names match with libfdt's unit-address rule; configuration properties name
// images, and a dangling name, a missing property and an unterminated one
// name none.
TEST_F(TreeAccess, NamesAndReferences)
{
    EXPECT_EQ("rootfs@1", name_of(tree, image("rootfs")));
    EXPECT_EQ("rootfs@1", name_of(tree, image("rootfs@1")));
    EXPECT_LT(image("rootfs@2"), 0);
    EXPECT_LT(image("rootf"), 0);
    int config = firmpack_board_config(tree.data(), 0x1a2);
    EXPECT_EQ("board_0x01a2@1", name_of(tree, config));
    EXPECT_LT(firmpack_config_node(tree.data(), "board_0x01A2"), 0);
    EXPECT_EQ(image("rootfs@1"), firmpack_config_filesystem(tree.data(), config));
    EXPECT_LT(firmpack_config_firmware(tree.data(), config), 0);
    EXPECT_EQ(-FDT_ERR_NOTFOUND, firmpack_config_image(tree.data(), config, "kernel"));
    EXPECT_LT(firmpack_config_fdt(tree.data(), config), 0);
    int os_config = firmpack_board_config(os.data(), 0x200);
    EXPECT_EQ("bootloader@1", name_of(os, firmpack_config_firmware(os.data(), os_config)));
    EXPECT_EQ("fdt@1", name_of(os, firmpack_config_fdt(os.data(), os_config)));
}

TEST_F(TreeAccess, ReadsPropertiesInPlace)
{
    const char* text = nullptr;
    ASSERT_EQ(0, firmpack_get_description(os.data(), 0, &text));
    EXPECT_STREQ("R5.1", text);
    EXPECT_TRUE(text > reinterpret_cast<const char*>(os.data()) &&
                text < reinterpret_cast<const char*>(os.data() + os.size()));
    ASSERT_EQ(0, firmpack_get_description(tree.data(), image("plain"), &text));
    EXPECT_STREQ("", text);
    for (const char* missing : {"bare", "unterminated"}) {
        EXPECT_EQ(-1, firmpack_get_description(tree.data(), image(missing), &text)) << missing;
        EXPECT_EQ(nullptr, text);
    }

    const uint8_t* data = nullptr;
    uint32_t size = 99;
    ASSERT_EQ(0, firmpack_get_data(tree.data(), image("plain"), &data, &size));
    EXPECT_EQ(0u, size);
    ASSERT_EQ(0, firmpack_get_data(tree.data(), image("rootfs"), &data, &size));
    EXPECT_EQ(0, memcmp(data, "\x01\x02\x03", size) + static_cast<int>(size) - 3);
    EXPECT_EQ(-1, firmpack_get_data(tree.data(), image("bare"), &data, &size));
    EXPECT_EQ(nullptr, data);
    EXPECT_EQ(0u, size);

    const uint8_t* value = nullptr;
    int length = 0;
    int hash = fdt_subnode_offset(tree.data(), image("rootfs"), "hash@1");
    ASSERT_EQ(0, firmpack_get_hash_value(tree.data(), hash, &value, &length));
    EXPECT_EQ(4, length);
    EXPECT_EQ(0xde, value[0]);
    EXPECT_EQ(-1, firmpack_get_hash_value(tree.data(), image("rootfs"), &value, &length));
    EXPECT_EQ(nullptr, value);
    EXPECT_EQ(0, length);
}

TEST_F(TreeAccess, CompressionCodes)
{
    const std::string unknown =
        "\nInvalid Compression Type - valid names are: none, bzip2, gzip, lzma, lzo\n";
    const std::tuple<const char*, int, uint8_t, std::string> cases[] = {
        {"plain", 0, COMPRESSION_GZIP, ""},    {"shouting", 0, COMPRESSION_GZIP, ""},
        {"rootfs", 0, COMPRESSION_NONE, ""},   {"unknown", 0, COMPRESSION_UNKNOWN, unknown},
        {"bare", -1, COMPRESSION_UNKNOWN, ""}, {"unterminated", -1, COMPRESSION_UNKNOWN, ""},
    };
    for (const auto& [name, result, code, err] : cases) {
        uint8_t found = 42;
        captured_output output;
        EXPECT_EQ(result,
                  capture_output(
                      &output,
                      [&] { return firmpack_get_compression(tree.data(), image(name), &found); }))
            << name;
        EXPECT_EQ(code, found) << name;
        EXPECT_EQ(err, output.err) << name;
    }
    EXPECT_STREQ("bzip2", compression_name(COMPRESSION_BZIP2));
    EXPECT_EQ(nullptr, compression_name(COMPRESSION_UNKNOWN));
}

TEST(NameTable, SkipsNamelessRowsAndStopsAtNegativeId)
{
    const name_table_entry table[] = {{7, nullptr}, {3, "alpha"}, {5, "beta"}, {-1, "gamma"}};
    EXPECT_EQ(5, name_table_lookup(table, "Greek", "BETA"));
    captured_output output;
    int result =
        capture_output(&output, [&] { return name_table_lookup(table, "Greek", "gamma"); });
    EXPECT_EQ(-1, result);
    EXPECT_EQ("\nInvalid Greek Type - valid names are: alpha, beta\n", output.err);
}

} // namespace
