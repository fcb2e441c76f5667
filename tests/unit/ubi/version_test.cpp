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
    buffer.fill('#');
    const char* installed = nullptr;
    int result = compose_installed_version(c.label.c_str(),
                                           reinterpret_cast<const uint8_t*>(c.file.data()),
                                           c.file.size(), &buffer, &installed);
    EXPECT_EQ(c.expected_result, result);
    EXPECT_EQ(c.expected_text, installed);
}

// The longest version files that fit behind each label, and one byte more.
std::string cut(const std::string& label, std::size_t size)
{
    return (label + " " + std::string(size, 'v')).substr(0, VERSION_TEXT_SIZE - 1);
}

const compose_case COMPOSE_CASES[] = {
    {"CrLf", "filesystem", "2.0.1\r\n", "filesystem 2.0.1", 0},
    {"LeadingBlankStays", "filesystem", " 2.0.1", "filesystem  2.0.1", 0},
    {"OnlyWhiteSpace", "filesystem", " \t\n\v\f\r", "filesystem", 0},
    {"InnerLinesStay", "applications", "4.2\nbuild 7\n\n", "applications 4.2\nbuild 7", 0},
    {"NulEndsText", "filesystem", "2.0.1\n\0junk"s, "filesystem 2.0.1", 0},
    {"NulFirst", "filesystem", "\0 2.0.1"s, "filesystem", 0},
    {"HighBytesAreNotSpace", "filesystem", "2.0.1\xa0\x85", "filesystem 2.0.1\xa0\x85", 0},
    {"ControlsAreNotSpace", "filesystem", "\x1c" "2.0.1\x08\x0e\x1f",
     "filesystem \x1c" "2.0.1\x08\x0e\x1f", 0},
    {"FilesystemFits", "filesystem", std::string(4084, 'v'), cut("filesystem", 4084), 0},
    {"FilesystemTooLong", "filesystem", std::string(4085, 'v'), cut("filesystem", 4085), EFBIG},
    {"ApplicationsFits", "applications", std::string(4082, 'v'), cut("applications", 4082), 0},
    {"ApplicationsTooLong", "applications", std::string(4083, 'v'), cut("applications", 4083),
     EFBIG},
};

INSTANTIATE_TEST_SUITE_P(Rows, ComposeInstalledVersion, testing::ValuesIn(COMPOSE_CASES),
                         case_name());

const std::optional<std::string> MISSING; // no version file at all

struct check_case {
    std::string name;
    std::optional<std::string> file;
    std::string description;
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
    std::string path = !c.file ? dir.path("version") : dir.write("version", *c.file);
    uint32_t flag = 7;
    captured_output output;
    int result = capture_output(&output, [&] {
        return check_update_required(c.description.c_str(), c.package, &flag, path.c_str(),
                                     "filesystem", c.verify);
    });
    EXPECT_EQ(0, result);
    EXPECT_EQ(c.expected_flag, flag);
    EXPECT_EQ(c.expected_out, output.out);
    EXPECT_EQ(!c.file ? "Failed to open " + path + " : No such file or directory\n" : "",
              output.err);
}

const std::string NOT_INSTALLED = "   Package 'rootfs        ' not yet installed (NO '/version' FILE!)\n";
const std::string CHANGED = "   Package 'rootfs        ' changed, got 'filesystem 2.0.1-rc1', "
                            "found 'filesystem 2.0.1-RC1'\n";
const std::string TOO_LONG = std::string("2.0.1") + std::string(5000, '\n');

const check_case CHECK_CASES[] = {
    {"SameVersion", "2.0.1\n", "filesystem 2.0.1", "rootfs", 0, 0,
     "   Package 'rootfs        ' not changed, got 'filesystem 2.0.1'\n"},
    {"SameVersionVerified", "2.0.1\n", "filesystem 2.0.1", "rootfs", 1, 0, ""},
    {"CaseDiffers", "2.0.1-rc1", "filesystem 2.0.1-RC1", "rootfs", 0, 1, CHANGED},
    {"CaseDiffersVerified", "2.0.1-rc1", "filesystem 2.0.1-RC1", "rootfs", 1, 1,
     "ERROR: Package 'rootfs        ' does not match, need 'filesystem 2.0.1-rc1', "
     "found 'filesystem 2.0.1-RC1'\n"},
    {"DescriptionEndingInBlank", "2.0.1 ", "filesystem 2.0.1 ", "rootfs", 0, 1,
     "   Package 'rootfs        ' changed, got 'filesystem 2.0.1', found 'filesystem 2.0.1 '\n"},
    {"LongNameCut", "2.0.1", "filesystem 2.0.1", "applications-filesystem", 0, 0,
     "   Package 'applications-f' not changed, got 'filesystem 2.0.1'\n"},
    {"NulInside", "2.0.1\n\0junk"s, "filesystem 2.0.1", "rootfs", 1, 0, ""},
    {"CutFileNeverMatches", TOO_LONG, "filesystem 2.0.1", "rootfs", 0, 1,
     "   Package 'rootfs        ' changed, got 'filesystem 2.0.1', found 'filesystem 2.0.1'\n"},
    {"Missing", MISSING, "filesystem 2.0.1", "rootfs", 0, 1, NOT_INSTALLED},
    {"MissingVerified", MISSING, "filesystem 2.0.1", "rootfs", 1, 1, NOT_INSTALLED},
};

INSTANTIATE_TEST_SUITE_P(Rows, CheckUpdateRequired, testing::ValuesIn(CHECK_CASES), case_name());

TEST(CheckUpdateRequiredFile, EmptyFileCountsAsNotInstalled)
{
    temp_dir dir;
    std::string path = dir.write("version", "");
    uint32_t flag = 0;
    captured_output output;
    ASSERT_EQ(0, capture_output(&output, [&] {
        return check_update_required("filesystem", "rootfs", &flag, path.c_str(), "filesystem", 1);
    }));
    EXPECT_EQ(1u, flag);
    EXPECT_EQ(NOT_INSTALLED, output.out);
    EXPECT_EQ("Bad size: \"" + path + "\" is not valid image\n", output.err);
}

} // namespace
