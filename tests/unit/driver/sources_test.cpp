// SPDX-License-Identifier: MIT
#include "driver/sources.h"

#include "tests/support/capture.h"
#include "tests/support/temp_dir.h"

#include <gtest/gtest.h>

#include <unistd.h>

namespace {

// A device-tree header whose total size claims more bytes than the file holds.
std::string truncated_tree(std::size_t actual_size)
{
    std::string bytes(actual_size, '\0');
    bytes.replace(0, 8, "\xd0\x0d\xfe\xed\x00\x00\x10\x00", 8);
    return bytes;
}

struct source_case {
    bool os_exists;
    std::string os;
    std::string app;
    int result;
    const char* out;
    const char* err;
};

// The OS file is opened and checked first; display names stay as typed.
TEST(FileSource, StopsAtTheFirstUnusableFile)
{
    temp_dir dir;
    ASSERT_EQ(0, chdir(dir.root.c_str()));
    const source_case cases[] = {
        {false, "", "", 2, "", "Failed to open os.img : No such file or directory\n"},
        {true, truncated_tree(100), truncated_tree(100), 22,
         "file os.img is corrupt, stopping upgrade\n", ""},
    };
    for (const source_case& c : cases) {
        unlink("os.img");
        if (c.os_exists) {
            dir.write("os.img", c.os);
        }
        dir.write("app.img", c.app);
        captured_output output;
        EXPECT_EQ(c.result, capture_output(&output, [] {
                      return update_from_files("os.img", "app.img", 0x105);
                  }));
        EXPECT_EQ(c.out, output.out);
        EXPECT_EQ(c.err, output.err);
    }
    ASSERT_EQ(0, chdir("/"));
}

} // namespace
