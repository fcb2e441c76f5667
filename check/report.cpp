// SPDX-License-Identifier: MIT
#include "check/report.h"

#include "firmpack/fit.h"

#include <json-c/json.h>

namespace {

// How the text output starts each finding, by its weight.
constexpr const char* FINDING_LABELS[] = {"error", "warning", "note"};
static_assert(FINDING_NOTES == 2);

constexpr const char* LEGACY_CONSEQUENCE =
    "the board erases its Linux update administration and leaves the update to the boot loader";
constexpr const char* FAILS_ON_BOARD =
    "the tool accepts the pair, then the update fails on the board";

constexpr const char* ROLE_NAMES[PACKAGE_ROLES] = {"bootloader", "rootfs", "apps"};

const char* verdict_name(check_verdict verdict)
{
    switch (verdict) {
    case CHECK_INSTALLABLE:
        return "installable";
    case CHECK_REFUSED:
        return "refused";
    case CHECK_LEGACY:
        return "legacy";
    case CHECK_WARNINGS:
        return "installable with warnings";
    }
    return "";
}

const char* board_verdict_name(const board_finding& board)
{
    switch (board.verdict) {
    case PAIR_REFUSED:
        return "refused";
    case PAIR_LEGACY:
        return "legacy";
    case PAIR_ACCEPTED:
        break;
    }
    return board.fails_on_board ? "refused" : "installable";
}

const char* legacy_reason_text(legacy_reason reason)
{
    switch (reason) {
    case LEGACY_NONE:
        return "";
    case LEGACY_NO_FILESYSTEM:
        return "its configuration names no filesystem package";
    case LEGACY_NO_PARTITION_ID:
        return "its FDT package is not described as a partition ID";
    case LEGACY_PARTITION_ID_LENGTH:
        return "its partition ID holds no bytes or more than five";
    case LEGACY_OTHER_PARTITIONING:
        return "its partition ID is not the current partitioning";
    }
    return "";
}

const char* update_text(int update)
{
    return update == UPDATE_UNKNOWN ? "" : update != 0 ? ", would be updated" : ", unchanged";
}

const char* compression_text(const firmpack_package& package)
{
    return package.compression != nullptr ? package.compression : "unknown";
}

void print_board_text(FILE* out, const board_finding& board)
{
    fprintf(out, "board 0x%04x: %s", board.pair.board_id, board_verdict_name(board));
    if (board.verdict == PAIR_REFUSED) {
        fprintf(out, " (the tool ends with result %d)", board.result);
    } else if (board.verdict == PAIR_LEGACY) {
        fprintf(out, ": %s; %s", legacy_reason_text(board.pair.legacy), LEGACY_CONSEQUENCE);
    } else {
        fprintf(out, " (%s%spartition ID %d)", board.fails_on_board ? FAILS_ON_BOARD : "",
                board.fails_on_board ? "; " : "", board.pair.partition_id);
    }
    fprintf(out, "\n");
    if (board.verdict != PAIR_ACCEPTED) {
        return;
    }
    for (int role = 0; role < PACKAGE_ROLES; ++role) {
        const firmpack_package& package = package_in(board.pair, static_cast<package_role>(role));
        fprintf(out, "   %-10s %-16s '%s', %s, %u bytes%s\n", ROLE_NAMES[role], package.name,
                package.description, compression_text(package), package.size,
                update_text(board.update[static_cast<std::size_t>(role)]));
    }
}

void add_string(json_object* object, const char* key, const char* text)
{
    json_object_object_add(object, key, json_object_new_string(text));
}

void add_int(json_object* object, const char* key, int64_t number)
{
    json_object_object_add(object, key, json_object_new_int64(number));
}

json_object* package_json(const firmpack_package& package, int update)
{
    json_object* object = json_object_new_object();
    add_string(object, "name", package.name);
    add_string(object, "description", package.description);
    add_string(object, "compression", compression_text(package));
    add_int(object, "size", package.size);
    // null: what the board holds is not known
    json_object_object_add(object, "update",
                           update == UPDATE_UNKNOWN ? nullptr : json_object_new_boolean(update));
    return object;
}

// Why a board is not installable: the tool's own lines for a refusal.
std::string board_reason(const board_finding& board)
{
    switch (board.verdict) {
    case PAIR_REFUSED:
        return board.reason;
    case PAIR_LEGACY:
        return std::string(legacy_reason_text(board.pair.legacy)) + "; " + LEGACY_CONSEQUENCE;
    case PAIR_ACCEPTED:
        break;
    }
    return board.fails_on_board ? FAILS_ON_BOARD : "";
}

json_object* board_json(const board_finding& board)
{
    json_object* object = json_object_new_object();
    char id[sizeof "0x" + 8];
    snprintf(id, sizeof id, "0x%04x", board.pair.board_id);
    add_string(object, "board", id);
    add_string(object, "verdict", board_verdict_name(board));
    add_int(object, "result", board.result);
    const std::string reason = board_reason(board);
    if (!reason.empty()) {
        add_string(object, "reason", reason.c_str());
    }
    if (board.pair.partition_id >= 0) {
        add_int(object, "partition_id", board.pair.partition_id);
    }
    if (board.verdict == PAIR_LEGACY) {
        add_string(object, "legacy", legacy_reason_text(board.pair.legacy));
    }
    if (board.verdict == PAIR_ACCEPTED) {
        json_object* packages = json_object_new_object();
        for (int role = 0; role < PACKAGE_ROLES; ++role) {
            json_object_object_add(
                packages, ROLE_NAMES[role],
                package_json(package_in(board.pair, static_cast<package_role>(role)),
                             board.update[static_cast<std::size_t>(role)]));
        }
        json_object_object_add(object, "packages", packages);
    }
    return object;
}

json_object* findings_json(const pair_check& check, finding_weight weight)
{
    json_object* texts = json_object_new_array();
    for (const finding& found : check.findings) {
        if (found.weight == weight) {
            json_object_array_add(texts, json_object_new_string(found.text.c_str()));
        }
    }
    return texts;
}

} // namespace

