// The file mapper: the only code that maps files (firmpacks and version files).
#pragma once

#include <cstdint>

// Maps the whole file read-only and shared. 0 with the start and, when size is
// not null, the size; otherwise the errno value of the failing call, or 22 for
// an empty file, after a line on standard error. The caller owns the mapping
// and releases it with munmap of the same start and size.
[[nodiscard]] int map_image_file(const char* path, const uint8_t** start, int32_t* size);
