#include "ubi/command.h"

#include "tests/support/capture.h"
#include "tests/support/case_name.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <sys/resource.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr int NO_DATA = -1;          // a null data pointer
constexpr int BEYOND_PIPE = 1 << 20; // more than any pipe buffer holds

struct command_case {
    const char* name;
    const char* command;
    int input_size; // NO_DATA, or the number of bytes fed
    int expected_result;
    const char* expected_out;
};

class PipeToCommand : public testing::TestWithParam<command_case> {};

TEST_P(PipeToCommand, ReturnsStatusOrWriteError)
{
    const command_case& c = GetParam();
    // The default action would end the test process on a broken pipe.
    signal(SIGPIPE, SIG_DFL);
    std::vector<uint8_t> input(c.input_size > 0 ? c.input_size : 1, 'x');
    const uint8_t* data = c.input_size == NO_DATA ? nullptr : input.data();
    uint32_t length = c.input_size == NO_DATA ? 7 : static_cast<uint32_t>(c.input_size);

    captured_output output;
    int result = capture_output(&output, [&] { return pipe_to_command(c.command, data, length); });

    EXPECT_EQ(c.expected_result, result);
    EXPECT_EQ(c.expected_out, output.out);
    sigset_t pending;
    sigpending(&pending);
    EXPECT_EQ(0, sigismember(&pending, SIGPIPE)) << "no broken-pipe signal left behind";
    sigset_t mask;
    pthread_sigmask(SIG_SETMASK, nullptr, &mask);
    EXPECT_EQ(0, sigismember(&mask, SIGPIPE)) << "the signal mask is restored";
}

const command_case COMMAND_CASES[] = {
    {"ExitStatusOne", "exit 1", NO_DATA, 256, ""},
    {"ExitStatusAfterReadingAll", "cat > /dev/null; exit 3", BEYOND_PIPE, 3 << 8, ""},
    {"KilledBySignal", "kill -TERM $$", NO_DATA, SIGTERM, ""},
    {"AllBytesArrive", "wc -c", BEYOND_PIPE, 0, "1048576\n"},
    {"NullDataIsEndOfInput", "wc -c", NO_DATA, 0, "0\n"},
    {"ZeroLengthIsEndOfInput", "wc -c", 0, 0, "0\n"},
    {"StopsReadingThenSucceeds", "exit 0", BEYOND_PIPE, EPIPE, ""},
    {"StopsReadingThenFails", "exit 3", BEYOND_PIPE, EPIPE, ""},
    {"ReadsOnlyPart", "head -c 10", BEYOND_PIPE, EPIPE, "xxxxxxxxxx"},
};

INSTANTIATE_TEST_SUITE_P(Rows, PipeToCommand, testing::ValuesIn(COMMAND_CASES), case_name());

TEST(PipeToCommandOutput, ToolLinesKeepTheirPlaceAmongTheCommands)
{
    captured_output output;
    capture_output(&output, [] {
        printf("before\n");
        int result = pipe_to_command("echo during; echo on-stderr >&2", nullptr, 0);
        printf("after %d\n", result);
        return 0;
    });
    EXPECT_EQ("before\nduring\nafter 0\n", output.out);
    EXPECT_EQ("on-stderr\n", output.err);
}

// popen fails when it cannot make the pipe: with no descriptor left under the
// limit, the command is never started.
TEST(PipeToCommandStart, NoDescriptorLeftGivesNine)
{
    int lowest_free = dup(0);
    ASSERT_GE(lowest_free, 0);
    close(lowest_free);
    rlimit saved;
    ASSERT_EQ(0, getrlimit(RLIMIT_NOFILE, &saved));
    rlimit lowered = saved;
    lowered.rlim_cur = static_cast<rlim_t>(lowest_free);
    ASSERT_EQ(0, setrlimit(RLIMIT_NOFILE, &lowered));
    int result = pipe_to_command("exit 0", nullptr, 0);
    ASSERT_EQ(0, setrlimit(RLIMIT_NOFILE, &saved));
    EXPECT_EQ(9, result);
}

} // namespace
