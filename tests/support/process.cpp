// SPDX-License-Identifier: MIT
#include "tests/support/process.h"

#include "io/status.h"

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <spawn.h>
#include <sstream>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include <gtest/gtest.h>

extern char** environ;

namespace {

std::string slurp_and_remove(const std::string& path)
{
    std::ifstream file(path);
    std::string text(std::istreambuf_iterator<char>(file), {});
    unlink(path.c_str());
    return text;
}

// A cross build's programs cannot be started directly on the build machine.
// CTest then names the emulator that runs the tests, with its options
// separated by blanks, in FPU_TEST_EMULATOR, and every child runs under it too.
std::vector<std::string> emulated(const std::vector<std::string>& argv)
{
    std::vector<std::string> command;
    if (const char* emulator = getenv("FPU_TEST_EMULATOR")) {
        std::istringstream words(emulator);
        for (std::string word; words >> word;) {
            command.push_back(word);
        }
    }
    command.insert(command.end(), argv.begin(), argv.end());
    return command;
}

} // namespace

child_process start_process(const std::vector<std::string>& argv)
{
    child_process child;
    std::string stem = "/tmp/fpu-process-" + std::to_string(getpid());
    child.out_path = stem + ".out";
    child.err_path = stem + ".err";

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, child.out_path.c_str(),
                                     O_WRONLY | O_CREAT | O_TRUNC, 0600);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, child.err_path.c_str(),
                                     O_WRONLY | O_CREAT | O_TRUNC, 0600);

    std::vector<std::string> command = emulated(argv);
    std::vector<char*> args;
    for (const std::string& arg : command) {
        args.push_back(const_cast<char*>(arg.c_str()));
    }
    args.push_back(nullptr);
    if (posix_spawn(&child.pid, args[0], &actions, nullptr, args.data(), environ) != 0) {
        ADD_FAILURE() << "cannot start " << argv[0];
        child.pid = -1;
    }
    posix_spawn_file_actions_destroy(&actions);
    return child;
}

process_result finish_process(const child_process& child, int timeout_seconds)
{
    process_result result;
    if (child.pid < 0) {
        return result;
    }
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(timeout_seconds);
    int status = 0;
    while (waitpid(child.pid, &status, WNOHANG) == 0) {
        if (std::chrono::steady_clock::now() > deadline) {
            kill(child.pid, SIGKILL);
            waitpid(child.pid, &status, 0);
            result.timed_out = true;
            break;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    if (WIFEXITED(status)) {
        result.exit_status = WEXITSTATUS(status);
    }
    result.out = slurp_and_remove(child.out_path);
    result.err = slurp_and_remove(child.err_path);
    return result;
}

process_result run_process(const std::vector<std::string>& argv, int timeout_seconds)
{
    return finish_process(start_process(argv), timeout_seconds);
}

void in_fresh_process(const std::function<void()>& body)
{
    fflush(stdout);
    pid_t child = fork();
    ASSERT_NE(-1, child);
    if (child == 0) {
        body();
        fflush(stdout);
        _exit(testing::Test::HasFailure() ? 1 : 0);
    }
    int status = 0;
    ASSERT_EQ(child, waitpid(child, &status, 0));
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "failed in the child, see above";
}

std::string status_stream_of(const std::function<void()>& body)
{
    int ends[2];
    EXPECT_EQ(0, pipe2(ends, O_NONBLOCK));
    in_fresh_process([&] {
        setenv(STATUS_FD_VARIABLE, std::to_string(ends[1]).c_str(), 1);
        status_open();
        body();
    });
    std::string lines;
    char buffer[4096];
    for (ssize_t got; (got = read(ends[0], buffer, sizeof buffer)) > 0;) {
        lines.append(buffer, static_cast<std::size_t>(got));
    }
    close(ends[0]);
    close(ends[1]);
    return lines;
}
