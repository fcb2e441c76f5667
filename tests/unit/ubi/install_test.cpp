#include "ubi/install.h"

#include "firmpack/fit.h"
#include "tests/support/capture.h"
#include "tests/support/case_name.h"
#include "tests/support/fixture.h"
#include "tests/unit/ubi/fake_utilities.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sched.h>
#include <string>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr const char* PACKAGES = "ubi_packages.fit";

struct refusal_case {
    const char* name;
    const char* package;
    int expected_result;
    const char* expected_out;
};

class StoreFsRefusal : public testing::TestWithParam<refusal_case> {};

// Refused packages end before the partition lookup: no "Preparing" line, no
// lookup message, no utility run.
TEST_P(StoreFsRefusal, RefusesBeforeTouchingFlash)
{
    const refusal_case& c = GetParam();
    std::vector<uint8_t> fit = load_fixture(PACKAGES);
    fake_utilities utilities;
    captured_output output;
    int result = capture_output(&output, [&] {
        return store_fs_in_flash(fit.data(), c.package, "rootfs2", "filesystem");
    });
    EXPECT_EQ(c.expected_result, result);
    EXPECT_EQ(c.expected_out, output.out);
    EXPECT_EQ("", utilities.log());
}

const refusal_case REFUSAL_CASES[] = {
    {"Missing", "no-such-package", 19, "Can't find 'no-such-package' FIT subimage\n"},
    {"NoData", "no-data", 22, "Could not find script subimage data\n"},
    {"NoDescription", "no-description", 22, "No Description for package no-description\n"},
    {"NoCompression", "no-compression", 22, "no-compression: Cannot detect compression type\n"},
    {"Bzip2", "bzip2-package", 22, "store_fs_in_flash: Unsupported compression type:2\n"},
    {"Lzma", "lzma-package", 22, "store_fs_in_flash: Unsupported compression type:3\n"},
    {"Lzo", "lzo-package", 22, "store_fs_in_flash: Unsupported compression type:4\n"},
    {"UnknownName", "zstd-package", 22, "store_fs_in_flash: Unsupported compression type:255\n"},
};

INSTANTIATE_TEST_SUITE_P(Rows, StoreFsRefusal, testing::ValuesIn(REFUSAL_CASES), case_name());

// A board seen through a private mount namespace: /sys/class holds MTD devices
// bootloader, rootfs1 and the partition (so MTD 2, UBI device 12).
struct board_run {
    int result = -1;
    pid_t pid = 0;       // the process that ran the installation
    bool skipped = true; // no private namespace could be made (not root)
};

constexpr int SETUP_FAILED = 99;

void make_fake_sysfs(const std::string& partition)
{
    const char* names[] = {"bootloader", "rootfs1", partition.c_str()};
    for (int number = 0; number < 3; ++number) {
        std::string device = "/sys/class/mtd/mtd" + std::to_string(number);
        std::filesystem::create_directories(device);
        std::ofstream(device + "/name") << names[number] << "\n";
    }
}

// Runs the installation in a child process, optionally after putting a
// directory where the temporary image file goes.
board_run store_on_board(const std::vector<uint8_t>& fit, const char* package,
                         const std::string& partition, bool stale_directory)
{
    int channel[2];
    board_run run;
    if (pipe(channel) != 0) {
        return run;
    }
    fflush(stdout);
    run.pid = fork();
    if (run.pid == 0) {
        if (unshare(CLONE_NEWNS) != 0 || mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
            mount("fake", "/sys/class", "tmpfs", 0, nullptr) != 0) {
            _exit(SETUP_FAILED);
        }
        make_fake_sysfs(partition);
        if (stale_directory) {
            std::filesystem::create_directories("/tmp/ubifs_" + std::to_string(getpid()) + ".img/x");
        }
        int result = store_fs_in_flash(fit.data(), package, partition.c_str(), "filesystem");
        fflush(stdout);
        _exit(write(channel[1], &result, sizeof result) == sizeof result ? 0 : SETUP_FAILED);
    }
    close(channel[1]);
    int status = 0;
    waitpid(run.pid, &status, 0);
    run.skipped = !WIFEXITED(status) || WEXITSTATUS(status) != 0 ||
                  read(channel[0], &run.result, sizeof run.result) != sizeof run.result;
    close(channel[0]);
    return run;
}

constexpr int MOUNT_FAILS = -1000; // the host has no UBI volume to mount

