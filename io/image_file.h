// The file mapper: the only code that maps files (firmpacks, version files,
// key files).
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

// Where mapping a file failed, so that each caller can say it in its own words.
enum map_step : int {
    MAP_OPEN,       // open failed: the result is its errno value
    MAP_STAT,       // fstat failed: its errno value
    MAP_EMPTY,      // nothing to map (empty, a FIFO or a device): 22
    MAP_NOT_A_FILE, // a directory or another file without content: 19
    MAP_TOO_LARGE,  // larger than a signed 32-bit size: 27
    MAP_MMAP,       // mmap failed: its errno value
};

// Maps the whole file read-only and shared, and prints nothing. 0 with the
// start and, when size is not null, the size; otherwise the result with
// *failed_step saying which step failed. Never waits: a FIFO or a device is
// refused, not read. The caller owns the mapping and releases it with
// unmap_image_file.
[[nodiscard]] int map_file(const char* path, const uint8_t** start, int32_t* size,
                           map_step* failed_step);

// map_file with one line on standard error when it fails: "Failed to open",
// "Can't stat", "Bad size" or "Can't read", each naming the file.
[[nodiscard]] int map_image_file(const char* path, const uint8_t** start, int32_t* size);

// munmap of a mapping from map_file or map_image_file: 0, or -1 with errno set.
[[nodiscard]] int unmap_image_file(const uint8_t* start, int32_t size);

// From this call on, a mapped file that shrinks while it is read (or whose
// storage fails) ends the process with one line on standard error naming the
// file and exit status 5, instead of a bus error: nothing after that point
// runs. A program calls it once at its start, as it sets up its other signals.
void guard_mapped_files();
