// SPDX-License-Identifier: MIT
#include "check/report.h"

#include "firmpack/fit.h"

namespace {

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

const char* board_verdict_name(pair_verdict verdict)
{
    switch (verdict) {
    case PAIR_REFUSED:
        return "refused";
    case PAIR_LEGACY:
        return "legacy";
    case PAIR_ACCEPTED:
        return "installable";
    }
    return "";
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
    fprintf(out, "board 0x%04x: %s", board.pair.board_id, board_verdict_name(board.verdict));
    if (board.verdict == PAIR_REFUSED) {
        fprintf(out, " (the tool ends with result %d)", board.result);
    } else if (board.verdict == PAIR_LEGACY) {
        fprintf(out, ": %s", legacy_reason_text(board.pair.legacy));
    } else {
        fprintf(out, " (partition ID %d)", board.pair.partition_id);
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

// A JSON string: quotes, backslashes and control characters escaped.
void print_json_string(FILE* out, const char* text)
{
    fputc('"', out);
    for (const char* c = text; *c != '\0'; ++c) {
        const auto byte = static_cast<unsigned char>(*c);
        if (byte == '"' || byte == '\\') {
            fprintf(out, "\\%c", byte);
        } else if (byte < 0x20) {
            fprintf(out, "\\u%04x", byte);
        } else {
            fputc(byte, out);
        }
    }
    fputc('"', out);
}

void print_package_json(FILE* out, const firmpack_package& package, int update)
{
    fprintf(out, "{\"name\": ");
    print_json_string(out, package.name);
    fprintf(out, ", \"description\": ");
    print_json_string(out, package.description);
    fprintf(out, ", \"compression\": \"%s\", \"size\": %u, \"update\": %s}",
            compression_text(package), package.size,
            update == UPDATE_UNKNOWN ? "null"
            : update != 0            ? "true"
                                     : "false");
}

void print_board_json(FILE* out, const board_finding& board)
{
    fprintf(out, "{\"board\": \"0x%04x\", \"verdict\": \"%s\", \"result\": %d", board.pair.board_id,
            board_verdict_name(board.verdict), board.result);
    if (board.pair.partition_id >= 0) {
        fprintf(out, ", \"partition_id\": %d", board.pair.partition_id);
    }
    if (board.verdict == PAIR_LEGACY) {
        fprintf(out, ", \"legacy\": \"%s\"", legacy_reason_text(board.pair.legacy));
    }
    if (board.verdict == PAIR_ACCEPTED) {
        fprintf(out, ", \"packages\": {");
        for (int role = 0; role < PACKAGE_ROLES; ++role) {
            fprintf(out, "%s\"%s\": ", role == 0 ? "" : ", ", ROLE_NAMES[role]);
            print_package_json(out, package_in(board.pair, static_cast<package_role>(role)),
                               board.update[static_cast<std::size_t>(role)]);
        }
        fprintf(out, "}");
    }
    fprintf(out, "}");
}

} // namespace

void print_check_text(FILE* out, const pair_check& check, check_verdict verdict)
{
    fprintf(out, "== summary\n");
    for (const board_finding& board : check.boards) {
        print_board_text(out, board);
    }
    for (const std::string& warning : check.warnings) {
        fprintf(out, "warning: %s\n", warning.c_str());
    }
    fprintf(out, "verdict: %s (exit status %d)\n", verdict_name(verdict), verdict);
}

void print_check_json(FILE* out, const pair_check& check, check_verdict verdict)
{
    fprintf(out, "{\"os\": ");
    print_json_string(out, check.pair.os.display_name);
    fprintf(out, ", \"app\": ");
    print_json_string(out, check.pair.app.display_name);
    fprintf(out, ", \"verdict\": \"%s\", \"exit_status\": %d, \"hashes_ok\": %s, \"boards\": [",
            verdict_name(verdict), verdict, check.intact ? "true" : "false");
    for (std::size_t i = 0; i < check.boards.size(); ++i) {
        fprintf(out, "%s", i == 0 ? "" : ", ");
        print_board_json(out, check.boards[i]);
    }
    fprintf(out, "], \"warnings\": [");
    for (std::size_t i = 0; i < check.warnings.size(); ++i) {
        fprintf(out, "%s", i == 0 ? "" : ", ");
        print_json_string(out, check.warnings[i].c_str());
    }
    fprintf(out, "]}\n");
}
