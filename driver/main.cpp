// firmpack-update: installs a matched pair of firmpacks on this board.
// SPDX-License-Identifier: MIT

#include "driver/result.h"
#include "driver/sources.h"
#include "driver/startup.h"
#include "io/image_file.h"
#include "io/status.h"

#include <csignal>
#include <cstdint>
#include <cstdio>

int main(int argc, char** argv)
{
    // Our lines and the utilities' lines reach a pipe or a file in the order a
    // person on the serial console would see them.
    setvbuf(stdout, nullptr, _IOLBF, 0);
    // A utility that stops reading its input must fail our write with EPIPE,
    // not end the whole update half-way.
    signal(SIGPIPE, SIG_IGN);
    // A firmpack that shrinks while it is read ends the run with one line,
    // not a bus error.
    guard_mapped_files();
    // The update agent's stream, when the environment names its descriptor.
    status_open();

    request_normal_scheduling();
    uint32_t board_id = read_board_id();
    printf("## Info: Firmpacks must match board-id: 0x%x\n", board_id);

    int result = UPDATE_WRONG_USE;
    switch (select_source(argc, argv)) {
    case SOURCE_SHM:
        result = update_from_shm(board_id);
        break;
    case SOURCE_FILES:
        result = update_from_files(argv[1], argv[2], board_id);
        break;
    case SOURCE_USAGE:
        print_usage(argc > 0 ? argv[0] : nullptr);
        result = UPDATE_WRONG_USE;
        break;
    }
    status_finish(result);
    return exit_status_of(result);
}
