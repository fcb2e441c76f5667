// SPDX-License-Identifier: MIT
#include "check/check.h"

#include "check/rules.h"
#include "dataflash/record.h"
#include "firmpack/fit.h"
#include "ubi/version.h"

#include <cstdio>
#include <cstring>
#include <libfdt.h>

namespace {

package_finding package_of(const uint8_t* fit, const char* name, const char* description)
{
    package_finding package{name, description, nullptr, COMPRESSION_UNKNOWN, 0, UPDATE_UNKNOWN};
    const int image = firmpack_image_node(fit, name);
    (void)firmpack_get_data(fit, image, &package.data, &package.size);
    (void)firmpack_get_compression(fit, image, &package.compression);
    return package;
}

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

int bootloader_update(const std::string& stored, const char* description)
{
    return stored.substr(0, bootloader_admin_record::DESCRIPTION_KEPT) == description ? 0 : 1;
}

firmpack_pair pair_of(const pair_check& check, uint32_t board_id)
{
    firmpack_pair pair{};
    pair.os_fit = check.os_fit;
    pair.app_fit = check.app_fit;
    pair.os_display_name = check.os_name;
    pair.app_display_name = check.app_name;
    pair.board_id = board_id;
    return pair;
}

// The three packages of an accepted pair, as the tool finds them.
void find_packages(firmpack_pair pair, board_finding* board, const installed_state& installed)
{
    board->result = find_pair_packages(&pair);
    if (board->result == 0) {
        board->result = find_pair_descriptions(&pair);
    }
    if (board->result != 0) {
        board->verdict = PAIR_REFUSED;
        return;
    }
    board->has_packages = true;
    auto& packages = board->packages;
    packages[PACKAGE_BOOTLOADER] =
        package_of(pair.os_fit, pair.bootloader_name, pair.bootloader_description);
    packages[PACKAGE_ROOTFS] =
        package_of(pair.os_fit, pair.os_filesystem_name, pair.os_filesystem_description);
    packages[PACKAGE_APPS] =
        package_of(pair.app_fit, pair.app_filesystem_name, pair.app_filesystem_description);
    if (installed.known) {
        packages[PACKAGE_BOOTLOADER].update =
            bootloader_update(installed.bootloader, pair.bootloader_description);
        packages[PACKAGE_ROOTFS].update =
            filesystem_update(ROOTFS_LABEL, installed.rootfs, pair.os_filesystem_description);
        packages[PACKAGE_APPS].update =
            filesystem_update(APPS_LABEL, installed.apps, pair.app_filesystem_description);
    }
}

board_finding check_board(const pair_check* check, uint32_t board_id,
                          const installed_state& installed)
{
    printf("== board 0x%04x\n", board_id);
    board_finding board{};
    board.board_id = board_id;
    firmpack_pair pair = pair_of(*check, board_id);
    board.verdict = check_pair_acceptance(&pair, &board.result);
    board.partition_id = pair.partition_id;
    board.legacy = pair.legacy;
    if (board.verdict == PAIR_ACCEPTED) {
        find_packages(pair, &board, installed);
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

void check_pair(pair_check* check, const std::vector<uint32_t>& board_ids,
                const installed_state& installed)
{
    warn_unsupported_hashes(check->os_fit, check->os_name, &check->warnings);
    warn_unsupported_hashes(check->app_fit, check->app_name, &check->warnings);
    warn_unmatched_boards(*check, &check->warnings);

    const firmpack_pair pair = pair_of(*check, 0);
    check->intact = check_pair_integrity(&pair) == 0;
    if (!check->intact) {
        return;
    }
    const std::vector<uint32_t> boards =
        board_ids.empty() ? firmpack_board_ids(check->os_fit) : board_ids;
    for (uint32_t board_id : boards) {
        check->boards.push_back(check_board(check, board_id, installed));
        warn_partition_id_lookalike(*check, check->boards.back(), &check->warnings);
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
