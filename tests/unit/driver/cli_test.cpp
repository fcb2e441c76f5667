// The built tool as a user meets it: start-up line, usage, exit status.

#include "tests/support/process.h"

#include <gtest/gtest.h>

#include <regex>

namespace {

const std::regex INFO_LINE("## Info: Firmpacks must match board-id: 0x[0-9a-f]+\n");

std::string usage(const std::string& program)
{
    return "Usage: " + program + " <fp_os.img> <fp_app.img>\n" + "       " + program + " --shm\n";
}

// Splits off the first line, which is always the Info line.
std::string after_info_line(const std::string& out)
{
    std::size_t end = out.find('\n');
    EXPECT_NE(std::string::npos, end);
    EXPECT_TRUE(std::regex_match(out.substr(0, end + 1), INFO_LINE)) << out;
    return out.substr(end + 1);
}

TEST(Cli, WrongArgumentCountsPrintUsage)
{
    const std::vector<std::vector<std::string>> calls = {
        {FPU_TOOL_PATH},
        {FPU_TOOL_PATH, "a", "b", "c"},
        {FPU_TOOL_PATH, "--help"},
    };
    for (const auto& argv : calls) {
        process_result run = run_process(argv);
        EXPECT_EQ(22, run.exit_status) << argv.size() << " words";
        EXPECT_EQ(usage(FPU_TOOL_PATH), after_info_line(run.out));
        EXPECT_EQ("", run.err);
    }
}

// "--shm" followed by another word is a pair of file names.
TEST(Cli, ShmWithAnotherWordIsTheFileSource)
{
    process_result run = run_process({FPU_TOOL_PATH, "--shm", "/nonexistent/app.img"});
    EXPECT_EQ(2, run.exit_status);
    EXPECT_EQ("", after_info_line(run.out));
    EXPECT_EQ("Failed to open --shm : No such file or directory\n", run.err);
}

} // namespace
