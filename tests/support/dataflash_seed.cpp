#include "tests/support/dataflash_seed.h"

#include "firmpack/checksum.h"

#include <algorithm>
#include <cstring>

void reset_dataflash_state()
{
    reset_test_dataflash();
    admin_records = {nullptr, nullptr};
    stored_slot = -1;
}

std::vector<uint8_t> flash_range(uint32_t offset, uint32_t length)
{
    auto start = test_dataflash().bytes.begin() + offset;
    return {start, start + length};
}

void put_linux_record(uint8_t* slot, uint32_t sequence, uint32_t board_id)
{
    namespace record = linux_admin_record;
    put_le32(slot + record::MAGIC, RECORD_MAGIC);
    put_le32(slot + record::VALID, 1);
    put_le32(slot + record::SEQUENCE, sequence);
    put_le32(slot + record::FORMAT, record::FORMAT_CURRENT);
    put_le32(slot + record::BOARD_ID, board_id);
    put_le32(slot + record::MAGIC_END, RECORD_MAGIC);
}

void put_bootloader_record(uint8_t* slot, uint32_t image_offset, uint32_t image_length,
                           uint32_t image_crc, uint32_t sequence, const char* description)
{
    namespace record = bootloader_admin_record;
    put_le32(slot + record::MAGIC, RECORD_MAGIC);
    put_le32(slot + record::IMAGE_OFFSET, image_offset);
    put_le32(slot + record::IMAGE_LENGTH, image_length);
    put_le32(slot + record::IMAGE_CRC, image_crc);
    put_le32(slot + record::VALID, 1);
    put_le32(slot + record::SEQUENCE, sequence);
    memset(slot + record::DESCRIPTION, 0, record::DESCRIPTION_SIZE);
    strncpy(reinterpret_cast<char*>(slot + record::DESCRIPTION), description,
            record::DESCRIPTION_SIZE - 1);
    put_le32(slot + record::MAGIC_END, RECORD_MAGIC);
}

void seed_bootloader(int slot, uint32_t sequence, const char* description, uint32_t length)
{
    uint8_t* flash = test_dataflash().bytes.data();
    uint32_t image_offset = BOOTLOADER_IMAGE_OFFSETS[slot];
    for (uint32_t i = 0; i < length; ++i) {
        flash[image_offset + i] = static_cast<uint8_t>(sequence + i * 7);
    }
    put_bootloader_record(flash + BOOTLOADER_ADMIN_OFFSET + ADMIN_SLOT_SIZE * slot, image_offset,
                          length, checksum_crc32(0, flash + image_offset, length), sequence,
                          description);
}
