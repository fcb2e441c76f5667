#include "driver/image_file.h"

#include "tests/support/capture.h"
#include "tests/support/temp_dir.h"

#include "tests/support/case_name.h"

#include <gtest/gtest.h>

#include <cstring>
#include <sys/mman.h>

namespace {

struct failure_case {
    const char* name;
    int expected_result;
    const char* before_path; // the expected message is before_path, the path, after_path
    const char* after_path;
};

class MapImageFileFailure : public testing::TestWithParam<failure_case> {};

// Each case's file: missing, empty, or a directory (opens, but cannot be mapped).
std::string make_failing_path(const temp_dir& dir, const std::string& name)
{
    if (name == "empty") {
        return dir.write("empty.img", "");
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
    int result = capture_output(&output, [&] { return map_image_file(path.c_str(), &start, &size); });

    EXPECT_EQ(c.expected_result, result);
    EXPECT_EQ(c.before_path + path + c.after_path, output.err);
    EXPECT_EQ("", output.out);
    EXPECT_EQ(-7, size) << "size is stored only on success";
}

const failure_case FAILURE_CASES[] = {
    {"missing", 2, "Failed to open ", " : No such file or directory\n"},
    {"empty", 22, "Bad size: \"", "\" is not valid image\n"},
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
    EXPECT_EQ(0, munmap(const_cast<uint8_t*>(start), static_cast<size_t>(size)));

    // The size is optional.
    ASSERT_EQ(0, map_image_file(path.c_str(), &start, nullptr));
    EXPECT_EQ('f', start[0]);
}

} // namespace
