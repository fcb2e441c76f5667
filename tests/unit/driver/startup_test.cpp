#include "driver/startup.h"

#include "tests/support/capture.h"

#include <gtest/gtest.h>

namespace {

struct board_id_case {
    const char* io;
    const char* core;
    uint32_t expected;
};

TEST(BoardId, ComposesBothKeysWithoutMasking)
{
    const board_id_case cases[] = {
        {"1", "5", 0x105},       {"", "", 0x0},           {"", "7", 0x7},
        {"7", "", 0x700},        {"1", "300", 0x12c},     {"0x10", "", 0x0},
        {"12abc", "", 0xc00},    {"2\n", "5\n", 0x205},   {"-1", "0", 0xffffff00},
        {"1", "-1", 0xffffffff}, {"16777216", "", 0x0},  {"+3", " 4", 0x304},
    };
    for (const board_id_case& c : cases) {
        EXPECT_EQ(c.expected, board_id_from_params(c.io, c.core))
            << "brd_id_io=" << c.io << " brd_id_core=" << c.core;
    }
}

struct dispatch_case {
    std::vector<const char*> argv;
    firmpack_source expected;
};

TEST(Dispatch, ChoosesSourceFromArguments)
{
    const dispatch_case cases[] = {
        {{"fu"}, SOURCE_USAGE},
        {{"fu", "--shm"}, SOURCE_SHM},
        {{"fu", "--SHM"}, SOURCE_USAGE},
        {{"fu", "os.img"}, SOURCE_USAGE},
        {{"fu", "--shm", "app.img"}, SOURCE_FILES},
        {{"fu", "os.img", "--shm"}, SOURCE_FILES},
        {{"fu", "os.img", "app.img"}, SOURCE_FILES},
        {{"fu", "a", "b", "c"}, SOURCE_USAGE},
    };
    for (const dispatch_case& c : cases) {
        EXPECT_EQ(c.expected, select_source(static_cast<int>(c.argv.size()), c.argv.data()))
            << "with " << c.argv.size() << " words";
    }
}

TEST(Dispatch, UsageNamesTheProgramAsInvoked)
{
    captured_output output;
    capture_output(&output, [] {
        print_usage("./bin/fu");
        return 0;
    });
    EXPECT_EQ("Usage: ./bin/fu <fp_os.img> <fp_app.img>\n"
              "       ./bin/fu --shm\n",
              output.out);
    EXPECT_EQ("", output.err);
}

TEST(ExitStatus, NoFailureExitsZero)
{
    const std::pair<int, int> cases[] = {
        {0, 0},      {22, 22},  {-1, 255},     {255, 255},     {256, 1}, // utility exit 1
        {512, 2},    {0x10000, 1}, {-256, 255}, {0x1ff, 255}, {0x7f00, 127},
    };
    for (auto [result, status] : cases) {
        EXPECT_EQ(status, exit_status_of(result)) << "result " << result;
    }
}

} // namespace
