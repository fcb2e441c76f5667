#include "driver/cmdline.h"

#include "tests/support/case_name.h"

#include <gtest/gtest.h>

#include <string>

namespace {

struct search_case {
    const char* name;
    std::string cmdline;
    const char* key;
    const char* expected;
};

const search_case SEARCH_CASES[] = {
    {"board_keys", "console=ttyS0 brd_id_io=1 brd_id_core=5 baseline=2\n", "brd_id_core", "5"},
    {"last_word_keeps_newline", "console=ttyS0 brd_id_io=1 baseline=2\n", "baseline", "2\n"},
    {"absent_key", "console=ttyS0 quiet\n", "baseline", ""},
    {"first_occurrence_wins", "baseline=1 baseline=2", "baseline", "1"},
    {"prefix_of_word_is_no_match", "xbrd_id_io=1 brd_id_io_x=1 brd_id_io", "brd_id_io", ""},
    {"case_sensitive", "Baseline=1", "baseline", ""},
    {"empty_value", "baseline= brd_id_io=4", "baseline", ""},
    {"value_keeps_later_equals", "root=LABEL=rootfs ro", "root", "LABEL=rootfs"},
    {"double_blank_gives_empty_word", "quiet  baseline=2", "baseline", "2"},
    {"leading_blank", " baseline=2", "baseline", "2"},
    {"tab_belongs_to_the_word", "quiet\tbaseline=2", "baseline", ""},
    {"value_runs_to_next_blank_only", "a=1\tb=2 c=3", "a", "1\tb=2"},
    {"empty_line", "", "baseline", ""},
    {"only_first_4095_bytes_searched", std::string(4095, 'x') + " baseline=2", "baseline", ""},
    {"key_ending_at_byte_4095", std::string(4084, 'x') + " baseline=2", "baseline", "2"},
};

class CmdlineSearch : public testing::TestWithParam<search_case> {};

TEST_P(CmdlineSearch, FindsValue)
{
    const search_case& c = GetParam();
    char value[CMDLINE_SIZE];
    memset(value, 'z', sizeof value);
    cmdline_find_param(c.cmdline.c_str(), c.key, value);
    EXPECT_STREQ(c.expected, value);
}

INSTANTIATE_TEST_SUITE_P(Words, CmdlineSearch, testing::ValuesIn(SEARCH_CASES), case_name());

TEST(CmdlineSearch, LeavesTheTextUnchanged)
{
    char cmdline[] = "brd_id_io=1 brd_id_core=5";
    char value[CMDLINE_SIZE];
    cmdline_find_param(cmdline, "brd_id_core", value);
    EXPECT_STREQ("brd_id_io=1 brd_id_core=5", cmdline);
}

// The host's own kernel command line: readable, and without our keys.
TEST(GetCmdlineParam, ReadsProcCmdline)
{
    char value[CMDLINE_SIZE] = "stale";
    EXPECT_EQ(0, get_cmdline_param("no_such_key_for_firmpack_update", value));
    EXPECT_STREQ("", value);
}

} // namespace
