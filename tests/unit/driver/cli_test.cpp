// The built tool as a user meets it: start-up line, usage, exit status, and
// hostile input that must end in one clear line, quickly.
// SPDX-License-Identifier: MIT

#include "tests/support/fixture.h"
#include "tests/support/process.h"
#include "tests/support/temp_dir.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <libfdt.h>
#include <regex>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace {

// Wrong use: the Info line, then the usage with the program as invoked.
TEST(Cli, WrongUsePrintsUsage)
{
    process_result run = run_process({FPU_TOOL_PATH, "--help"});
    const std::string program = FPU_TOOL_PATH;
    EXPECT_EQ(22, run.exit_status);
    EXPECT_EQ(0u, run.out.rfind("## Info: Firmpacks must match board-id: 0x", 0));
    EXPECT_EQ("Usage: " + program + " <fp_os.img> <fp_app.img>\n       " + program + " --shm\n",
              run.out.substr(run.out.find('\n') + 1));
    EXPECT_EQ("", run.err);
}

// The status stream that the environment names is the tool's from its start:
// a run that ends before any phase has a start and a failed outcome.
TEST(Cli, StatusStreamFromTheStart)
{
    temp_dir dir;
    const int fd = open(dir.path("stream").c_str(), O_WRONLY | O_CREAT, 0600);
    setenv("FIRMPACK_UPDATE_STATUS_FD", std::to_string(fd).c_str(), 1);
    process_result run = run_process({FPU_TOOL_PATH, dir.path("os.img"), "app.img"});
    unsetenv("FIRMPACK_UPDATE_STATUS_FD");
    close(fd);
    EXPECT_EQ(2, run.exit_status);
    std::ifstream stream(dir.path("stream"));
    const std::string objects(std::istreambuf_iterator<char>(stream), {});
    EXPECT_TRUE(std::regex_match(
        objects, std::regex("\\{\"event\":\"start\",\"board\":\"0x[0-9a-f]+\",\"os\":\"" +
                            dir.path("os.img") +
                            "\",\"app\":\"app.img\"\\}\n"
                            "\\{\"event\":\"outcome\",\"outcome\":\"failed\",\"result\":2,"
                            "\"phase\":\"start\"\\}\n")))
        << objects;
}

// Every refusal is quick; an emulated tool is given more time.
int seconds_allowed()
{
    return getenv("FPU_TEST_EMULATOR") != nullptr ? 60 : 2;
}

std::string last_line(const std::string& out)
{
    std::size_t end = out.size() - (out.empty() || out.back() != '\n' ? 0 : 1);
    std::size_t start = out.rfind('\n', end - 1);
    return out.substr(start == std::string::npos ? 0 : start + 1, end - start - 1);
}

TEST(Cli, HostileFirmpacksEndInOneClearLine)
{
    const std::regex refusal("file .* is corrupt, stopping upgrade|"
                             "Invalid firmpack for this board \\(Board 0x[0-9a-f]+ not defined\\)");
    for (const auto& entry : std::filesystem::directory_iterator(FPU_FIRMPACK_CORPUS)) {
        const std::string file = entry.path().string();
        process_result run = run_process({FPU_TOOL_PATH, file, file}, seconds_allowed());
        EXPECT_FALSE(run.timed_out) << file;
        EXPECT_EQ(22, run.exit_status) << file;
        EXPECT_EQ("", run.err) << file;
        EXPECT_TRUE(std::regex_match(last_line(run.out), refusal)) << file << ": " << run.out;
    }
    temp_dir dir;
    ASSERT_EQ(0, mkfifo(dir.path("fifo.img").c_str(), 0600));
    process_result run =
        run_process({FPU_TOOL_PATH, dir.path("fifo.img"), dir.path("fifo.img")}, seconds_allowed());
    EXPECT_EQ(22, run.exit_status);
    EXPECT_EQ("Bad size: \"" + dir.path("fifo.img") + "\" is not valid image\n", run.err);
}

// A firmpack whose one image is size zero bytes with a crc32 record, written
// around a hole: it takes no room, and hashing it still reads every byte.
std::string write_sparse_firmpack(const temp_dir& dir, uint32_t size)
{
    const uint32_t room = size + 4096;
    auto* tree = static_cast<uint8_t*>(calloc(room, 1)); // pages stay untouched
    void* data = nullptr;
    const uint32_t crc = 0;
    int failed = fdt_create(tree, room) | fdt_finish_reservemap(tree) | fdt_begin_node(tree, "") |
                 fdt_property_string(tree, "description", "big") |
                 fdt_property_u32(tree, "timestamp", 0) | fdt_begin_node(tree, "images") |
                 fdt_begin_node(tree, "big") | fdt_property_placeholder(tree, "data", size, &data) |
                 fdt_begin_node(tree, "hash-1") | fdt_property_string(tree, "algo", "crc32") |
                 fdt_property(tree, "value", &crc, sizeof crc) | fdt_end_node(tree) |
                 fdt_end_node(tree) | fdt_end_node(tree) | fdt_end_node(tree) | fdt_finish(tree);
    EXPECT_EQ(0, failed);
    const auto hole = static_cast<uint32_t>(static_cast<uint8_t*>(data) - tree);
    const std::string path = dir.path("big.img");
    int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    EXPECT_EQ(hole, static_cast<uint32_t>(write(fd, tree, hole)));
    const uint32_t rest = fdt_totalsize(tree) - hole - size;
    EXPECT_EQ(rest, static_cast<uint32_t>(pwrite(fd, tree + hole + size, rest, hole + size)));
    close(fd);
    free(tree);
    return path;
}

// Truncated while its hashes are computed: one line and exit status 5, no bus error.
TEST(Cli, FirmpackCutWhileHashedEndsInOneLine)
{
    if (getenv("FPU_TEST_EMULATOR") != nullptr) {
        GTEST_SKIP() << "user-mode QEMU ends a program on a bus error before its handler runs";
    }
    temp_dir dir;
    const std::string big = write_sparse_firmpack(dir, 64 << 20);
    child_process tool = start_process({FPU_TOOL_PATH, big, fixture_path("os_good.fit")});
    const auto give_up = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    std::string out;
    while (out.find("## Checking hash(es)") == std::string::npos &&
           std::chrono::steady_clock::now() < give_up) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        std::ifstream file(tool.out_path);
        out.assign(std::istreambuf_iterator<char>(file), {});
    }
    ASSERT_EQ(0, truncate(big.c_str(), 4096));
    process_result run = finish_process(tool);
    EXPECT_EQ(5, run.exit_status) << run.out;
    EXPECT_EQ("ERROR: " + big + " changed or failed while it was read, stopping upgrade\n",
              run.err);
}

} // namespace
