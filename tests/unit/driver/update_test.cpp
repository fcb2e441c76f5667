// The update sequence on the host: the sample pair against an in-memory
// dataflash, a kernel command line of the test's and no installed version
// files, so that every package counts as changed and the update stops where
// it needs the board's filesystems.
// SPDX-License-Identifier: MIT
#include "driver/update.h"

#include "tests/support/capture.h"
#include "tests/support/fixture.h"
#include "tests/support/memory_dataflash.h"
#include "tests/support/sample_pair.h"
#include "tests/support/test_cmdline.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <sys/stat.h>

namespace {

bool host_is_no_board()
{
    struct stat status;
    return stat("/version", &status) != 0 && stat("/mnt/apps/version", &status) != 0;
}

struct update_case {
    const char* os;
    const char* cmdline;
    dataflash_faults faults;
    int result;
    std::string tail; // what follows "## Both firmpacks match together"
};

const std::string NOT_INSTALLED = "   Package 'bootloader    ' not yet installed\n"
                                  "   Package 'rootfs@1      ' not yet installed (NO '/version' "
                                  "FILE!)\n   Package 'apps@1        ' not yet installed (NO "
                                  "'/version' FILE!)\n";
const std::string RULE = "   --------------------------------------\n";
const std::string STARTED = "## Checking versions:\n" + NOT_INSTALLED + RULE +
                            "   --------- Starting SW Update ---------\n" + RULE;

// The lines of an update from the running baseline into the other one, which
// stores the bootloader and fails at the first filesystem, for want of the
// board's flash.
std::string into(int running, int updating)
{
    return "   Current baseline:" + std::to_string(running) +
           ", Updating baseline:" + std::to_string(updating) +
           "\n## Preparing bootloader update...\n"
           "   Installing package 'bootloader    '... (bootloader 2026.10)\n"
           "## Preparing root and applications filesystems...\n"
           "   Preparing package  'rootfs@1      '... (filesystem R5.1)\n"
           "ERROR: No useable MTD partition found\n" +
           RULE + "   -------- SW Update FAILED !! ---------\n" + RULE;
}

TEST(RunUpdate, StopsWhereTheBoardIsNeeded)
{
    if (!host_is_no_board()) {
        GTEST_SKIP() << "this host has the version files of a board";
    }
    const update_case cases[] = {
        {"fp_os.img", "quiet", {}, 9, STARTED + "Unexpected baseline to boot from:-1\n"},
        {"fp_os.img", "quiet baseline=1", {}, 22, STARTED + into(1, 2)},
        {"fp_os.img", "baseline=2\n", {}, 22, STARTED + into(2, 1)},
        {"fp_os.img", "baseline=1", {.fail_read = 1}, -1, "## Checking versions:\n"},
        {"fp_os_legacy.img",
         "baseline=1",
         {},
         0,
         "## Legacy Firmpacks detected, preparing for downgrade...\n"},
    };
    const std::vector<uint8_t> app = load_file(sample_path("fp_app.img"));
    for (const update_case& c : cases) {
        const std::vector<uint8_t> os = load_file(sample_path(c.os));
        memory_dataflash& flash = test_dataflash() = {};
        std::fill_n(flash.bytes.begin() + LINUX_ADMIN_OFFSET, ADMIN_AREA_SIZE, 0);
        flash.faults = c.faults;
        std::string out;
        in_fresh_process([&] {
            set_test_cmdline(c.cmdline);
            captured_output output;
            EXPECT_EQ(c.result, capture_output(&output, [&] {
                          return run_update({os.data(), static_cast<uint32_t>(os.size()), "os"},
                                            {app.data(), static_cast<uint32_t>(app.size()), "app"},
                                            0x105);
                      }));
            out = without_transfer_failures(output.out);
            EXPECT_EQ(c.tail, out.substr(out.find("match together\n") + 15)) << c.os;
            // Only the legacy pair writes: both Linux slots erased.
            const bool erased =
                std::all_of(flash.bytes.begin() + LINUX_ADMIN_OFFSET,
                            flash.bytes.begin() + LINUX_ADMIN_OFFSET + ADMIN_AREA_SIZE,
                            [](uint8_t byte) { return byte == ERASED_BYTE; });
            EXPECT_EQ(c.result == 0, erased) << c.os;
        });
    }
}

} // namespace