void print_check_text(FILE* out, const pair_check& check, check_verdict verdict)
{
    fprintf(out, "== summary\n");
    for (const board_finding& board : check.boards) {
        print_board_text(out, board);
    }
    for (const finding_weight weight : {FINDING_FAILS, FINDING_WARNS, FINDING_NOTES}) {
        for (const finding& found : check.findings) {
            if (found.weight == weight) {
                fprintf(out, "%s: %s\n", FINDING_LABELS[weight], found.text.c_str());
            }
        }
    }
    fprintf(out, "verdict: %s (exit status %d)\n", verdict_name(verdict), verdict);
}

void print_check_json(FILE* out, const pair_check& check, check_verdict verdict)
{
    json_object* document = json_object_new_object();
    add_string(document, "os", check.pair.os.display_name);
    add_string(document, "app", check.pair.app.display_name);
    add_string(document, "verdict", verdict_name(verdict));
    add_int(document, "exit_status", verdict);
    json_object_object_add(document, "hashes_ok", json_object_new_boolean(check.intact));
    json_object* boards = json_object_new_array();
    for (const board_finding& board : check.boards) {
        json_object_array_add(boards, board_json(board));
    }
    json_object_object_add(document, "boards", boards);
    json_object_object_add(document, "errors", findings_json(check, FINDING_FAILS));
    json_object_object_add(document, "warnings", findings_json(check, FINDING_WARNS));
    json_object_object_add(document, "notes", findings_json(check, FINDING_NOTES));
    // One line, as a pipeline reads it.
    fprintf(out, "%s\n",
            json_object_to_json_string_ext(document, JSON_C_TO_STRING_SPACED |
                                                         JSON_C_TO_STRING_NOSLASHESCAPE));
    json_object_put(document);
}
