// Host-side check of a firmpack pair: what the tool on the board would decide
// for each board, and the traps the pair would meet later, as findings.
// SPDX-License-Identifier: MIT
#pragma once

#include "acceptance/pair.h"

#include <array>
#include <cstdint>
#include <string>
#include <vector>

enum check_verdict : int {
    CHECK_INSTALLABLE = 0,
    CHECK_REFUSED = 1,
    CHECK_LEGACY = 2,   // the tool hands the pair to the boot loader
    CHECK_WARNINGS = 3, // installable, but something would fail or misbehave later
};

enum package_role : int { PACKAGE_BOOTLOADER, PACKAGE_ROOTFS, PACKAGE_APPS, PACKAGE_ROLES };

// What the board holds, as far as it is known: the bootloader record's
// description and the texts of the root and applications version files.
struct installed_state {
    bool known;
    std::string bootloader;
    std::string rootfs;
    std::string apps;
};

inline constexpr int UPDATE_UNKNOWN = -1;

struct board_finding {
    firmpack_pair pair; // as the tool's checks left it for this board
    pair_verdict verdict;
    int result; // the tool's result for a refusal
    // Per package role: 1 would be updated, 0 unchanged, UPDATE_UNKNOWN.
    std::array<int, PACKAGE_ROLES> update;
    std::string reason;  // for a refusal, the lines the tool printed for it
    bool fails_on_board; // accepted, but the update then fails on the board
};

// How much a finding weighs: whether the update goes wrong on the board, or
// goes through with something left to fix.
enum finding_weight : int {
    FINDING_FAILS, // the board refuses the pair, or its update fails
    FINDING_WARNS, // the board installs the pair, but something misbehaves or is unproven
    FINDING_NOTES, // what the check did not look at; the verdict is as without it
};

// What is wrong, what the board does with it, and how to fix it.
struct finding {
    finding_weight weight;
    std::string text;
};

struct pair_check {
    firmpack_pair pair; // the two firmpacks and the key file, for no board yet
    bool intact;        // both firmpacks whole, with every hash record right
    std::vector<board_finding> boards;
    std::vector<finding> findings;
};

// Runs the tool's checks on a pair, printing the tool's own lines: both
// firmpacks whole and intact, then for each board (every board of the OS
// firmpack when board_ids is empty) the board's acceptance and packages.
// Adds the findings of check/rules.h.
void check_pair(pair_check* check, const std::vector<uint32_t>& board_ids,
                const installed_state& installed);

// The verdict on the whole pair: the worst of its boards, refused when it has
// none or when a finding fails on the board, installable with warnings when
// there are only warnings.
[[nodiscard]] check_verdict pair_verdict_of(const pair_check& check);

// The ids of the boards that a firmpack has configurations for, "board_0x<hex>".
[[nodiscard]] std::vector<uint32_t> firmpack_board_ids(const uint8_t* fit);

// The package of an accepted board's pair in that role.
[[nodiscard]] const firmpack_package& package_in(const firmpack_pair& pair, package_role role);
