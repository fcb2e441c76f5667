// Firmpack tree access: small stateless accessors over libfdt.
//
// A firmpack is a FIT image: a flattened device tree whose "/images" node holds
// one child per package and whose "/configurations" node holds one child per
// board. Every accessor takes the firmpack as a pointer to its first byte; the
// extent is the total size in the tree's own header, which the firmpack sources
// have checked against what they mapped. Nothing is copied: every text, data
// range and value handed out points into the firmpack.
//
// Node offsets are libfdt's: 0 is the root, a negative value is a libfdt error
// code passed through unchanged. Nothing here prints, except name_table_lookup
// (and so compression_by_name and firmpack_get_compression) for an unknown name.
// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>

// Parents of the packages and of the board configurations.
inline constexpr const char* FIT_IMAGES_PATH = "/images";
inline constexpr const char* FIT_CONFIGURATIONS_PATH = "/configurations";

enum firmpack_format : int {
    FIRMPACK_FORMAT_INVALID = 0,
    FIRMPACK_FORMAT_SINGLE = 1, // the boot loader's older single-image header, not a FIT
    FIRMPACK_FORMAT_FIT = 2,
};

enum compression_code : uint8_t {
    COMPRESSION_NONE = 0,
    COMPRESSION_GZIP = 1,
    COMPRESSION_BZIP2 = 2,
    COMPRESSION_LZMA = 3,
    COMPRESSION_LZO = 4,
    COMPRESSION_UNKNOWN = 0xFF, // missing "compression", or a name not in the table
};

struct name_table_entry {
    int id;           // a negative id ends the table
    const char* name; // short name; rows without one are skipped
};

// 1, 2 or 0 as the buffer starts with the single-image magic, passes libfdt's
// header check, or neither.
[[nodiscard]] int firmpack_get_format(const uint8_t* fit);

// Whether the root has "description" and "timestamp" and "/images" exists.
[[nodiscard]] bool firmpack_check_format(const uint8_t* fit);

// Child of "/images" or "/configurations" by name (libfdt's unit-address rule),
// or a negative libfdt code.
[[nodiscard]] int firmpack_image_node(const uint8_t* fit, const char* image_name);
[[nodiscard]] int firmpack_config_node(const uint8_t* fit, const char* config_name);

// The name of a board's configuration: "board_0x%4.4x" filled with its id,
// which takes up to eight hexadecimal digits and the terminating NUL.
inline constexpr std::size_t BOARD_CONFIG_NAME_SIZE = 17;
void firmpack_board_config_name(uint32_t board_id, char name[BOARD_CONFIG_NAME_SIZE]);

// The configuration of a board, "board_0x%4.4x" filled with its id, or a
// negative libfdt code.
[[nodiscard]] int firmpack_board_config(const uint8_t* fit, uint32_t board_id);

// 0 and the board id that a configuration name "board_0x<hex digits>[@unit]"
// stands for; -1 for any other name.
[[nodiscard]] int firmpack_config_board_id(const char* config_name, uint32_t* board_id);

// The image that a configuration's string property names, or a negative libfdt
// code (the property's own code when it is missing).
[[nodiscard]] int firmpack_config_image(const uint8_t* fit, int config, const char* property);
[[nodiscard]] int firmpack_config_fdt(const uint8_t* fit, int config);
[[nodiscard]] int firmpack_config_filesystem(const uint8_t* fit, int config);
[[nodiscard]] int firmpack_config_firmware(const uint8_t* fit, int config);

// 0 and the value, or -1 with a null pointer (and zero length) when missing.
// A string property counts as missing when its value holds no NUL byte.
[[nodiscard]] int firmpack_get_string(const uint8_t* fit, int node, const char* property,
                                      const char** text);
[[nodiscard]] int firmpack_get_description(const uint8_t* fit, int node, const char** description);
[[nodiscard]] int firmpack_get_data(const uint8_t* fit, int node, const uint8_t** data,
                                    uint32_t* size);
[[nodiscard]] int firmpack_get_hash_value(const uint8_t* fit, int node, const uint8_t** value,
                                          int* length);
[[nodiscard]] int firmpack_get_hash_algo(const uint8_t* fit, int node, const char** algo);

// Whether a child of an image is a hash record: its name starts with "hash"
// (hash, hash@1, hash-2 and hashes alike).
[[nodiscard]] bool firmpack_is_hash_node(const char* node_name);

// 0 and the "compression" name as it stands; -1 and null when it is missing.
[[nodiscard]] int firmpack_get_compression_name(const uint8_t* fit, int node, const char** name);

// 0 and the code of the "compression" name (0xFF for an unknown name);
// -1 and 0xFF when the property is missing.
[[nodiscard]] int firmpack_get_compression(const uint8_t* fit, int node, uint8_t* code);

// Id of a compression name, or -1 after the table's error output.
[[nodiscard]] int compression_by_name(const char* name);

// The short name of a compression code, or null for a code not in the table.
[[nodiscard]] const char* compression_name(uint8_t code);

// Id of the first row whose short name equals name, ignoring case; otherwise
// -1 after listing the valid names on standard error.
[[nodiscard]] int name_table_lookup(const name_table_entry* table, const char* title,
                                    const char* name);
