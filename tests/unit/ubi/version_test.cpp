// SPDX-License-Identifier: MIT
#include "ubi/version.h"

#include "tests/support/capture.h"
#include "tests/support/case_name.h"
#include "tests/support/temp_dir.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <optional>
#include <string>

namespace {

using namespace std::string_literals;

struct compose_case {
    std::string name;
    std::string label;
    std::string file;
    std::string expected_text;
    int expected_result;
};

class ComposeInstalledVersion : public testing::TestWithParam<compose_case> {};

TEST_P(ComposeInstalledVersion, TrimsTheWholeText)
{
    const compose_case& c = GetParam();
    version_text buffer;
    const char* installed = nullptr;
    EXPECT_EQ(c.expected_result,
              compose_installed_version(c.label.c_str(),
                                        reinterpret_cast<const uint8_t*>(c.file.data()),
                                        c.file.size(), &buffer, &installed));
    EXPECT_EQ(c.expected_text, installed);
}

// The longest file that fits behind the label is 4094 bytes less the label.
std::string cut(const std::string& label, std::size_t size)
{
    return (label + " " + std::string(size, 'v')).substr(0, VERSION_TEXT_SIZE - 1);
}

const compose_case COMPOSE_CASES[] = {
    {"CrLf", "filesystem", "2.0.1\r\n", "filesystem 2.0.1", 0},
    {"OnlyWhiteSpace", "filesystem", " \t\n\v\f\r", "filesystem", 0},
    {"InnerSpaceStays", "applications", " 4.2\nbuild 7\n\n", "applications  4.2\nbuild 7", 0},
    {"NulEndsText", "filesystem", "2.0.1\n\0junk"s, "filesystem 2.0.1", 0},
    // 0x1c, 0x08, 0x0e, 0x1f, 0xa0 and 0x85 (in octal, so no digit joins them)
    {"OnlyCLocaleSpace", "filesystem", "\0342.0.1\010\016\037\240\205",
     "filesystem \0342.0.1\010\016\037\240\205", 0},
    {"FilesystemFits", "filesystem", std::string(4084, 'v'), cut("filesystem", 4084), 0},
    {"FilesystemTooLong", "filesystem", std::string(4085, 'v'), cut("filesystem", 4085), EFBIG},
    {"ApplicationsTooLong", "applications", std::string(4083, 'v'), cut("applications", 4083),
     EFBIG},
    {"LabelFillsTheBuffer", std::string(4094, 'l'), "", std::string(4094, 'l'), 0},
};

INSTANTIATE_TEST_SUITE_P(Rows, ComposeInstalledVersion, testing::ValuesIn(COMPOSE_CASES),
                         case_name());

struct check_case {
    std::string name;
    std::optional<std::string> file; // none: no version file at all
    const char* package;
    int verify;
    uint32_t expected_flag;
    std::string expected_out;
};

class CheckUpdateRequired : public testing::TestWithParam<check_case> {};

TEST_P(CheckUpdateRequired, TellsThroughFlagAndMessage)
{
    const check_case& c = GetParam();
    temp_dir dir;
    std::string path = c.file ? dir.write("version", *c.file) : dir.path("version");
    uint32_t flag = 7;
    captured_output output;
    int result = capture_output(&output, [&] {
        return check_update_required("filesystem 2.0.1", c.package, &flag, path.c_str(),
                                     "filesystem", c.verify);
    });
    EXPECT_EQ(0, result);
    EXPECT_EQ(c.expected_flag, flag);
    EXPECT_EQ(c.expected_out, output.out);
}

const std::string NOT_INSTALLED =
    "   Package 'rootfs        ' not yet installed (NO '/version' FILE!)\n";

const check_case CHECK_CASES[] = {
    {"Same", "2.0.1\n", "rootfs", VERSION_CHECK, 0,
     "   Package 'rootfs        ' not changed, got 'filesystem 2.0.1'\n"},
    {"SameVerified", "2.0.1\n\0junk"s, "rootfs", VERSION_VERIFY, 0, ""},
    {"CaseDiffers", "2.0.1-rc1", "rootfs", VERSION_CHECK, 1,
     "   Package 'rootfs        ' changed, got 'filesystem 2.0.1-rc1', found 'filesystem 2.0.1'\n"},
    {"CaseDiffersVerified", "2.0.1-rc1", "rootfs", VERSION_VERIFY, 1,
     "ERROR: Package 'rootfs        ' does not match, need 'filesystem 2.0.1-rc1', "
     "found 'filesystem 2.0.1'\n"},
    {"LongNameCut", "2.0.1", "applications-filesystem", VERSION_CHECK, 0,
     "   Package 'applications-f' not changed, got 'filesystem 2.0.1'\n"},
    {"CutFileNeverMatches", "2.0.1" + std::string(5000, '\n'), "rootfs", VERSION_CHECK, 1,
     "   Package 'rootfs        ' changed, got 'filesystem 2.0.1', found 'filesystem 2.0.1'\n"},
    {"Missing", std::nullopt, "rootfs", VERSION_CHECK, 1, NOT_INSTALLED},
    {"Empty", "", "rootfs", VERSION_CHECK, 1, NOT_INSTALLED},
};

INSTANTIATE_TEST_SUITE_P(Rows, CheckUpdateRequired, testing::ValuesIn(CHECK_CASES), case_name());

} // namespace
