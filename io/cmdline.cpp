// SPDX-License-Identifier: MIT
#include "io/cmdline.h"

#include "io/result.h"

#include <cstdlib>
#include <cstring>

namespace {

// Filled by the first caller that finds it empty; never changed afterwards.
char cmdline_cache[CMDLINE_SIZE];

uint32_t decimal_value(const char* text)
{
    return static_cast<uint32_t>(strtol(text, nullptr, 10));
}

} // namespace

void cmdline_find_param(const char* cmdline, const char* key, char* value)
{
    value[0] = '\0';
    char words[CMDLINE_SIZE] = {};
    strncpy(words, cmdline, CMDLINE_SIZE - 1);

    std::size_t key_length = strlen(key);
    char* word = words;
    while (*word != '\0') {
        char* end = strchr(word, ' ');
        if (end != nullptr) {
            *end = '\0';
        }
        if (strncmp(word, key, key_length) == 0 && word[key_length] == '=') {
            strcpy(value, word + key_length + 1);
            return;
        }
        if (end == nullptr) {
            return;
        }
        word = end + 1;
    }
}

int get_cmdline_param(const char* key, char* value)
{
    value[0] = '\0';
    if (cmdline_cache[0] == '\0') {
        int result = read_kernel_cmdline(cmdline_cache, sizeof cmdline_cache);
        if (result != 0) {
            return result;
        }
        if (cmdline_cache[0] == '\0') {
            return IO_CMDLINE_EMPTY;
        }
    }
    cmdline_find_param(cmdline_cache, key, value);
    return 0;
}

uint32_t board_id_from_params(const char* brd_id_io, const char* brd_id_core)
{
    return (decimal_value(brd_id_io) << 8) | decimal_value(brd_id_core);
}
