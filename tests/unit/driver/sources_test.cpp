// SPDX-License-Identifier: MIT
#include "driver/sources.h"

#include "tests/support/capture.h"
#include "tests/support/temp_dir.h"

#include <gtest/gtest.h>

#include <unistd.h>

namespace {

std::string update_files(std::string* err)
{
    captured_output output;
    const int result =
        capture_output(&output, [] { return update_from_files("os.img", "app.img", 0x105); });
    *err = output.err;
    return std::to_string(result) + " " + output.out;
}

// The OS file is mapped first; display names stay as typed.
TEST(FileSource, StopsAtTheFirstUnusableFile)
{
    temp_dir dir;
    ASSERT_EQ(0, chdir(dir.root.c_str()));
    std::string err;
    EXPECT_EQ("2 ", update_files(&err));
    EXPECT_EQ("Failed to open os.img : No such file or directory\n", err);
    dir.write("os.img", "x");
    EXPECT_EQ("2 ", update_files(&err));
    EXPECT_EQ("Failed to open app.img : No such file or directory\n", err);
    ASSERT_EQ(0, chdir("/"));
}

} // namespace
