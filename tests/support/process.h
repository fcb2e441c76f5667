// Runs a program as a child process and collects what it printed.
#pragma once

#include <string>
#include <vector>

struct process_result {
    std::string out;
    std::string err;
    int exit_status = -1; // -1 when the process did not exit normally
};

process_result run_process(const std::vector<std::string>& argv);
