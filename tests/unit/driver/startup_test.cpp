// SPDX-License-Identifier: MIT
#include "driver/startup.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

TEST(Dispatch, ChoosesSourceFromArguments)
{
    const std::pair<std::vector<const char*>, firmpack_source> cases[] = {
        {{"fu"}, SOURCE_USAGE},
        {{"fu", "--shm"}, SOURCE_SHM},
        {{"fu", "os.img"}, SOURCE_USAGE},
        {{"fu", "--shm", "app.img"}, SOURCE_FILES},
        {{"fu", "a", "b", "c"}, SOURCE_USAGE},
    };
    for (const auto& [argv, expected] : cases) {
        EXPECT_EQ(expected, select_source(static_cast<int>(argv.size()), argv.data()))
            << argv.size() << " words";
    }
}

TEST(ExitStatus, NoFailureExitsZero)
{
    const std::pair<int, int> cases[] = {
        {0, 0}, {22, 22}, {-1, 255}, {256, 1}, {512, 2}, {0x10000, 1}, {0x1ff, 255},
    };
    for (auto [result, status] : cases) {
        EXPECT_EQ(status, exit_status_of(result)) << "result " << result;
    }
}

} // namespace
