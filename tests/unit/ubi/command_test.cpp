// SPDX-License-Identifier: MIT
#include "ubi/command.h"

#include "tests/support/capture.h"
#include "tests/support/case_name.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <string>
#include <sys/resource.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr int NO_DATA = -1;          // a null data pointer
constexpr int BEYOND_PIPE = 1 << 20; // more than a pipe buffer holds

struct command_case {
    const char* name;
    const char* command;
    int input_size; // NO_DATA, or the number of bytes fed
    int expected_result;
    const char* expected_out; // after the line printed before the command
};

class PipeToCommand : public testing::TestWithParam<command_case> {};

// Each row prints a line of its own first, which must stay in front of the
// command's output.
TEST_P(PipeToCommand, ReturnsStatusOrWriteError)
{
    const command_case& c = GetParam();
    signal(SIGPIPE, SIG_IGN); // as main sets it for the whole process
    std::vector<uint8_t> input(BEYOND_PIPE, 'x');
    captured_output output;
    int result = capture_output(&output, [&] {
        printf("tool\n");
        return c.input_size == NO_DATA ? pipe_to_command(c.command, nullptr, 7)
                                       : pipe_to_command(c.command, input.data(), c.input_size);
    });
    EXPECT_EQ(c.expected_result, result);
    EXPECT_EQ(std::string("tool\n") + c.expected_out, output.out);
}

const command_case COMMAND_CASES[] = {
    {"ExitStatusOne", "exit 1", NO_DATA, 256, ""},
    {"KilledBySignal", "kill -TERM $$", NO_DATA, SIGTERM, ""},
    {"AllBytesArrive", "wc -c", BEYOND_PIPE, 0, "1048576\n"},
    {"NullDataIsEndOfInput", "wc -c", NO_DATA, 0, "0\n"},
    {"ZeroLengthIsEndOfInput", "wc -c", 0, 0, "0\n"},
    {"OneByteArrives", "wc -c", 1, 0, "1\n"},
    {"ReadsOnlyPart", "head -c 10", BEYOND_PIPE, EPIPE, "xxxxxxxxxx"},
};

INSTANTIATE_TEST_SUITE_P(Rows, PipeToCommand, testing::ValuesIn(COMMAND_CASES), case_name());

// popen cannot make its pipe when no descriptor is left under the limit.
TEST(PipeToCommandStart, CommandThatCannotStartGivesNine)
{
    int lowest_free = dup(0);
    close(lowest_free);
    rlimit saved;
    getrlimit(RLIMIT_NOFILE, &saved);
    rlimit lowered = {static_cast<rlim_t>(lowest_free), saved.rlim_max};
    ASSERT_EQ(0, setrlimit(RLIMIT_NOFILE, &lowered));
    int result = pipe_to_command("exit 0", nullptr, 0);
    setrlimit(RLIMIT_NOFILE, &saved);
    EXPECT_EQ(9, result);
}

} // namespace