struct write_case {
    const char* name;
    const char* package;
    const char* failing_utility;
    bool stale_directory;
    int expected_result;
    const char* expected_update; // ubiupdatevol's command line, "" when never run
    const char* expected_stages;
    bool writes_image;          // the volume receives the plain package's image
    const char* expected_error; // a line on standard error
};

// TEMP in an expected text stands for the installing process's temporary image.
std::string with_temp_image(std::string text, const std::string& temp_image)
{
    if (std::size_t at = text.find("TEMP"); at != std::string::npos) {
        text.replace(at, 4, temp_image);
    }
    return text;
}

class StoreFsWrite : public testing::TestWithParam<write_case> {};

// Our own progress lines, by their verb, in order.
std::string stages_of(const std::string& out)
{
    std::string stages;
    for (const char* verb : {"Preparing", "Extracting", "Installing", "Verifying"}) {
        if (out.find(std::string("   ") + verb + " package") != std::string::npos) {
            stages += stages.empty() ? verb : std::string(" ") + verb;
        }
    }
    return stages;
}

TEST_P(StoreFsWrite, WritesThePackageIntoTheNewVolume)
{
    const write_case& c = GetParam();
    std::vector<uint8_t> fit = load_fixture(PACKAGES);
    fake_utilities utilities;
    utilities.fail(c.failing_utility, 1);
    std::string partition = "rootfs2-" + std::to_string(getpid());

    captured_output output;
    board_run run = capture_output(&output, [&] {
        return store_on_board(fit, c.package, partition, c.stale_directory);
    });
    std::string temp_image = "/tmp/ubifs_" + std::to_string(run.pid) + ".img";
    std::string update_log = with_temp_image(c.expected_update, temp_image);
    if (!update_log.empty()) {
        update_log += "\n";
    }
    std::string volume = utilities.volume();
    std::filesystem::remove_all(temp_image);
    std::filesystem::remove("/tmp/" + partition);
    if (run.skipped) {
        GTEST_SKIP() << "needs root for a private mount namespace";
    }

    EXPECT_EQ(stages_of(output.out), c.expected_stages);
    EXPECT_NE(std::string::npos, output.err.find(with_temp_image(c.expected_error, temp_image)));
    EXPECT_EQ("ubidetach /dev/ubi_ctrl -m 2\nflash_eraseall -q /dev/mtd2\n"
              "ubiattach /dev/ubi_ctrl -m 2 -d 12\nubimkvol /dev/ubi12 -N " + partition + " -m\n" +
              update_log, utilities.log());
    if (c.expected_result != MOUNT_FAILS) {
        EXPECT_EQ(c.expected_result, run.result);
        return;
    }
    EXPECT_NE(std::string::npos,
              output.out.find("ERROR: mounting failed! (" + std::string(strerror(run.result)) + ")\n"));
    int plain = firmpack_image_node(fit.data(), "rootfs-plain-package");
    const uint8_t* data = nullptr;
    uint32_t size = 0;
    ASSERT_EQ(0, firmpack_get_data(fit.data(), plain, &data, &size));
    const std::string image(reinterpret_cast<const char*>(data), size);
    EXPECT_EQ(c.writes_image ? image : "", volume);
}

const write_case WRITE_CASES[] = {
    {"Plain", "rootfs-plain-package", "none", false, MOUNT_FAILS,
     "ubiupdatevol /dev/ubi12_0 -s 100000 -", "Preparing Installing Verifying", true, ""},
    {"Gzip", "rootfs-gzip-package", "none", false, MOUNT_FAILS, "ubiupdatevol /dev/ubi12_0 TEMP",
     "Preparing Extracting Installing Verifying", true, ""},
    {"GzipOverStaleFile", "rootfs-gzip-package", "none", true, EISDIR, "", "Preparing Extracting",
     false, "ERROR: Failed to remove tempfile at 'TEMP' (Is a directory)\n"},
    {"CorruptGzip", "corrupt-gzip", "none", false, 256, "", "Preparing Extracting", false,
     "invalid compressed data"},
    {"EmptyPlain", "empty-plain", "none", false, MOUNT_FAILS, "ubiupdatevol /dev/ubi12_0 -s 0 -",
     "Preparing Installing Verifying", false, ""},
    {"UpdateFails", "rootfs-plain-package", "ubiupdatevol", false, 256,
     "ubiupdatevol /dev/ubi12_0 -s 100000 -", "Preparing Installing", true, "ubiupdatevol err\n"},
};

INSTANTIATE_TEST_SUITE_P(Rows, StoreFsWrite, testing::ValuesIn(WRITE_CASES), case_name());

} // namespace
