// SPDX-License-Identifier: MIT
#include "board/dftool/records.h"

#include "dataflash/layout.h"
#include "firmpack/byte_order.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <span>

namespace {

namespace linux_record = linux_admin_record;
namespace bootloader_record = bootloader_admin_record;

struct field {
    const char* name;
    uint32_t offset;
    bool hex; // shown in hexadecimal
};

constexpr field LINUX_FIELDS[] = {
    {"magic", linux_record::MAGIC, true},        {"valid", linux_record::VALID, false},
    {"sequence", linux_record::SEQUENCE, false}, {"format", linux_record::FORMAT, false},
    {"board_id", linux_record::BOARD_ID, true},  {"magic_end", linux_record::MAGIC_END, true}};
constexpr field BOOTLOADER_FIELDS[] = {{"magic", bootloader_record::MAGIC, true},
                                       {"image_offset", bootloader_record::IMAGE_OFFSET, true},
                                       {"image_length", bootloader_record::IMAGE_LENGTH, false},
                                       {"image_crc", bootloader_record::IMAGE_CRC, true},
                                       {"valid", bootloader_record::VALID, false},
                                       {"sequence", bootloader_record::SEQUENCE, false},
                                       {"magic_end", bootloader_record::MAGIC_END, true}};
// The sequence of a record whose words do not give one.
constexpr uint32_t DEFAULT_SEQUENCE = 1;
constexpr uint8_t ERASED_BYTE = 0xFF;

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
            std::fill_n(record + bootloader_record::DESCRIPTION,
                        bootloader_record::DESCRIPTION_SIZE, 0);
            std::copy_n(value.begin(),
                        std::min<std::size_t>(value.size(), bootloader_record::DESCRIPTION_SIZE),
                        record + bootloader_record::DESCRIPTION);
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
    return std::all_of(record, record + size, [](uint8_t b) { return b == ERASED_BYTE; });
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
    for (uint32_t n = 0; n < bootloader_record::DESCRIPTION_SIZE; ++n) {
        uint8_t c = record[bootloader_record::DESCRIPTION + n];
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
    record->assign(linux_record::SIZE, 0);
    uint8_t* r = record->data();
    put_le32(r + linux_record::MAGIC, RECORD_MAGIC);
    put_le32(r + linux_record::VALID, RECORD_VALID);
    put_le32(r + linux_record::SEQUENCE, DEFAULT_SEQUENCE);
    put_le32(r + linux_record::FORMAT, linux_record::FORMAT_CURRENT);
    bool magic_end_given = false;
    int result = apply_words(LINUX_FIELDS, words, r, &magic_end_given, error);
    if (!magic_end_given) {
        put_le32(r + linux_record::MAGIC_END, get_le32(r + linux_record::MAGIC));
    }
    return result;
}

int encode_bootloader_record(const std::vector<std::string>& words, uint32_t default_image_offset,
                             const std::vector<uint8_t>& image_bytes, std::vector<uint8_t>* record,
                             std::string* error)
{
    record->assign(bootloader_record::SIZE, 0);
    uint8_t* r = record->data();
    auto length = static_cast<uint32_t>(image_bytes.size());
    put_le32(r + bootloader_record::MAGIC, RECORD_MAGIC);
    put_le32(r + bootloader_record::IMAGE_OFFSET, default_image_offset);
    put_le32(r + bootloader_record::IMAGE_LENGTH, length);
    put_le32(r + bootloader_record::IMAGE_CRC, image_crc32(image_bytes.data(), length));
    put_le32(r + bootloader_record::VALID, RECORD_VALID);
    put_le32(r + bootloader_record::SEQUENCE, DEFAULT_SEQUENCE);
    bool magic_end_given = false;
    int result = apply_words(BOOTLOADER_FIELDS, words, r, &magic_end_given, error);
    if (!magic_end_given) {
        put_le32(r + bootloader_record::MAGIC_END, get_le32(r + bootloader_record::MAGIC));
    }
    return result;
}

std::string describe_linux_record(const uint8_t* record)
{
    if (is_erased(record, linux_record::SIZE)) {
        return "erased";
    }
    return describe_fields(LINUX_FIELDS, record);
}

std::string describe_bootloader_record(const uint8_t* record, const std::string& image_status)
{
    if (is_erased(record, bootloader_record::SIZE)) {
        return "erased";
    }
    return describe_fields(BOOTLOADER_FIELDS, record) +
           " description=" + quote_description(record) + " image " + image_status;
}

uint32_t bootloader_image_offset(const uint8_t* record)
{
    return get_le32(record + bootloader_record::IMAGE_OFFSET);
}

uint32_t bootloader_image_length(const uint8_t* record)
{
    return get_le32(record + bootloader_record::IMAGE_LENGTH);
}

uint32_t bootloader_image_crc(const uint8_t* record)
{
    return get_le32(record + bootloader_record::IMAGE_CRC);
}

bool bootloader_record_counts(const uint8_t* record)
{
    uint32_t magic = get_le32(record + bootloader_record::MAGIC);
    return magic == RECORD_MAGIC && get_le32(record + bootloader_record::MAGIC_END) == magic &&
           get_le32(record + bootloader_record::VALID) != 0 && bootloader_sequence(record) != 0;
}

bool linux_record_counts(const uint8_t* record, uint32_t board_id)
{
    uint32_t magic = get_le32(record + linux_record::MAGIC);
    return magic == RECORD_MAGIC && get_le32(record + linux_record::MAGIC_END) == magic &&
           get_le32(record + linux_record::VALID) == RECORD_VALID &&
           get_le32(record + linux_record::FORMAT) == linux_record::FORMAT_CURRENT &&
           get_le32(record + linux_record::BOARD_ID) == board_id;
}

uint32_t bootloader_sequence(const uint8_t* record)
{
    return get_le32(record + bootloader_record::SEQUENCE);
}

uint32_t linux_sequence(const uint8_t* record)
{
    return get_le32(record + linux_record::SEQUENCE);
}

std::string bootloader_description(const uint8_t* record)
{
    return quote_description(record);
}

uint32_t image_crc32(const uint8_t* bytes, uint32_t length)
{
    constexpr uint32_t REFLECTED_POLYNOMIAL = 0xEDB88320;
    uint32_t crc = 0xFFFFFFFF;
    for (uint32_t i = 0; i < length; ++i) {
        crc ^= bytes[i];
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc >> 1) ^ ((crc & 1) != 0 ? REFLECTED_POLYNOMIAL : 0);
        }
    }
    return ~crc;
}
