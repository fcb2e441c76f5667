#include "driver/image_file.h"

#include "tests/support/capture.h"
#include "tests/support/temp_dir.h"

#include "tests/support/case_name.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

struct failure_case {
    const char* name;
    int expected_result;
    const char* before_path; // the expected message is before_path, the path, after_path
    const char* after_path;
};

class MapImageFileFailure : public testing::TestWithParam<failure_case> {};

// Each case's file: missing, empty, a FIFO or a device (which must not hold
// the tool up), or a directory.
std::string make_failing_path(const temp_dir& dir, const std::string& name)
{
    if (name == "empty") {
        return dir.write("empty.img", "");
    }
    if (name == "fifo") {
        EXPECT_EQ(0, mkfifo(dir.path("fifo.img").c_str(), 0600));
        return dir.path("fifo.img");
    }
    if (name == "device") {
        return "/dev/null";
    }
    if (name == "directory") {
        return dir.root;
    }
    return dir.path("missing.img");
}

TEST_P(MapImageFileFailure, ReportsOnStandardError)
{
    const failure_case& c = GetParam();
    temp_dir dir;
    std::string path = make_failing_path(dir, c.name);

    const uint8_t* start = nullptr;
    int32_t size = -7;
    captured_output output;
    int result =
        capture_output(&output, [&] { return map_image_file(path.c_str(), &start, &size); });

    EXPECT_EQ(c.expected_result, result);
    EXPECT_EQ(c.before_path + path + c.after_path, output.err);
    EXPECT_EQ("", output.out);
    EXPECT_EQ(-7, size) << "size is stored only on success";
}

const failure_case FAILURE_CASES[] = {
    {"missing", 2, "Failed to open ", " : No such file or directory\n"},
    {"empty", 22, "Bad size: \"", "\" is not valid image\n"},
    {"fifo", 22, "Bad size: \"", "\" is not valid image\n"},
    {"device", 22, "Bad size: \"", "\" is not valid image\n"},
    {"directory", 19, "Can't read ", ": No such device\n"},
};

INSTANTIATE_TEST_SUITE_P(Rows, MapImageFileFailure, testing::ValuesIn(FAILURE_CASES), case_name());

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

    // The size is optional.
    ASSERT_EQ(0, map_image_file(path.c_str(), &start, nullptr));
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
        const uint8_t* start = nullptr;
        if (map_image_file(path.c_str(), &start, nullptr) == 0 && truncate(path.c_str(), 0) == 0) {
            fprintf(stderr, "%d", start[4096]);
        }
    };
    EXPECT_EXIT(read_after_cut(), testing::ExitedWithCode(5),
                "^ERROR: " + path + " changed or failed while it was read, stopping upgrade\n$");
}

} // namespace
