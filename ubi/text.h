// Fixed text buffers of the filesystem installation (command lines, paths):
// sizes derived from a printf format and its longest values, and whether a
// formatted text went in whole.
// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>

// The longest int in decimal, sign included: "-2147483648".
inline constexpr std::size_t INT_TEXT_LENGTH = 11;

// The longest text that format gives, NUL not counted, with each %i or %d
// given any int and each %s a text of at most text_length bytes (the formats
// use no other conversions).
constexpr std::size_t formatted_length(const char* format, std::size_t text_length = 0)
{
    std::size_t length = 0;
    for (const char* c = format; *c != '\0'; ++c) {
        if (c[0] == '%' && (c[1] == 'i' || c[1] == 'd')) {
            length += INT_TEXT_LENGTH;
            ++c;
        } else if (c[0] == '%' && c[1] == 's') {
            length += text_length;
            ++c;
        } else {
            ++length;
        }
    }
    return length;
}

// Bytes of a buffer that holds that text and its NUL.
constexpr std::size_t formatted_size(const char* format, std::size_t text_length = 0)
{
    return formatted_length(format, text_length) + 1;
}

static_assert(formatted_size("/dev/ubi%i_0") == sizeof "/dev/ubi-2147483648_0");
static_assert(formatted_size("mtd%d/%s", 4) == sizeof "mtd-2147483648/name");

// Whether snprintf's result written says the whole text, NUL included, went
// into a buffer of size bytes.
constexpr bool formatted_whole(int written, std::size_t size)
{
    return written >= 0 && static_cast<std::size_t>(written) < size;
}
