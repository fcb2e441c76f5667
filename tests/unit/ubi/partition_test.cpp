#include "ubi/partition.h"

#include "tests/support/capture.h"
#include "tests/support/case_name.h"
#include "tests/support/temp_dir.h"
#include "tests/unit/ubi/fake_utilities.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

namespace {

constexpr const char* GAP = nullptr; // no device of this number
constexpr const char* NOT_FOUND = "ERROR: No useable MTD partition found\n";

struct lookup_case {
    const char* name;
    std::vector<const char*> device_names; // by MTD number, as sysfs lists them
    const char* partition;
    int expected_result;
    int expected_number;
};

class FindMtdPartition : public testing::TestWithParam<lookup_case> {};

TEST_P(FindMtdPartition, ScansNamesInOrder)
{
    const lookup_case& c = GetParam();
    temp_dir sysfs;
    std::string class_dir = sysfs.path("mtd");
    for (std::size_t number = 0; number < c.device_names.size(); ++number) {
        if (c.device_names[number] != GAP) {
            std::string device = class_dir + "/mtd" + std::to_string(number);
            std::filesystem::create_directories(device);
            sysfs.write("mtd/mtd" + std::to_string(number) + "/name", c.device_names[number]);
        }
    }

    int number = -1;
    captured_output output;
    int result = capture_output(&output, [&] {
        return find_mtd_partition_in(class_dir.c_str(), c.partition, &number);
    });

    EXPECT_EQ(c.expected_result, result);
    EXPECT_EQ(c.expected_number, number);
    EXPECT_EQ(result == 0 ? "" : NOT_FOUND, output.out);
}

const lookup_case LOOKUP_CASES[] = {
    {"LowestContainingNameWins", {"u-boot\n", "env\n", "rootfs12\n", "rootfs1\n"}, "rootfs1", 0, 2},
    {"ContainedAnywhereNoLineFeed", {"nand-apps2"}, "apps2", 0, 0},
    {"EmptyNameFileIsNoMatch", {"", "apps1\n"}, "apps1", 0, 1},
    {"CaseMatters", {"ROOTFS2\n"}, "rootfs2", 22, -1},
    {"DeviceAfterGapUnseen", {"a\n", "b\n", "c\n", "d\n", "e\n", GAP, "apps2\n"}, "apps2", 22, -1},
    {"NoMtdDevices", {}, "rootfs1", 22, -1},
};

INSTANTIATE_TEST_SUITE_P(Rows, FindMtdPartition, testing::ValuesIn(LOOKUP_CASES), case_name());

constexpr const char* PREPARE_COMMANDS[] = {
    "ubidetach /dev/ubi_ctrl -m 7\n",
    "flash_eraseall -q /dev/mtd7\n",
    "ubiattach /dev/ubi_ctrl -m 7 -d 17\n",
    "ubimkvol /dev/ubi17 -N rootfs2 -m\n",
};

struct prepare_case {
    const char* name;
    const char* failing_utility;
    int exit_status;
    int expected_result;
    std::size_t commands_run;
};

class PrepareUbiVolume : public testing::TestWithParam<prepare_case> {};

TEST_P(PrepareUbiVolume, StopsAtFirstFailureButDetach)
{
    const prepare_case& c = GetParam();
    fake_utilities utilities;
    utilities.fail(c.failing_utility, c.exit_status);

    captured_output output;
    int result = capture_output(&output, [] { return prepare_ubi_volume(7, "rootfs2"); });

    EXPECT_EQ(c.expected_result, result);
    std::string expected_log;
    for (std::size_t i = 0; i < c.commands_run; ++i) {
        expected_log += PREPARE_COMMANDS[i];
    }
    EXPECT_EQ(expected_log, utilities.log());
}

const prepare_case PREPARE_CASES[] = {
    {"AllSucceed", "none", 0, 0, 4},
    {"DetachFailureIgnored", "ubidetach", 1, 0, 4},
    {"EraseFails", "flash_eraseall", 1, 256, 2},
    {"AttachFails", "ubiattach", 2, 512, 3},
    {"MakeVolumeFails", "ubimkvol", 1, 256, 4},
};

INSTANTIATE_TEST_SUITE_P(Rows, PrepareUbiVolume, testing::ValuesIn(PREPARE_CASES), case_name());

// Detach is silent on standard error; attach and volume creation are silent
// on standard output; erase speaks on both.
TEST(PrepareUbiVolumeOutput, DiscardsWhatTheCommandLinesDiscard)
{
    fake_utilities utilities;
    captured_output output;
    ASSERT_EQ(0, capture_output(&output, [] { return prepare_ubi_volume(7, "rootfs2"); }));
    EXPECT_EQ("ubidetach out\nflash_eraseall out\n", output.out);
    EXPECT_EQ("flash_eraseall err\nubiattach err\nubimkvol err\n", output.err);
}

} // namespace
