// SPDX-License-Identifier: MIT
#include "tests/support/capture.h"

#include <unistd.h>

namespace {

constexpr int STREAMS[2] = {STDOUT_FILENO, STDERR_FILENO};

} // namespace

void capture_begin(capture_state* state)
{
    fflush(stdout);
    fflush(stderr);
    for (int i = 0; i < 2; ++i) {
        state->files[i] = tmpfile();
        state->saved[i] = dup(STREAMS[i]);
        dup2(fileno(state->files[i]), STREAMS[i]);
    }
}

captured_output capture_end(capture_state* state)
{
    fflush(stdout);
    fflush(stderr);
    std::string text[2];
    for (int i = 0; i < 2; ++i) {
        dup2(state->saved[i], STREAMS[i]);
        close(state->saved[i]);
        rewind(state->files[i]);
        for (int c; (c = fgetc(state->files[i])) != EOF;) {
            text[i] += static_cast<char>(c);
        }
        fclose(state->files[i]);
    }
    return {text[0], text[1]};
}
