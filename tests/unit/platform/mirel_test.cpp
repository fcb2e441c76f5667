// The shared-memory firmpack source through the development stand-in of the
// platform library, and the stand-in's own promises.

#include "driver/sources.h"
#include "platform/mirel/mirel.h"

#include "tests/support/capture.h"
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
    const char header[] = {'\xd0', '\x0d', '\xfe', '\xed',
                           static_cast<char>(claimed_size >> 24),
                           static_cast<char>(claimed_size >> 16),
                           static_cast<char>(claimed_size >> 8),
                           static_cast<char>(claimed_size)};
    bytes.replace(0, sizeof header, header, sizeof header);
    return bytes;
}

void publish(const char* name, const std::string& bytes)
{
    int fd = shm_open(name, O_CREAT | O_TRUNC | O_RDWR, 0600);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(static_cast<ssize_t>(bytes.size()), write(fd, bytes.data(), bytes.size()));
    close(fd);
}

class MirelShm : public testing::Test {
protected:
    void SetUp() override { TearDown(); }
    void TearDown() override
    {
        shm_unlink(OS_NAME);
        shm_unlink(APP_NAME);
    }
};

TEST_F(MirelShm, HandsOutTheWholeFirmpack)
{
    std::string bytes = tree_bytes(64, 64);
    bytes[63] = 'z';
    publish(OS_NAME, bytes);
    void* start = nullptr;
    ASSERT_EQ(0, mirel_sw_update_open_shm(MIREL_FIRMPACK_OS, &start));
    EXPECT_EQ(0, memcmp(start, bytes.data(), bytes.size()));
}

TEST_F(MirelShm, RegionIsReadOnly)
{
    publish(APP_NAME, tree_bytes(64, 64));
    void* start = nullptr;
    ASSERT_EQ(0, mirel_sw_update_open_shm(MIREL_FIRMPACK_APP, &start));
    EXPECT_DEATH(static_cast<volatile char*>(start)[0] = 0, "");
}

TEST_F(MirelShm, RefusesRegions)
{
    struct refusal {
        const char* name;
        std::string bytes; // empty: nothing published
        int expected;
    };
    const refusal cases[] = {
        {"absent", "", ENOENT},
        {"shorter_than_its_header", tree_bytes(65, 64), EINVAL},
        {"header_cut", tree_bytes(8, 8).substr(0, 6), EINVAL},
    };
    for (const refusal& c : cases) {
        shm_unlink(OS_NAME);
        if (!c.bytes.empty()) {
            publish(OS_NAME, c.bytes);
        }
        void* start = nullptr;
        EXPECT_EQ(c.expected, mirel_sw_update_open_shm(MIREL_FIRMPACK_OS, &start)) << c.name;
    }
    void* start = nullptr;
    EXPECT_EQ(EINVAL, mirel_sw_update_open_shm(2, &start));
}

// The library's refusal of the APP firmpack is the result, with no message of our own.
TEST_F(MirelShm, SourcePassesTheLibraryResultOn)
{
    publish(OS_NAME, tree_bytes(64, 64));
    captured_output output;
    int result = capture_output(&output, [] { return update_from_shm(0x105); });
    EXPECT_EQ(ENOENT, result);
    EXPECT_EQ("", output.out);
    EXPECT_EQ("", output.err);

    publish(APP_NAME, tree_bytes(65, 64));
    result = capture_output(&output, [] { return update_from_shm(0x105); });
    EXPECT_EQ(EINVAL, result);
    EXPECT_EQ("", output.out);
}

TEST_F(MirelShm, ToolExitsWithTheLibraryResult)
{
    publish(OS_NAME, tree_bytes(64, 64));
    process_result run = run_process({FPU_TOOL_PATH, "--shm"});
    EXPECT_EQ(ENOENT, run.exit_status);
    EXPECT_EQ(std::string::npos, run.out.find('\n', run.out.find('\n') + 1)) << run.out;
    EXPECT_EQ("", run.err);
}

} // namespace
