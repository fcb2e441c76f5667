#include "ubi/command.h"

#include "ubi/result.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <pthread.h>

namespace {

// A utility that stops reading makes the kernel raise SIGPIPE in the writer.
// It is held blocked while the tool writes to (and closes) the pipe, so the
// write fails with EPIPE instead of ending the tool; the signal is then taken
// back off the pending set. The command itself was started before the block
// and runs with the caller's signal mask.
struct broken_pipe_guard {
    sigset_t saved_mask;
    bool was_pending;
};

sigset_t broken_pipe_set()
{
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGPIPE);
    return set;
}

bool broken_pipe_pending()
{
    sigset_t pending;
    sigpending(&pending);
    return sigismember(&pending, SIGPIPE) == 1;
}

void hold_broken_pipe(broken_pipe_guard* guard)
{
    sigset_t pipe_signal = broken_pipe_set();
    pthread_sigmask(SIG_BLOCK, &pipe_signal, &guard->saved_mask);
    guard->was_pending = broken_pipe_pending();
}

void release_broken_pipe(const broken_pipe_guard* guard)
{
    if (!guard->was_pending && broken_pipe_pending()) {
        sigset_t pipe_signal = broken_pipe_set();
        const timespec no_wait = {0, 0};
        sigtimedwait(&pipe_signal, nullptr, &no_wait);
    }
    pthread_sigmask(SIG_SETMASK, &guard->saved_mask, nullptr);
}

// One buffered write of all the bytes, pushed through to the pipe so that a
// refusal shows here and not later inside the close. 0 or the errno value.
int write_all(FILE* pipe, const uint8_t* data, uint32_t length)
{
    errno = 0;
    if (fwrite(data, 1, length, pipe) != length || fflush(pipe) != 0) {
        return errno != 0 ? errno : EIO;
    }
    return 0;
}

} // namespace

int pipe_to_command(const char* command, const uint8_t* data, uint32_t length)
{
    // The command's output goes to our stdout too: keep our lines in front of its.
    fflush(stdout);
    FILE* pipe = popen(command, "w");
    if (pipe == nullptr) {
        return RESULT_NOT_STARTED;
    }
    broken_pipe_guard guard;
    hold_broken_pipe(&guard);
    int write_error = 0;
    if (data != nullptr && length != 0) {
        write_error = write_all(pipe, data, length);
    }
    int status = pclose(pipe);
    release_broken_pipe(&guard);
    return write_error != 0 ? write_error : status;
}
