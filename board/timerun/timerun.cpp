// timerun: runs a command on the board VM and tells how long it took, when
// its progress lines came, and how much memory it held at most.
//
//   timerun <program> [argument]...
//
// Every line that the program writes on its standard output is passed on
// with the seconds since the start in front ("%9.3f "), taken when the line
// arrives; the tool flushes its output before each utility and mount, so the
// gaps between its lines are the times of its steps. Standard error is left
// as it is. The last line is
//
//   timerun: wall <seconds> s, peak <KiB> KiB, status <exit status>
//
// where peak is ru_maxrss from wait4: the largest resident set that the
// program or any process it waited for reached. timerun exits with the
// program's exit status (128 + the signal for one that was killed).
// Busybox's time applet counts in hundredths of a second and cannot tell the
// steps of a run apart.
// SPDX-License-Identifier: MIT

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr int EXIT_NOT_RUN = 127;
constexpr int SIGNAL_STATUS_BASE = 128;
constexpr std::size_t CHUNK_SIZE = 4096;

double seconds_since(const timespec& start)
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec - start.tv_sec) +
           static_cast<double>(now.tv_nsec - start.tv_nsec) / 1e9;
}

// Starts the program with its standard output on a pipe; the read end, or -1.
int start(char** command, pid_t* pid)
{
    int ends[2];
    if (pipe(ends) != 0) {
        perror("timerun: pipe");
        return -1;
    }
    *pid = fork();
    if (*pid < 0) {
        perror("timerun: fork");
        return -1;
    }
    if (*pid == 0) {
        dup2(ends[1], STDOUT_FILENO);
        close(ends[0]);
        close(ends[1]);
        execvp(command[0], command);
        fprintf(stderr, "timerun: %s: %s\n", command[0], strerror(errno));
        _exit(EXIT_NOT_RUN);
    }
    close(ends[1]);
    return ends[0];
}

// Passes the program's output on line by line, each line stamped when its
// first byte arrived.
void relay(int output, const timespec& start_time)
{
    char chunk[CHUNK_SIZE];
    bool line_open = false;
    for (;;) {
        ssize_t got = read(output, chunk, sizeof chunk);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0) {
            break;
        }
        double stamp = seconds_since(start_time);
        for (ssize_t i = 0; i < got; ++i) {
            if (!line_open) {
                printf("%9.3f ", stamp);
                line_open = true;
            }
            putchar(chunk[i]);
            line_open = chunk[i] != '\n';
        }
        fflush(stdout);
    }
    if (line_open) {
        putchar('\n');
    }
}

int exit_status_of(int status)
{
    if (WIFEXITED(status)) {
        return WEXITSTATUS(status);
    }
    return WIFSIGNALED(status) ? SIGNAL_STATUS_BASE + WTERMSIG(status) : EXIT_NOT_RUN;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 2) {
        fprintf(stderr, "usage: timerun <program> [argument]...\n");
        return 2;
    }
    timespec start_time{};
    clock_gettime(CLOCK_MONOTONIC, &start_time);
    pid_t pid = 0;
    int output = start(argv + 1, &pid);
    if (output < 0) {
        return EXIT_NOT_RUN;
    }
    relay(output, start_time);
    close(output);

    int status = 0;
    rusage usage{};
    while (wait4(pid, &status, 0, &usage) < 0) {
        if (errno != EINTR) {
            perror("timerun: wait4");
            return EXIT_NOT_RUN;
        }
    }
    int exit_status = exit_status_of(status);
    printf("timerun: wall %.3f s, peak %ld KiB, status %d\n", seconds_since(start_time),
           usage.ru_maxrss, exit_status);
    return exit_status;
}
