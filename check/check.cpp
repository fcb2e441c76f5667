// SPDX-License-Identifier: MIT
#include "check/check.h"

#include "check/rules.h"
#include "dataflash/layout.h"
#include "firmpack/fit.h"
#include "ubi/version.h"

#include <cstdio>
#include <cstring>
#include <libfdt.h>

namespace {

// Whether the tool would install a filesystem package over a version file of
// this text, as it composes and compares them.
int filesystem_update(const char* label, const std::string& file, const char* description)
{
    version_text buffer;
    const char* installed = nullptr;
    const bool whole =
        compose_installed_version(label, reinterpret_cast<const uint8_t*>(file.data()), file.size(),
                                  &buffer, &installed) == 0;
    return whole && strcmp(installed, description) == 0 ? 0 : 1;
}

void compare_with_installed(board_finding* board, const installed_state& installed)
{
    const firmpack_pair& pair = board->pair;
    board->update[PACKAGE_BOOTLOADER] =
        bootloader_description_matches(installed.bootloader, pair.bootloader.description) ? 0 : 1;
    board->update[PACKAGE_ROOTFS] =
        filesystem_update(ROOTFS_LABEL, installed.rootfs, pair.os_filesystem.description);
    board->update[PACKAGE_APPS] =
        filesystem_update(APPS_LABEL, installed.apps, pair.app_filesystem.description);
}

board_finding check_board(const pair_check& check, uint32_t board_id,
                          const installed_state& installed)
{
    printf("== board 0x%04x\n", board_id);
    board_finding board{
        check.pair, PAIR_REFUSED, 0, {UPDATE_UNKNOWN, UPDATE_UNKNOWN, UPDATE_UNKNOWN}};
    board.pair.board_id = board_id;
    board.verdict = accept_board(&board.pair, &board.result);
    if (board.verdict == PAIR_ACCEPTED && installed.known) {
        compare_with_installed(&board, installed);
    }
    return board;
}

} // namespace

std::vector<uint32_t> firmpack_board_ids(const uint8_t* fit)
{
    std::vector<uint32_t> ids;
    const int configurations = fdt_path_offset(fit, FIT_CONFIGURATIONS_PATH);
    int node = 0;
    fdt_for_each_subnode(node, fit, configurations)
    {
        uint32_t id = 0;
        if (firmpack_config_board_id(fdt_get_name(fit, node, nullptr), &id) == 0) {
            ids.push_back(id);
        }
    }
    return ids;
}

const firmpack_package& package_in(const firmpack_pair& pair, package_role role)
{
    switch (role) {
    case PACKAGE_BOOTLOADER:
        return pair.bootloader;
    case PACKAGE_ROOTFS:
        return pair.os_filesystem;
    case PACKAGE_APPS:
    case PACKAGE_ROLES:
        break;
    }
    return pair.app_filesystem;
}

void check_pair(pair_check* check, const std::vector<uint32_t>& board_ids,
                const installed_state& installed)
{
    check->intact = accept_firmpacks(&check->pair) == 0;
    // A hash algorithm the tool does not compute is why it refuses a pair.
    warn_unsupported_hashes(check->pair.os, &check->warnings);
    warn_unsupported_hashes(check->pair.app, &check->warnings);
    if (!check->intact) {
        return;
    }
    warn_unmatched_boards(check->pair, &check->warnings);
    const std::vector<uint32_t> boards =
        board_ids.empty() ? firmpack_board_ids(check->pair.os.fit) : board_ids;
    for (uint32_t board_id : boards) {
        check->boards.push_back(check_board(*check, board_id, installed));
        warn_partition_id_lookalike(check->boards.back(), &check->warnings);
        warn_packages(check->boards.back(), &check->warnings);
    }
}

check_verdict pair_verdict_of(const pair_check& check)
{
    if (!check.intact || check.boards.empty()) {
        return CHECK_REFUSED;
    }
    check_verdict verdict = check.warnings.empty() ? CHECK_INSTALLABLE : CHECK_WARNINGS;
    for (const board_finding& board : check.boards) {
        if (board.verdict == PAIR_REFUSED) {
            return CHECK_REFUSED;
        }
        if (board.verdict == PAIR_LEGACY) {
            verdict = CHECK_LEGACY;
        }
    }
    return verdict;
}
