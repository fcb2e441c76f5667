// The traps that the tool's acceptance checks let through, or that surprise on
// the board: each rule adds a warning text that says what would happen.
// SPDX-License-Identifier: MIT
#pragma once

#include "check/check.h"

// Hash records with an algorithm the tool does not compute, in a firmpack
// that passes the structure check.
void warn_unsupported_hashes(const firmpack_input& firmpack, std::vector<std::string>* warnings);

// Boards that one firmpack defines and the other does not.
void warn_unmatched_boards(const firmpack_pair& pair, std::vector<std::string>* warnings);

// An FDT package described as the partition ID in other letter case or blanks.
void warn_partition_id_lookalike(const board_finding& board, std::vector<std::string>* warnings);

// The packages of an accepted board: filesystem descriptions, compression and
// content, and the bootloader's size and description.
void warn_packages(const board_finding& board, std::vector<std::string>* warnings);
