// SPDX-License-Identifier: MIT
#include "check/check.h"

#include "acceptance/signed.h"
#include "check/rules.h"
#include "dataflash/layout.h"
#include "firmpack/fit.h"
#include "ubi/version.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <libfdt.h>
#include <string_view>
#include <unistd.h>

namespace {

// The tool's progress lines; a refusal's own lines are the others.
constexpr std::string_view PROGRESS_PREFIX = "## ";

// Standard output sent to a temporary file for a while, and where it went.
struct output_capture {
    FILE* file;
    int saved;
};

output_capture begin_capture()
{
    fflush(stdout);
    output_capture capture{tmpfile(), -1};
    if (capture.file != nullptr) {
        capture.saved = dup(STDOUT_FILENO);
    }
    if (capture.saved >= 0 && dup2(fileno(capture.file), STDOUT_FILENO) < 0) {
        close(capture.saved);
        capture.saved = -1;
    }
    return capture;
}

// Standard output back where it went, with what was captured passed on to it;
// returns that text (empty when nothing could be captured).
std::string end_capture(output_capture* capture)
{
    fflush(stdout);
    std::string text;
    if (capture->saved >= 0) {
        dup2(capture->saved, STDOUT_FILENO);
        close(capture->saved);
        rewind(capture->file);
        char block[BUFSIZ];
        for (std::size_t got; (got = fread(block, 1, sizeof block, capture->file)) > 0;) {
            text.append(block, got);
        }
        fwrite(text.data(), 1, text.size(), stdout);
    }
    if (capture->file != nullptr) {
        fclose(capture->file);
    }
    return text;
}

// The lines of a refusal, without the progress lines before them.
std::string refusal_lines(const std::string& printed)
{
    std::string lines;
    for (std::size_t start = 0; start < printed.size();) {
        const std::size_t end = std::min(printed.find('\n', start), printed.size());
        const std::string_view line(printed.data() + start, end - start);
        if (!line.starts_with(PROGRESS_PREFIX)) {
            lines.append(lines.empty() ? "" : "\n").append(line);
        }
        start = end + 1;
    }
    return lines;
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
        check.pair, PAIR_REFUSED, 0, {UPDATE_UNKNOWN, UPDATE_UNKNOWN, UPDATE_UNKNOWN}, "", false};
    board.pair.board_id = board_id;
    output_capture capture = begin_capture();
    board.verdict = accept_board(&board.pair, &board.result);
    const std::string printed = end_capture(&capture);
    if (board.verdict == PAIR_REFUSED) {
        board.reason = refusal_lines(printed);
    }
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
    const hash_set set = key_file_present(check->pair.key_file) ? HASHES_SIGNED : HASHES_UNSIGNED;
    find_hash_records(check->pair.os, set, &check->findings);
    find_hash_records(check->pair.app, set, &check->findings);
    if (check->pair.key_file == nullptr) {
        find_unchecked_signatures(check->pair.os, &check->findings);
        find_unchecked_signatures(check->pair.app, &check->findings);
    }
    if (!check->intact) {
        return;
    }
    find_unmatched_boards(check->pair, &check->findings);
    const std::vector<uint32_t> boards =
        board_ids.empty() ? firmpack_board_ids(check->pair.os.fit) : board_ids;
    if (boards.empty()) {
        explain_no_board(check->pair, &check->findings);
    }
    for (uint32_t board_id : boards) {
        board_finding board = check_board(*check, board_id, installed);
        explain_verdict(board, &check->findings);
        board.fails_on_board = check_packages(board, &check->findings);
        check->boards.push_back(board);
    }
}

check_verdict pair_verdict_of(const pair_check& check)
{
    if (!check.intact || check.boards.empty()) {
        return CHECK_REFUSED;
    }
    for (const finding& found : check.findings) {
        if (found.weight == FINDING_FAILS) {
            return CHECK_REFUSED;
        }
    }
    const bool warned =
        std::any_of(check.findings.begin(), check.findings.end(),
                    [](const finding& found) { return found.weight == FINDING_WARNS; });
    check_verdict verdict = warned ? CHECK_WARNINGS : CHECK_INSTALLABLE;
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
