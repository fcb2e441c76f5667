// Captures what code under test writes to standard output and standard error.
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdio>
#include <string>

struct captured_output {
    std::string out;
    std::string err;
};

// Standard output and standard error, each saved and sent to a file.
struct capture_state {
    int saved[2];
    FILE* files[2];
};

void capture_begin(capture_state* state);
captured_output capture_end(capture_state* state);

// Runs body with both streams redirected; returns its result and the output.
template <typename Body> auto capture_output(captured_output* output, Body body)
{
    capture_state state;
    capture_begin(&state);
    auto result = body();
    *output = capture_end(&state);
    return result;
}
