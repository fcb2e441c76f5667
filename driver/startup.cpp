// SPDX-License-Identifier: MIT
#include "driver/startup.h"

#include "io/cmdline.h"

#include <cstdio>
#include <cstring>
#include <sched.h>

namespace {

constexpr const char* OPTION_SHM = "--shm";
constexpr const char* PROGRAM_NAME = "firmpack-update";

constexpr int EXIT_SUCCEEDED = 0;
// A failure whose result carries no status of its own, as a signal's does.
constexpr int EXIT_FAILED_WITHOUT_STATUS = 1;
constexpr uint32_t STATUS_BITS = 0xFF;
constexpr int WAIT_STATUS_SHIFT = 8; // a utility's exit status in a wait status

} // namespace

uint32_t read_board_id()
{
    char io[CMDLINE_SIZE];
    char core[CMDLINE_SIZE];
    // A key that cannot be read contributes 0, as an absent one does.
    if (get_cmdline_param(CMDLINE_KEY_BOARD_IO, io) != 0) {
        io[0] = '\0';
    }
    if (get_cmdline_param(CMDLINE_KEY_BOARD_CORE, core) != 0) {
        core[0] = '\0';
    }
    return board_id_from_params(io, core);
}

firmpack_source select_source(int argc, const char* const* argv)
{
    if (argc == 2 && strcmp(argv[1], OPTION_SHM) == 0) {
        return SOURCE_SHM;
    }
    if (argc == 3) {
        return SOURCE_FILES;
    }
    return SOURCE_USAGE;
}

void print_usage(const char* program)
{
    if (program == nullptr) {
        program = PROGRAM_NAME;
    }
    printf("Usage: %s <fp_os.img> <fp_app.img>\n", program);
    printf("       %s --shm\n", program);
}

void request_normal_scheduling()
{
    struct sched_param param;
    if (sched_getparam(0, &param) != 0) {
        perror("sched_getparam");
        return;
    }
    param.sched_priority = 0;
    if (sched_setscheduler(0, SCHED_OTHER, &param) != 0) {
        perror("sched_setscheduler");
    }
}

int exit_status_of(int result)
{
    auto bits = static_cast<uint32_t>(result);
    if (bits == 0) {
        return EXIT_SUCCEEDED;
    }
    if ((bits & STATUS_BITS) != 0) {
        return static_cast<int>(bits & STATUS_BITS);
    }
    if (((bits >> WAIT_STATUS_SHIFT) & STATUS_BITS) != 0) {
        return static_cast<int>((bits >> WAIT_STATUS_SHIFT) & STATUS_BITS);
    }
    return EXIT_FAILED_WITHOUT_STATUS;
}
