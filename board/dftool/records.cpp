#include "board/dftool/records.h"

#include "firmpack/checksum.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <span>

namespace {

struct field {
    const char* name;
    uint32_t offset;
    bool hex; // shown in hexadecimal
};

constexpr field LINUX_FIELDS[] = {{"magic", 0, true},     {"valid", 4, false},
                                  {"sequence", 8, false}, {"format", 12, false},
                                  {"board_id", 16, true}, {"magic_end", 20, true}};
constexpr field BOOTLOADER_FIELDS[] = {{"magic", 0, true},         {"image_offset", 4, true},
                                       {"image_length", 8, false}, {"image_crc", 12, true},
                                       {"valid", 16, false},       {"sequence", 20, false},
                                       {"magic_end", 288, true}};
constexpr uint32_t LINUX_FORMAT = 2;

uint32_t get_le32(const uint8_t* bytes)
{
    return uint32_t{bytes[0]} | (uint32_t{bytes[1]} << 8) | (uint32_t{bytes[2]} << 16) |
           (uint32_t{bytes[3]} << 24);
}

void put_le32(uint8_t* bytes, uint32_t value)
{
    for (int n = 0; n < 4; ++n) {
        bytes[n] = static_cast<uint8_t>(value >> (8 * n));
    }
}

const field* find_field(std::span<const field> fields, const std::string& name)
{
    for (const field& f : fields) {
        if (name == f.name) {
            return &f;
        }
    }
    return nullptr;
}

bool parse_number(const std::string& text, uint32_t* value)
{
    char* end = nullptr;
    errno = 0;
    unsigned long number = strtoul(text.c_str(), &end, 0);
    if (text.empty() || *end != '\0' || errno != 0 || number > UINT32_MAX) {
        return false;
    }
    *value = static_cast<uint32_t>(number);
    return true;
}

// Applies "name=value" words to a record; "description" only to bootloader records.
int apply_words(std::span<const field> fields, const std::vector<std::string>& words,
                uint8_t* record, bool* magic_end_given, std::string* error)
{
    for (const std::string& word : words) {
        std::size_t equals = word.find('=');
        std::string name = word.substr(0, equals);
        std::string value = equals == std::string::npos ? "" : word.substr(equals + 1);
        const field* f = find_field(fields, name);
        uint32_t number = 0;
        if (equals != std::string::npos && name == "description" &&
            fields.data() == BOOTLOADER_FIELDS) {
            std::fill_n(record + BOOTLOADER_DESCRIPTION_OFFSET, BOOTLOADER_DESCRIPTION_SIZE, 0);
            std::copy_n(value.begin(),
                        std::min<std::size_t>(value.size(), BOOTLOADER_DESCRIPTION_SIZE),
                        record + BOOTLOADER_DESCRIPTION_OFFSET);
        } else if (equals != std::string::npos && f != nullptr && parse_number(value, &number)) {
            put_le32(record + f->offset, number);
            *magic_end_given = *magic_end_given || name == "magic_end";
        } else {
            *error = word;
            return EINVAL;
        }
    }
    return 0;
}

bool is_erased(const uint8_t* record, uint32_t size)
{
    return std::all_of(record, record + size, [](uint8_t b) { return b == 0xFF; });
}

std::string describe_fields(std::span<const field> fields, const uint8_t* record)
{
    std::string text;
    for (const field& f : fields) {
        char value[16];
        uint32_t number = get_le32(record + f.offset);
        if (f.hex) {
            snprintf(value, sizeof value, "0x%x", number);
        } else {
            snprintf(value, sizeof value, "%u", number);
        }
        text += text.empty() ? "" : " ";
        text += std::string(f.name) + "=" + value;
    }
    return text;
}

// The description up to its first NUL, with anything unprintable escaped.
std::string quote_description(const uint8_t* record)
{
    std::string text = "\"";
    for (uint32_t n = 0; n < BOOTLOADER_DESCRIPTION_SIZE; ++n) {
        uint8_t c = record[BOOTLOADER_DESCRIPTION_OFFSET + n];
        if (c == 0) {
            break;
        }
        if (c < 0x20 || c > 0x7E || c == '"' || c == '\\') {
            char escaped[8];
            snprintf(escaped, sizeof escaped, "\\x%02x", c);
            text += escaped;
        } else {
            text += static_cast<char>(c);
        }
    }
    return text + "\"";
}

} // namespace

int encode_linux_record(const std::vector<std::string>& words, std::vector<uint8_t>* record,
                        std::string* error)
{
    record->assign(LINUX_RECORD_SIZE, 0);
    uint8_t* r = record->data();
    put_le32(r + 0, RECORD_MAGIC);
    put_le32(r + 4, 1);
    put_le32(r + 8, 1);
    put_le32(r + 12, LINUX_FORMAT);
    bool magic_end_given = false;
    int result = apply_words(LINUX_FIELDS, words, r, &magic_end_given, error);
    if (!magic_end_given) {
        put_le32(r + 20, get_le32(r));
    }
    return result;
}

int encode_bootloader_record(const std::vector<std::string>& words, uint32_t default_image_offset,
                             const std::vector<uint8_t>& image_bytes, std::vector<uint8_t>* record,
                             std::string* error)
{
    record->assign(BOOTLOADER_RECORD_SIZE, 0);
    uint8_t* r = record->data();
    auto length = static_cast<uint32_t>(image_bytes.size());
    put_le32(r + 0, RECORD_MAGIC);
    put_le32(r + 4, default_image_offset);
    put_le32(r + 8, length);
    put_le32(r + 12, checksum_crc32(0, image_bytes.data(), length));
    put_le32(r + 16, 1);
    put_le32(r + 20, 1);
    bool magic_end_given = false;
    int result = apply_words(BOOTLOADER_FIELDS, words, r, &magic_end_given, error);
    if (!magic_end_given) {
        put_le32(r + 288, get_le32(r));
    }
    return result;
}

std::string describe_linux_record(const uint8_t* record)
{
    if (is_erased(record, LINUX_RECORD_SIZE)) {
        return "erased";
    }
    return describe_fields(LINUX_FIELDS, record);
}

std::string describe_bootloader_record(const uint8_t* record, const std::string& image_status)
{
    if (is_erased(record, BOOTLOADER_RECORD_SIZE)) {
        return "erased";
    }
    return describe_fields(BOOTLOADER_FIELDS, record) +
           " description=" + quote_description(record) + " image " + image_status;
}

uint32_t bootloader_image_offset(const uint8_t* record)
{
    return get_le32(record + 4);
}

uint32_t bootloader_image_length(const uint8_t* record)
{
    return get_le32(record + 8);
}

uint32_t bootloader_image_crc(const uint8_t* record)
{
    return get_le32(record + 12);
}

bool bootloader_record_counts(const uint8_t* record)
{
    uint32_t magic = get_le32(record);
    return magic == RECORD_MAGIC && get_le32(record + 288) == magic && get_le32(record + 16) != 0 &&
           bootloader_sequence(record) != 0;
}

bool linux_record_counts(const uint8_t* record, uint32_t board_id)
{
    uint32_t magic = get_le32(record);
    return magic == RECORD_MAGIC && get_le32(record + 20) == magic && get_le32(record + 4) == 1 &&
           get_le32(record + 12) == LINUX_FORMAT && get_le32(record + 16) == board_id;
}

uint32_t bootloader_sequence(const uint8_t* record)
{
    return get_le32(record + 20);
}

uint32_t linux_sequence(const uint8_t* record)
{
    return get_le32(record + 8);
}

std::string bootloader_description(const uint8_t* record)
{
    return quote_description(record);
}
