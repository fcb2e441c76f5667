// SPDX-License-Identifier: MIT
#include "firmpack/lookup.h"

#include "tests/support/capture.h"
#include "tests/support/fixture.h"

#include <gtest/gtest.h>

#include <libfdt.h>
#include <string>
#include <vector>

namespace {

// What a lookup stores: "unchanged" when it leaves the out text as it was.
const char* const UNCHANGED = "unchanged";

std::string text_of(const char* text)
{
    return text == nullptr ? "null" : text;
}

TEST(PackageLookup, BoardFilesystem)
{
    const std::vector<uint8_t> lookup = load_fixture("lookup.dtb");
    const std::vector<uint8_t> noise(256, 0x5A);
    const std::string none = "Firmpack does not contain a 'filesystem =' definition\n";
    // clang-format off
    const std::tuple<const std::vector<uint8_t>*, uint32_t, int, std::string, std::string> cases[] = {
        {&lookup, 0x12345678, 0, "apps", ""},
        {&lookup, 0xa5, 22, UNCHANGED, "Invalid firmpack for this board (Board 0x00a5 not defined)\n"},
        {&lookup, 0x300, 22, "null", none},
        {&lookup, 0x301, 22, "null", none},
        {&noise, 0x105, 22, UNCHANGED, "Invalid firmpack for this board (Board 0x0105 not defined)\n"},
    };
    // clang-format on
    for (const auto& [fit, board, result, name, out] : cases) {
        const char* found = UNCHANGED;
        captured_output output;
        EXPECT_EQ(result, capture_output(&output,
                                         [&, fit = fit, board = board] {
                                             return lookup_board_filesystem(fit->data(), &found,
                                                                            board);
                                         }))
            << board;
        EXPECT_EQ(out, output.out) << board;
        EXPECT_EQ(name, text_of(found)) << board;
    }
}

TEST(PackageLookup, Package)
{
    const std::vector<uint8_t> lookup = load_fixture("lookup.dtb");
    std::vector<uint8_t> no_timestamp = lookup;
    ASSERT_EQ(0, fdt_nop_property(no_timestamp.data(), 0, "timestamp"));
    const std::vector<uint8_t> single = {0x27, 0x05, 0x19, 0x56, 0, 0, 0, 0};
    const std::vector<uint8_t> noise(256, 0x5A);
    // clang-format off
    const std::tuple<const std::vector<uint8_t>*, const char*, int, std::string, std::string> cases[] = {
        {&lookup, "rootfs", 0, "filesystem 3.1", ""},
        {&lookup, "apps", 0, "", ""},
        {&lookup, "nameless", 14, "null", "fp.img: No Description\n"},
        {&lookup, "ghost", 2, "null", "fp.img: Can't find 'ghost' FIT subimage\n"},
        {&no_timestamp, "rootfs", 14, UNCHANGED, "fp.img: Bad FIT image format\n"},
        {&single, "rootfs", 14, UNCHANGED, "filetype of fp.img is not correct, found 1\n"},
        {&noise, "rootfs", 14, UNCHANGED, "filetype of fp.img is not correct, found 0\n"},
    };
    // clang-format on
    for (const auto& [fit, package, result, description, out] : cases) {
        firmpack_package found{};
        found.description = UNCHANGED;
        captured_output output;
        EXPECT_EQ(result, capture_output(&output,
                                         [&, fit = fit, package = package] {
                                             return lookup_package(fit->data(), "fp.img", package,
                                                                   &found);
                                         }))
            << out;
        EXPECT_EQ(out, output.out);
        EXPECT_EQ(description, text_of(found.description)) << out;
    }
}

} // namespace
