// Fixed text buffers of the filesystem installation (command lines, paths):
// sizes derived at compile time from a printf format and its longest values,
// and texts formatted into them only whole.
// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>

// The longest int in decimal, sign included: "-2147483648".
inline constexpr std::size_t INT_TEXT_LENGTH = 11;

// Never defined: a format with a conversion that formatted_length does not
// know calls it, which stops the compilation.
void format_has_an_unknown_conversion();

// The longest text that format gives, NUL not counted, with each %i or %d
// given any int and each %s a text of at most text_length bytes. Any other
// conversion is refused at compile time.
consteval std::size_t formatted_length(const char* format, std::size_t text_length = 0)
{
    std::size_t length = 0;
    for (const char* c = format; *c != '\0'; ++c) {
        if (c[0] != '%') {
            ++length;
        } else if (c[1] == 'i' || c[1] == 'd') {
            length += INT_TEXT_LENGTH;
            ++c;
        } else if (c[1] == 's') {
            length += text_length;
            ++c;
        } else {
            format_has_an_unknown_conversion();
        }
    }
    return length;
}

// Bytes of a buffer that holds that text and its NUL.
consteval std::size_t formatted_size(const char* format, std::size_t text_length = 0)
{
    return formatted_length(format, text_length) + 1;
}

static_assert(formatted_size("/dev/ubi%i_0") == sizeof "/dev/ubi-2147483648_0");
static_assert(formatted_size("mtd%d/%s", 4) == sizeof "mtd-2147483648/name");

// snprintf into buffer of size bytes; whether the whole text, NUL included,
// went in. A text that did not fit is never used.
[[nodiscard]] bool format_text(char* buffer, std::size_t size, const char* format, ...)
    __attribute__((format(printf, 3, 4)));
