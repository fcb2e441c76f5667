// SPDX-License-Identifier: MIT
#include "tests/support/capture.h"

#include <cstdio>
#include <cstdlib>
#include <unistd.h>

#include <gtest/gtest.h>

namespace {

int open_capture_file()
{
    char path[] = "/tmp/fpu-capture-XXXXXX";
    int fd = mkstemp(path);
    if (fd < 0) {
        ADD_FAILURE() << "mkstemp failed";
        return -1;
    }
    unlink(path);
    return fd;
}

std::string read_back(int fd)
{
    std::string text;
    lseek(fd, 0, SEEK_SET);
    char chunk[4096];
    ssize_t n;
    while ((n = read(fd, chunk, sizeof chunk)) > 0) {
        text.append(chunk, static_cast<std::size_t>(n));
    }
    close(fd);
    return text;
}

} // namespace

void capture_begin(capture_state* state)
{
    fflush(stdout);
    fflush(stderr);
    state->out_file = open_capture_file();
    state->err_file = open_capture_file();
    state->saved_out = dup(STDOUT_FILENO);
    state->saved_err = dup(STDERR_FILENO);
    dup2(state->out_file, STDOUT_FILENO);
    dup2(state->err_file, STDERR_FILENO);
}

captured_output capture_end(capture_state* state)
{
    fflush(stdout);
    fflush(stderr);
    dup2(state->saved_out, STDOUT_FILENO);
    dup2(state->saved_err, STDERR_FILENO);
    close(state->saved_out);
    close(state->saved_err);
    captured_output output;
    output.out = read_back(state->out_file);
    output.err = read_back(state->err_file);
    return output;
}
