// The file mapper: the only code that maps files (firmpacks and version files).
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

// Maps the whole file read-only and shared. 0 with the start and, when size is
// not null, the size; otherwise the errno value of the failing call, 22 for an
// empty file, or 19 for anything that is not a regular file, after a line on
// standard error. Never waits: a FIFO or a device is refused, not read. The
// caller owns the mapping and releases it with unmap_image_file.
//
// A mapped file that shrinks while it is read (or whose storage fails) ends
// the process: one line on standard error naming the file and exit status 5,
// instead of a bus error. Nothing after that point runs.
[[nodiscard]] int map_image_file(const char* path, const uint8_t** start, int32_t* size);

// munmap of a mapping from map_image_file: 0, or -1 with errno set.
[[nodiscard]] int unmap_image_file(const uint8_t* start, int32_t size);
