// The development stand-in of the platform library, and the tool's --shm
// source through it.
// SPDX-License-Identifier: MIT

#include "platform/mirel/mirel.h"

#include "tests/support/process.h"

#include <gtest/gtest.h>

#include <cstring>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace {

const char* const OS_NAME = "/fp_os.img";
const char* const APP_NAME = "/fp_app.img";

// Header of an empty device tree whose total size is claimed_size.
std::string tree_bytes(uint32_t claimed_size, std::size_t actual_size)
{
    std::string bytes(actual_size, '\0');
    const char header[] = {'\xd0',
                           '\x0d',
                           '\xfe',
                           '\xed',
                           static_cast<char>(claimed_size >> 24),
                           static_cast<char>(claimed_size >> 16),
                           static_cast<char>(claimed_size >> 8),
                           static_cast<char>(claimed_size)};
    bytes.replace(0, sizeof header, header, sizeof header);
    return bytes;
}

void publish(const char* name, const std::string& bytes)
{
    shm_unlink(name);
    int fd = shm_open(name, O_CREAT | O_TRUNC | O_RDWR, 0600);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(static_cast<ssize_t>(bytes.size()), write(fd, bytes.data(), bytes.size()));
    close(fd);
}

TEST(MirelShm, HandsOutTheWholeFirmpackReadOnly)
{
    std::string bytes = tree_bytes(64, 64);
    bytes[63] = 'z';
    publish(APP_NAME, bytes);
    void* start = nullptr;
    ASSERT_EQ(0, mirel_sw_update_open_shm(MIREL_FIRMPACK_APP, &start));
    EXPECT_EQ(0, memcmp(start, bytes.data(), bytes.size()));
    EXPECT_DEATH(static_cast<volatile char*>(start)[0] = 0, "");
    EXPECT_EQ(EINVAL, mirel_sw_update_open_shm(2, &start));
}

// A refused region ends the tool with the library's result and no message.
TEST(MirelShm, ToolExitsWithTheLibraryResult)
{
    const std::pair<std::string, int> cases[] = {
        {"", ENOENT},                            // nothing published
        {tree_bytes(65, 64), EINVAL},            // shorter than its header says
        {tree_bytes(8, 8).substr(0, 6), EINVAL}, // shorter than a header
    };
    for (const auto& [bytes, status] : cases) {
        shm_unlink(OS_NAME);
        if (!bytes.empty()) {
            publish(OS_NAME, bytes);
        }
        process_result run = run_process({FPU_TOOL_PATH, "--shm"});
        EXPECT_EQ(status, run.exit_status);
        EXPECT_EQ(std::string::npos, run.out.find('\n', run.out.find('\n') + 1)) << run.out;
        EXPECT_EQ("", run.err);
    }
    shm_unlink(OS_NAME);
    shm_unlink(APP_NAME);
}

} // namespace
