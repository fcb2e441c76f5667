// The status stream, each case in a process of its own (the stream is the
// process's): the objects in order, the outcome each end gives, and a
// descriptor that is not open or stops reading, which never stops the caller.
// SPDX-License-Identifier: MIT
#include "io/status.h"

#include "tests/support/process.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <thread>
#include <unistd.h>

namespace {

TEST(StatusStream, PhasesAndOutcomes)
{
    const std::string START =
        "{\"event\":\"start\",\"board\":\"0x105\",\"os\":\"os\",\"app\":\"a\\\"p\"}\n";
    const std::string BEGIN = "{\"event\":\"phase\",\"phase\":\"write\",\"of\":\"rootfs2\","
                              "\"done\":0,\"total\":100,\"state\":\"begin\"}\n";
    const std::tuple<int, bool, const char*, std::string> cases[] = {
        // result, whether the write phase ends, the phase after it, the outcome's fields
        {0, true, nullptr, "\"outcome\":\"completed\",\"result\":0"},
        {0, true, PHASE_LEGACY, "\"outcome\":\"legacy prepared\",\"result\":0"},
        {-1, true, nullptr, "\"outcome\":\"nothing to update\",\"result\":-1"},
        {-1, false, nullptr, "\"outcome\":\"failed\",\"result\":-1,\"phase\":\"write\""},
    };
    for (const auto& [result, ends, next, outcome] : cases) {
        std::string expected = START + BEGIN;
        const std::string lines = status_stream_of([&] {
            status_start(0x105, "os", "a\"p");
            status_begin(PHASE_WRITE, "rootfs2", 100);
            status_advance(40);
            // The second part comes late enough for a progress object.
            std::this_thread::sleep_for(std::chrono::milliseconds(260));
            status_advance(30);
            if (ends) {
                status_advance(30);
                status_end();
            }
            if (next != nullptr) {
                status_begin(next, nullptr, 0);
                status_end();
            }
            status_finish(result);
        });
        expected += "{\"event\":\"progress\",\"phase\":\"write\",\"of\":\"rootfs2\",\"done\":70,"
                    "\"total\":100}\n";
        if (ends) {
            expected += "{\"event\":\"phase\",\"phase\":\"write\",\"of\":\"rootfs2\",\"done\":100,"
                        "\"total\":100,\"state\":\"end\"}\n";
        }
        if (next != nullptr) {
            expected += "{\"event\":\"phase\",\"phase\":\"legacy\",\"state\":\"begin\"}\n"
                        "{\"event\":\"phase\",\"phase\":\"legacy\",\"state\":\"end\"}\n";
        }
        EXPECT_EQ(expected + "{\"event\":\"outcome\"," + outcome + "}\n", lines);
    }
}

// A descriptor that is not open, or a reader that stops reading (a full pipe),
// turns the stream off; the caller goes on.
TEST(StatusStream, DeadDescriptorsAreDropped)
{
    in_fresh_process([] {
        setenv(STATUS_FD_VARIABLE, "99", 1);
        status_open();
        EXPECT_FALSE(status_active());
    });
    int ends[2];
    ASSERT_EQ(0, pipe2(ends, O_NONBLOCK));
    in_fresh_process([&] {
        setenv(STATUS_FD_VARIABLE, std::to_string(ends[1]).c_str(), 1);
        status_open();
        for (int i = 0; i < 100000 && status_active(); ++i) {
            status_begin(PHASE_HASHES, "os", 0);
        }
        EXPECT_FALSE(status_active());
    });
    close(ends[0]);
    close(ends[1]);
}

} // namespace
