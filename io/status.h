// The status stream for the board's update agent: when the environment
// variable FIRMPACK_UPDATE_STATUS_FD names an open file descriptor, the tool
// also writes one JSON object per line to it: the start, each phase as it
// begins and ends (with bytes done and total where the tool itself moves the
// data), progress in between at most a few times a second, and the outcome.
// Without the variable every call here does nothing; a descriptor that fails
// or stops reading is dropped and the update goes on as if there were none.
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

inline constexpr const char* STATUS_FD_VARIABLE = "FIRMPACK_UPDATE_STATUS_FD";

// The phases of an update, in the order they can come.
inline constexpr const char* PHASE_HASHES = "hashes";         // of one firmpack
inline constexpr const char* PHASE_ACCEPTANCE = "acceptance"; // board, partition ID, pairing
inline constexpr const char* PHASE_LEGACY = "legacy";         // the Linux administration erased
inline constexpr const char* PHASE_COMPARISON = "comparison"; // with what the board holds
inline constexpr const char* PHASE_BASELINE = "baseline";     // the slot to write
inline constexpr const char* PHASE_BOOTLOADER = "bootloader"; // stored in its free slot
// Per filesystem, about its partition:
inline constexpr const char* PHASE_PREPARATION = "preparation";   // erased, a fresh UBI volume
inline constexpr const char* PHASE_EXTRACTION = "extraction";     // a gzip package unpacked
inline constexpr const char* PHASE_WRITE = "write";               // the filesystem into its volume
inline constexpr const char* PHASE_VERIFICATION = "verification"; // the new volume mounted
inline constexpr const char* PHASE_RECORDS = "records";           // the update administration

// Opens the stream from the environment, once at the start of the program.
void status_open();

// Whether objects are being written.
[[nodiscard]] bool status_active();

// The first object: the board id and the two firmpacks' names.
void status_start(uint32_t board_id, const char* os_name, const char* app_name);

// A phase begins, about subject (a firmpack or package name, or null), with
// total bytes to move (0 when the tool does not count them).
void status_begin(const char* phase, const char* subject, uint64_t total);

// bytes more of the phase's total are done; a progress object follows when
// the last one is old enough.
void status_advance(uint64_t bytes);

// The phase that began last ends, successfully.
void status_end();

// The last object. A phase still open failed with result; otherwise result 0
// is a completed update (a prepared legacy downgrade when the legacy phase
// came last), -1 an update that had nothing to do, anything else a failure
// before the first phase.
void status_finish(int result);
