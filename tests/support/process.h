// Runs a program as a child process and collects what it printed.
// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <string>
#include <sys/types.h>
#include <vector>

struct process_result {
    std::string out;
    std::string err;
    int exit_status = -1; // -1 when the process did not exit normally
    bool timed_out = false;
};

// A child started with its standard output and error going to two files.
struct child_process {
    pid_t pid = -1;
    std::string out_path;
    std::string err_path;
};

child_process start_process(const std::vector<std::string>& argv);

// Waits for the child, at most timeout_seconds (then it is killed), and
// collects its output.
process_result finish_process(const child_process& child, int timeout_seconds = 60);

process_result run_process(const std::vector<std::string>& argv, int timeout_seconds = 60);

// Runs body in a child process, as the tool runs once per process: whatever
// state a module keeps for the whole process starts afresh.
void in_fresh_process(const std::function<void()>& body);

// The status stream's lines that body writes, run in a fresh process with the
// stream on the write end of a pipe.
std::string status_stream_of(const std::function<void()>& body);
