#include "dataflash/record.h"

#include "dataflash/bootloader.h"
#include "dataflash/result.h"
#include "dataflash/transfer.h"
#include "firmpack/checksum.h"

#include <cstdio>

std::array<uint8_t, ADMIN_AREA_SIZE> admin_copy;
std::array<uint8_t*, BOOTLOADER_SLOT_COUNT> admin_records = {nullptr, nullptr};
int stored_slot = -1;

namespace {

namespace record = bootloader_admin_record;

// The first byte after the bootloader update administration and the first
// byte of the Linux update administration bound every stored image.
constexpr uint32_t FIRST_IMAGE_BYTE = BOOTLOADER_ADMIN_OFFSET + ADMIN_AREA_SIZE;
constexpr uint32_t IMAGE_LIMIT = LINUX_ADMIN_OFFSET;
static_assert(FIRST_IMAGE_BYTE == 0xCE820 && IMAGE_LIMIT == 0x410040);

bool header_is_valid(const uint8_t* r)
{
    uint32_t magic = get_le32(r + record::MAGIC);
    uint32_t image_offset = get_le32(r + record::IMAGE_OFFSET);
    // The end is summed in 64 bits: an offset and a length whose 32-bit sum
    // wraps around would otherwise pass and lead a read far past the buffer.
    uint64_t image_end = uint64_t{image_offset} + get_le32(r + record::IMAGE_LENGTH);
    return magic == RECORD_MAGIC && get_le32(r + record::MAGIC_END) == magic &&
           get_le32(r + record::VALID) != 0 && get_le32(r + record::SEQUENCE) != 0 &&
           image_offset >= FIRST_IMAGE_BYTE && image_end < IMAGE_LIMIT;
}

} // namespace

int read_bootloader_administration()
{
    if (dataflash_transfer(DATAFLASH_READ, admin_copy.data(), BOOTLOADER_ADMIN_OFFSET,
                           ADMIN_AREA_SIZE) != 0) {
        return RESULT_TRANSFER_FAILED;
    }
    admin_records = {admin_copy.data(), admin_copy.data() + ADMIN_SLOT_SIZE};
    return 0;
}

int check_package_type(const char* operation, int type)
{
    if (type != LIBSU_TYPE_BOOTLOADER) {
        printf("%s: Invalid type:%i\n", operation, type);
        return RESULT_BAD_REQUEST;
    }
    return 0;
}

int check_administration_loaded(const char* operation)
{
    if (admin_records[0] == nullptr) {
        printf("ERROR: %s: update administration not loaded\n", operation);
        return RESULT_BAD_REQUEST;
    }
    return 0;
}

int write_admin_slot(uint32_t area_offset, int slot, uint8_t* slot_bytes)
{
    uint32_t offset = area_offset + ADMIN_SLOT_SIZE * static_cast<uint32_t>(slot);
    if (dataflash_transfer(DATAFLASH_WRITE, slot_bytes, offset, ADMIN_SLOT_SIZE) != 0) {
        return RESULT_TRANSFER_FAILED;
    }
    return 0;
}

int validate_bootloader_record(uint8_t* r, uint8_t* work_buffer)
{
    if (!header_is_valid(r)) {
        put_le32(r + record::VALID, 0);
        return 0;
    }
    if (work_buffer == nullptr) {
        return 0;
    }
    uint32_t image_offset = get_le32(r + record::IMAGE_OFFSET);
    uint32_t image_length = get_le32(r + record::IMAGE_LENGTH);
    if (dataflash_transfer(DATAFLASH_READ, work_buffer, image_offset, image_length) != 0) {
        return RESULT_TRANSFER_FAILED;
    }
    // A damaged image makes its record count as absent; that is no failure.
    if (checksum_crc32(0, work_buffer, image_length) != get_le32(r + record::IMAGE_CRC)) {
        put_le32(r + record::VALID, 0);
    }
    return 0;
}

int find_newest_record()
{
    if (admin_records[0] == nullptr) {
        return -1;
    }
    uint32_t valid_0 = get_le32(admin_records[0] + record::VALID);
    uint32_t sequence_0 = get_le32(admin_records[0] + record::SEQUENCE);
    uint32_t valid_1 = get_le32(admin_records[1] + record::VALID);
    uint32_t sequence_1 = get_le32(admin_records[1] + record::SEQUENCE);
    // Slot 1 must be strictly newer: with equal sequences slot 0 wins.
    uint32_t newest_sequence = valid_0 != 0 ? sequence_0 : 0;
    int newest = valid_0 != 0 && sequence_0 != 0 ? 0 : -1;
    if (valid_1 != 0 && sequence_1 > newest_sequence) {
        newest = 1;
    }
    return newest;
}
