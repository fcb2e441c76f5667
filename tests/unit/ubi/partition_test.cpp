// SPDX-License-Identifier: MIT
#include "ubi/partition.h"

#include "tests/support/capture.h"
#include "tests/support/case_name.h"
#include "tests/support/temp_dir.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <sys/stat.h>
#include <vector>

namespace {

struct lookup_case {
    const char* name;
    std::vector<const char*> device_names; // by MTD number; null for a gap
    const char* partition;
    int expected_result;
    int expected_number;     // -1: not found
    std::size_t padding = 0; // slashes after the class folder's name
};

class FindMtdPartition : public testing::TestWithParam<lookup_case> {};

TEST_P(FindMtdPartition, ScansNamesInOrder)
{
    const lookup_case& c = GetParam();
    temp_dir sysfs;
    for (std::size_t number = 0; number < c.device_names.size(); ++number) {
        std::string device = "mtd/mtd" + std::to_string(number);
        if (c.device_names[number] != nullptr) {
            std::filesystem::create_directories(sysfs.path(device));
            sysfs.write(device + "/name", c.device_names[number]);
        }
    }
    int number = -1;
    captured_output output;
    int result = capture_output(&output, [&] {
        return find_mtd_partition_in((sysfs.path("mtd") + std::string(c.padding, '/')).c_str(),
                                     c.partition, &number);
    });
    EXPECT_EQ(c.expected_result, result);
    EXPECT_EQ(c.expected_number, number);
    EXPECT_EQ(result == EINVAL ? "ERROR: No useable MTD partition found\n" : "", output.out);
}

const lookup_case LOOKUP_CASES[] = {
    {"LowestContainingNameWins", {"u-boot\n", "env\n", "rootfs12\n", "rootfs1\n"}, "rootfs1", 0, 2},
    {"ContainedAnywhereNoLineFeed", {"nand-apps2"}, "apps2", 0, 0},
    {"EmptyNameFileIsNoMatch", {"", "apps1\n"}, "apps1", 0, 1},
    {"CaseMatters", {"ROOTFS2\n"}, "rootfs2", EINVAL, -1},
    {"DeviceAfterGapUnseen", {"apps1\n", nullptr, "apps2\n"}, "apps2", EINVAL, -1},
    {"NoMtdDevices", {}, "rootfs1", EINVAL, -1},
    {"PathTooLong", {"rootfs1\n"}, "rootfs1", ENAMETOOLONG, -1, PATH_MAX},
};

INSTANTIATE_TEST_SUITE_P(Rows, FindMtdPartition, testing::ValuesIn(LOOKUP_CASES), case_name());

struct prepare_case {
    const char* name;
    const char* failing_utility;
    int exit_status;
    int expected_result;
    int commands_run;
    std::string partition = "rootfs2";
};

class PrepareUbiVolume : public testing::TestWithParam<prepare_case> {};

// A stand-in for each utility, first on PATH, logs its command line, prints
// one line on each stream (to show which ones a command line discards) and
// exits with the row's status when it is the failing one.
TEST_P(PrepareUbiVolume, RunsTheCommandLinesInTurn)
{
    const prepare_case& c = GetParam();
    temp_dir fakes;
    for (std::string name : {"ubidetach", "flash_eraseall", "ubiattach", "ubimkvol"}) {
        int status = name == c.failing_utility ? c.exit_status : 0;
        std::string script = "#!/bin/sh\necho \"" + name + " $*\" >> " + fakes.path("log") +
                             "\necho " + name + " out\necho " + name + " err >&2\nexit " +
                             std::to_string(status) + "\n";
        ASSERT_EQ(0, chmod(fakes.write(name, script).c_str(), 0755));
    }
    std::string path = getenv("PATH");
    setenv("PATH", (fakes.root + ":" + path).c_str(), 1);
    captured_output output;
    int result =
        capture_output(&output, [&] { return prepare_ubi_volume(7, c.partition.c_str()); });
    setenv("PATH", path.c_str(), 1);

    EXPECT_EQ(c.expected_result, result);
    const std::string commands[] = {
        "ubidetach /dev/ubi_ctrl -m 7\n", "flash_eraseall -q /dev/mtd7\n",
        "ubiattach /dev/ubi_ctrl -m 7 -d 17\n", "ubimkvol /dev/ubi17 -N rootfs2 -m\n"};
    std::string expected_log;
    for (int i = 0; i < c.commands_run; ++i) {
        expected_log += commands[i];
    }
    std::ostringstream log;
    log << std::ifstream(fakes.path("log")).rdbuf();
    EXPECT_EQ(expected_log, log.str());
    if (c.expected_result == 0) { // detach is quiet on stderr, attach and mkvol on stdout
        EXPECT_EQ("ubidetach out\nflash_eraseall out\n", output.out);
        EXPECT_EQ("flash_eraseall err\nubiattach err\nubimkvol err\n", output.err);
    }
}

const prepare_case PREPARE_CASES[] = {
    {"AllSucceed", "none", 0, 0, 4},
    {"DetachFailureIgnored", "ubidetach", 1, 0, 4},
    {"EraseFails", "flash_eraseall", 1, 256, 2},
    {"AttachFails", "ubiattach", 2, 512, 3},
    {"MakeVolumeFails", "ubimkvol", 1, 256, 4},
    {"NameTooLong", "none", 0, ENAMETOOLONG, 0, std::string(256, 'r')},
};

INSTANTIATE_TEST_SUITE_P(Rows, PrepareUbiVolume, testing::ValuesIn(PREPARE_CASES), case_name());

} // namespace
