// SPDX-License-Identifier: MIT
#include "io/image_file.h"

#include "tests/support/capture.h"
#include "tests/support/temp_dir.h"

#include <gtest/gtest.h>

#include <cstdio>
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

} // namespace
