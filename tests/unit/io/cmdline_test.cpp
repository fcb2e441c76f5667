// SPDX-License-Identifier: MIT
#include "io/cmdline.h"

#include <gtest/gtest.h>

#include <string>

namespace {

struct search_case {
    std::string cmdline;
    const char* key;
    const char* expected;
};

TEST(CmdlineSearch, FindsTheFirstWordWithTheKey)
{
    const search_case cases[] = {
        {"console=ttyS0 brd_id_io=1 brd_id_core=5 baseline=2\n", "brd_id_core", "5"},
        {"console=ttyS0 baseline=2\n", "baseline", "2\n"}, // the last word keeps the line feed
        {"console=ttyS0 quiet\n", "baseline", ""},
        {"baseline=1 baseline=2", "baseline", "1"},
        {"xbrd_id_io=1 brd_id_io_x=1 brd_id_io", "brd_id_io", ""},
        {"baseline= brd_id_io=4", "baseline", ""},
        {"quiet  baseline=2", "baseline", "2"},
        {"a=1\tb=2 c=3", "a", "1\tb=2"}, // only the blank separates words
        {"", "baseline", ""},
        {std::string(4095, 'x') + " baseline=2", "baseline", ""}, // past what the cache holds
        {std::string(4084, 'x') + " baseline=2", "baseline", "2"},
    };
    for (const search_case& c : cases) {
        char value[CMDLINE_SIZE];
        memset(value, 'z', sizeof value);
        cmdline_find_param(c.cmdline.c_str(), c.key, value);
        EXPECT_STREQ(c.expected, value) << c.cmdline.substr(0, 60);
    }
}

TEST(BoardId, ComposesBothKeysWithoutMasking)
{
    EXPECT_EQ(0x105u, board_id_from_params("1", "5"));
    EXPECT_EQ(0x0u, board_id_from_params("", ""));
    EXPECT_EQ(0x12cu, board_id_from_params("1", "300"));
    EXPECT_EQ(0x205u, board_id_from_params("2\n", "5\n"));
    EXPECT_EQ(0xffffff00u, board_id_from_params("-1", "0"));
}

// The host's own kernel command line: readable, and without our keys.
TEST(GetCmdlineParam, ReadsProcCmdline)
{
    char value[CMDLINE_SIZE] = "stale";
    EXPECT_EQ(0, get_cmdline_param("no_such_key_for_firmpack_update", value));
    EXPECT_STREQ("", value);
}

} // namespace
