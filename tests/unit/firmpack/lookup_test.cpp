#include "firmpack/fit.h"
#include "firmpack/lookup.h"

#include "tests/support/capture.h"
#include "tests/support/fixture.h"

#include <gtest/gtest.h>

#include <libfdt.h>
#include <string>
#include <vector>

namespace {

const char* const UNCHANGED = "unchanged";

class PackageLookup : public testing::Test {
  protected:
    std::vector<uint8_t> lookup = load_fixture("lookup.dtb");
    std::vector<uint8_t> tree = load_fixture("tree_access.dtb");
    std::vector<uint8_t> os = load_fixture("os_good.fit");
    std::vector<uint8_t> single = std::vector<uint8_t>{0x27, 0x05, 0x19, 0x56, 0, 0, 0, 0};
    std::vector<uint8_t> noise = std::vector<uint8_t>(256, 0x5A);
    std::vector<uint8_t> no_timestamp = without_timestamp(lookup);

    static std::vector<uint8_t> without_timestamp(std::vector<uint8_t> fit)
    {
        EXPECT_EQ(0, fdt_nop_property(fit.data(), 0, "timestamp"));
        return fit;
    }
};

TEST_F(PackageLookup, BoardFilesystem)
{
    struct board_case {
        const std::vector<uint8_t>* fit;
        uint32_t board;
        int result;
        const char* name; // null: set to null; UNCHANGED: left as it was
        const char* out;
    };
    const char* const invalid_a5 = "Invalid firmpack for this board (Board 0x00a5 not defined)\n";
    const char* const no_filesystem = "Firmpack does not contain a 'filesystem =' definition\n";
    const board_case cases[] = {
        {&os, 0x105, 0, "rootfs@1", ""},
        {&tree, 0x1a2, 0, "rootfs@1", ""},
        {&lookup, 0x12345678, 0, "apps", ""},
        {&lookup, 0xa5, 22, UNCHANGED, invalid_a5},
        {&lookup, 0x300, 22, nullptr, no_filesystem},
        {&lookup, 0x301, 22, nullptr, no_filesystem},
        {&noise, 0x105, 22, UNCHANGED,
         "Invalid firmpack for this board (Board 0x0105 not defined)\n"},
    };
    for (const board_case& c : cases) {
        const char* name = UNCHANGED;
        captured_output output;
        int result = capture_output(
            &output, [&] { return lookup_board_filesystem(c.fit->data(), &name, c.board); });
        SCOPED_TRACE(testing::Message() << "board 0x" << std::hex << c.board);
        EXPECT_EQ(c.result, result);
        EXPECT_EQ(c.out, output.out);
        if (c.name == nullptr || c.name == UNCHANGED) {
            EXPECT_EQ(c.name, name);
        } else {
            EXPECT_STREQ(c.name, name);
        }
    }
}

TEST_F(PackageLookup, Package)
{
    struct package_case {
        const std::vector<uint8_t>* fit;
        const char* package;
        int result;
        const char* description; // null when it is set to null
        const char* out;
    };
    const package_case cases[] = {
        {&lookup, "rootfs", 0, "filesystem 3.1", ""},
        {&lookup, "apps", 0, "", ""},
        {&lookup, "nameless", 14, nullptr, "fp.img: No Description\n"},
        {&lookup, "ghost", 2, UNCHANGED, "fp.img: Can't find 'ghost' FIT subimage\n"},
        {&no_timestamp, "rootfs", 14, UNCHANGED, "fp.img: Bad FIT image format\n"},
        {&single, "rootfs", 14, UNCHANGED, "filetype of fp.img is not correct, found 1\n"},
        {&noise, "rootfs", 14, UNCHANGED, "filetype of fp.img is not correct, found 0\n"},
    };
    for (const package_case& c : cases) {
        const char* description = UNCHANGED;
        captured_output output;
        int result = capture_output(&output, [&] {
            return lookup_package(c.fit->data(), "fp.img", c.package, &description);
        });
        SCOPED_TRACE(c.package);
        EXPECT_EQ(c.result, result);
        EXPECT_EQ(c.out, output.out);
        if (c.description == nullptr || c.description == UNCHANGED) {
            EXPECT_EQ(c.description, description);
        } else {
            EXPECT_STREQ(c.description, description);
        }
    }
}

} // namespace
