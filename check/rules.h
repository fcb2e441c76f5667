// The rules a pair must meet, as findings: each says what is wrong, what the
// board does with it, and how to fix it. A finding fails when the board
// refuses the pair or its update fails; it warns when the update goes
// through with something left to fix.
// SPDX-License-Identifier: MIT
#pragma once

#include "check/check.h"
#include "firmpack/verify.h"

// Hash records with an algorithm the tool does not compute (fails), and
// images without any hash record (warns), in a firmpack that passes the
// structure check.
// Configurations that carry a signature, which a check without a key file
// does not look at: a note each.
void find_unchecked_signatures(const firmpack_input& firmpack, std::vector<finding>* findings);

void find_hash_records(const firmpack_input& firmpack, hash_set set,
                       std::vector<finding>* findings);

// Boards that one firmpack defines and the other does not (warns).
void find_unmatched_boards(const firmpack_pair& pair, std::vector<finding>* findings);

// An OS firmpack with no board configuration at all: the configurations it
// has, and the name each board needs (fails).
void explain_no_board(const firmpack_pair& pair, std::vector<finding>* findings);

// Why the board refuses the pair or takes it for legacy, and the fix: a
// missing board configuration, swapped firmpacks, versions that do not pair;
// a partition ID that is not the text "2", or only looks like one.
void explain_verdict(const board_finding& board, std::vector<finding>* findings);

// The packages of an accepted board: filesystem descriptions, compression and
// content, the bootloader's size and description. True when the update would
// fail on the board.
[[nodiscard]] bool check_packages(const board_finding& board, std::vector<finding>* findings);
