// SPDX-License-Identifier: MIT
#include "firmpack/fit.h"

#include "firmpack/byte_order.h"
#include "firmpack/result.h"

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <libfdt.h>
#include <string_view>
#include <strings.h>

namespace {

constexpr uint32_t SINGLE_IMAGE_MAGIC = 0x27051956;

constexpr std::string_view BOARD_CONFIG_PREFIX = "board_0x";
constexpr const char* BOARD_CONFIG_FORMAT = "board_0x%4.4x";
static_assert(std::string_view(BOARD_CONFIG_FORMAT).starts_with(BOARD_CONFIG_PREFIX));

constexpr const char* PROP_DESCRIPTION = "description";
constexpr const char* PROP_TIMESTAMP = "timestamp";
constexpr const char* PROP_DATA = "data";
constexpr const char* PROP_COMPRESSION = "compression";
constexpr const char* PROP_HASH_VALUE = "value";
constexpr const char* PROP_HASH_ALGO = "algo";
constexpr std::string_view HASH_NODE_PREFIX = "hash";
constexpr const char* PROP_FDT = "fdt";
constexpr const char* PROP_FILESYSTEM = "filesystem";
constexpr const char* PROP_FIRMWARE = "firmware";

constexpr const char* COMPRESSION_TITLE = "Compression";

// Ends with a negative id. The order is the order of the error listing.
constexpr name_table_entry compression_table[] = {
    {COMPRESSION_NONE, "none"}, {COMPRESSION_BZIP2, "bzip2"}, {COMPRESSION_GZIP, "gzip"},
    {COMPRESSION_LZMA, "lzma"}, {COMPRESSION_LZO, "lzo"},     {-1, nullptr},
};

// The parent path is resolved on every call; nothing is cached.
int child_node(const uint8_t* fit, const char* parent_path, const char* name)
{
    int parent = fdt_path_offset(fit, parent_path);
    if (parent < 0) {
        return parent;
    }
    return fdt_subnode_offset(fit, parent, name);
}

bool has_property(const uint8_t* fit, int node, const char* property)
{
    return fdt_getprop(fit, node, property, nullptr) != nullptr;
}

// A property's bytes and length, or null and the length's libfdt code.
const uint8_t* property_bytes(const uint8_t* fit, int node, const char* property, int* length)
{
    return static_cast<const uint8_t*>(fdt_getprop(fit, node, property, length));
}

// A string property in place. A value without its terminating NUL inside the
// property is not a string: reading it as one would run on into the tree.
const char* property_string(const uint8_t* fit, int node, const char* property, int* length)
{
    const uint8_t* value = property_bytes(fit, node, property, length);
    if (value == nullptr) {
        return nullptr;
    }
    if (memchr(value, '\0', static_cast<std::size_t>(*length)) == nullptr) {
        *length = -FDT_ERR_BADVALUE;
        return nullptr;
    }
    return reinterpret_cast<const char*>(value);
}

void print_valid_names(const name_table_entry* table, const char* title)
{
    fprintf(stderr, "\nInvalid %s Type - valid names are", title);
    char separator = ':';
    for (const name_table_entry* row = table; row->id >= 0; ++row) {
        if (row->name == nullptr) {
            continue;
        }
        fprintf(stderr, "%c %s", separator, row->name);
        separator = ',';
    }
    fprintf(stderr, "\n");
}

} // namespace

int firmpack_get_format(const uint8_t* fit)
{
    if (get_be32(fit) == SINGLE_IMAGE_MAGIC) {
        return FIRMPACK_FORMAT_SINGLE;
    }
    if (fdt_check_header(fit) == 0) {
        return FIRMPACK_FORMAT_FIT;
    }
    return FIRMPACK_FORMAT_INVALID;
}

bool firmpack_check_format(const uint8_t* fit)
{
    return has_property(fit, 0, PROP_DESCRIPTION) && has_property(fit, 0, PROP_TIMESTAMP) &&
           fdt_path_offset(fit, FIT_IMAGES_PATH) >= 0;
}

int firmpack_image_node(const uint8_t* fit, const char* image_name)
{
    return child_node(fit, FIT_IMAGES_PATH, image_name);
}

int firmpack_config_node(const uint8_t* fit, const char* config_name)
{
    return child_node(fit, FIT_CONFIGURATIONS_PATH, config_name);
}

