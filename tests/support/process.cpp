#include "tests/support/process.h"

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <spawn.h>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

extern char** environ;

namespace {

std::string slurp_and_remove(const std::string& path)
{
    std::string text;
    if (FILE* file = fopen(path.c_str(), "r")) {
        int c;
        while ((c = fgetc(file)) != EOF) {
            text.push_back(static_cast<char>(c));
        }
        fclose(file);
    }
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

process_result run_process(const std::vector<std::string>& argv)
{
    std::string stem = "/tmp/fpu-process-" + std::to_string(getpid());
    std::string out_path = stem + ".out";
    std::string err_path = stem + ".err";

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, out_path.c_str(),
                                     O_WRONLY | O_CREAT | O_TRUNC, 0600);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, err_path.c_str(),
                                     O_WRONLY | O_CREAT | O_TRUNC, 0600);

    std::vector<std::string> command = emulated(argv);
    std::vector<char*> args;
    for (const std::string& arg : command) {
        args.push_back(const_cast<char*>(arg.c_str()));
    }
    args.push_back(nullptr);

    process_result result;
    pid_t pid;
    int spawned = posix_spawn(&pid, args[0], &actions, nullptr, args.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (spawned != 0) {
        ADD_FAILURE() << "cannot start " << argv[0];
        return result;
    }
    int status = 0;
    waitpid(pid, &status, 0);
    if (WIFEXITED(status)) {
        result.exit_status = WEXITSTATUS(status);
    }
    result.out = slurp_and_remove(out_path);
    result.err = slurp_and_remove(err_path);
    return result;
}
