// SPDX-License-Identifier: MIT
#include "io/image_file.h"

#include "tests/support/capture.h"
#include "tests/support/temp_dir.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// Missing, empty, a FIFO or a device (which must not hold the tool up), or a
// directory: one line on standard error, and the size left as it was.
TEST(MapImageFile, RefusesWithOneLine)
{
    temp_dir dir;
    ASSERT_EQ(0, mkfifo(dir.path("fifo.img").c_str(), 0600));
    const std::tuple<std::string, int, std::string, std::string> cases[] = {
        {dir.path("missing.img"), 2, "Failed to open ", " : No such file or directory\n"},
        {dir.write("empty.img", ""), 22, "Bad size: \"", "\" is not valid image\n"},
        {dir.path("fifo.img"), 22, "Bad size: \"", "\" is not valid image\n"},
        {"/dev/null", 22, "Bad size: \"", "\" is not valid image\n"},
        {dir.root, 19, "Can't read ", ": No such device\n"},
    };
    for (const auto& [path, result, before, after] : cases) {
        const uint8_t* start = nullptr;
        int32_t size = -7;
        captured_output output;
        EXPECT_EQ(result, capture_output(&output, [&] {
                      return map_image_file(path.c_str(), &start, &size);
                  }));
        EXPECT_EQ(before + path + after, output.err);
        EXPECT_EQ("", output.out);
        EXPECT_EQ(-7, size) << path;
    }
}

TEST(MapImageFile, MapsWholeFileReadOnly)
{
    temp_dir dir;
    std::string path = dir.write("fp.img", std::string("firmpack\0bytes", 14));
    const uint8_t* start = nullptr;
    int32_t size = 0;
    ASSERT_EQ(0, map_image_file(path.c_str(), &start, &size));
    ASSERT_EQ(14, size);
    EXPECT_EQ(0, memcmp(start, "firmpack\0bytes", 14));
    EXPECT_EQ(0, unmap_image_file(start, size));
    ASSERT_EQ(0, map_image_file(path.c_str(), &start, nullptr)); // the size is optional
    EXPECT_EQ('f', start[0]);
}

// A firmpack truncated under the tool's feet: one line naming it and exit
// status 5, not a bus error.
TEST(MapImageFileDeathTest, FileCutWhileMappedEndsTheRunWithOneLine)
{
    if (getenv("FPU_TEST_EMULATOR") != nullptr) {
        GTEST_SKIP() << "user-mode QEMU ends a program on a bus error before its handler runs";
    }
    temp_dir dir;
    std::string path = dir.write("fp.img", std::string(8192, 'x'));
    auto read_after_cut = [&] {
        guard_mapped_files();
        const uint8_t* start = nullptr;
        if (map_image_file(path.c_str(), &start, nullptr) == 0 && truncate(path.c_str(), 0) == 0) {
            fprintf(stderr, "%d", start[4096]);
        }
    };
    EXPECT_EXIT(read_after_cut(), testing::ExitedWithCode(5),
                "^ERROR: " + path + " changed or failed while it was read, stopping upgrade\n$");
}

} // namespace