void firmpack_board_config_name(uint32_t board_id, char name[BOARD_CONFIG_NAME_SIZE])
{
    snprintf(name, BOARD_CONFIG_NAME_SIZE, BOARD_CONFIG_FORMAT, board_id);
}

int firmpack_board_config(const uint8_t* fit, uint32_t board_id)
{
    char config_name[BOARD_CONFIG_NAME_SIZE];
    firmpack_board_config_name(board_id, config_name);
    return firmpack_config_node(fit, config_name);
}

int firmpack_config_board_id(const char* config_name, uint32_t* board_id)
{
    const std::string_view name = config_name;
    if (!name.starts_with(BOARD_CONFIG_PREFIX)) {
        return FIRMPACK_MISSING;
    }
    const char* digits = config_name + BOARD_CONFIG_PREFIX.size();
    char* end = nullptr;
    const unsigned long long id = strtoull(digits, &end, 16);
    if (end == digits || (*end != '\0' && *end != '@') || id > UINT32_MAX) {
        return FIRMPACK_MISSING;
    }
    *board_id = static_cast<uint32_t>(id);
    return FIRMPACK_OK;
}

int firmpack_config_image(const uint8_t* fit, int config, const char* property)
{
    int length = 0;
    const char* image_name = property_string(fit, config, property, &length);
    if (image_name == nullptr) {
        return length;
    }
    return firmpack_image_node(fit, image_name);
}

int firmpack_config_fdt(const uint8_t* fit, int config)
{
    return firmpack_config_image(fit, config, PROP_FDT);
}

int firmpack_config_filesystem(const uint8_t* fit, int config)
{
    return firmpack_config_image(fit, config, PROP_FILESYSTEM);
}

int firmpack_config_firmware(const uint8_t* fit, int config)
{
    return firmpack_config_image(fit, config, PROP_FIRMWARE);
}

int firmpack_get_string(const uint8_t* fit, int node, const char* property, const char** text)
{
    int length = 0;
    *text = property_string(fit, node, property, &length);
    return *text != nullptr ? FIRMPACK_OK : FIRMPACK_MISSING;
}

int firmpack_get_description(const uint8_t* fit, int node, const char** description)
{
    return firmpack_get_string(fit, node, PROP_DESCRIPTION, description);
}

int firmpack_get_data(const uint8_t* fit, int node, const uint8_t** data, uint32_t* size)
{
    int length = 0;
    *data = property_bytes(fit, node, PROP_DATA, &length);
    if (*data == nullptr) {
        *size = 0;
        return FIRMPACK_MISSING;
    }
    *size = static_cast<uint32_t>(length);
    return FIRMPACK_OK;
}

int firmpack_get_hash_value(const uint8_t* fit, int node, const uint8_t** value, int* length)
{
    *value = property_bytes(fit, node, PROP_HASH_VALUE, length);
    if (*value == nullptr) {
        *length = 0;
        return FIRMPACK_MISSING;
    }
    return FIRMPACK_OK;
}

int firmpack_get_hash_algo(const uint8_t* fit, int node, const char** algo)
{
    return firmpack_get_string(fit, node, PROP_HASH_ALGO, algo);
}

bool firmpack_is_hash_node(const char* node_name)
{
    return std::string_view(node_name).starts_with(HASH_NODE_PREFIX);
}

int firmpack_get_compression_name(const uint8_t* fit, int node, const char** name)
{
    return firmpack_get_string(fit, node, PROP_COMPRESSION, name);
}

int firmpack_get_compression(const uint8_t* fit, int node, uint8_t* code)
{
    const char* name = nullptr;
    if (firmpack_get_compression_name(fit, node, &name) != 0) {
        *code = COMPRESSION_UNKNOWN;
        return FIRMPACK_MISSING;
    }
    *code = static_cast<uint8_t>(compression_by_name(name));
    return FIRMPACK_OK;
}

int compression_by_name(const char* name)
{
    return name_table_lookup(compression_table, COMPRESSION_TITLE, name);
}

const char* compression_name(uint8_t code)
{
    for (const name_table_entry* row = compression_table; row->id >= 0; ++row) {
        if (row->id == code) {
            return row->name;
        }
    }
    return nullptr;
}

int name_table_lookup(const name_table_entry* table, const char* title, const char* name)
{
    for (const name_table_entry* row = table; row->id >= 0; ++row) {
        if (row->name != nullptr && strcasecmp(row->name, name) == 0) {
            return row->id;
        }
    }
    print_valid_names(table, title);
    return FIRMPACK_MISSING;
}
