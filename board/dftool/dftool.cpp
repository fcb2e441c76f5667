// dftool: seeds and reads back the dataflash of the board VM.
//
//   dftool probe                          MEMGETINFO of /dev/mtd1, /dev/mtd2, ...
//   dftool erase                          every byte of the dataflash 0xFF
//   dftool linux <baseline> [field=value]...
//   dftool bootloader <slot> [image=<file>] [field=value]...
//   dftool page32 <text>                  the text's bytes at the page-32 administration
//   dftool dump                           both administrations and page 32
//   dftool next <board id>                what the boot loader starts next
//   dftool area <offset>                  the area of the layout at that offset
//
// The dataflash is the first of /dev/mtd1, /dev/mtd2, ... of type
// MTD_DATAFLASH. Record fields and their defaults: see records.h.
// SPDX-License-Identifier: MIT

#include "board/dftool/records.h"
#include "dataflash/layout.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <mtd/mtd-user.h>
#include <string>
#include <sys/ioctl.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr const char* MTD_DEVICE_PREFIX = "/dev/mtd";
constexpr const char* MTD_CLASS_PREFIX = "/sys/class/mtd/mtd";
constexpr int FIRST_CANDIDATE = 1;

std::string mtd_device(int number)
{
    return MTD_DEVICE_PREFIX + std::to_string(number);
}

std::string mtd_name(int number)
{
    std::string name;
    FILE* file = fopen((MTD_CLASS_PREFIX + std::to_string(number) + "/name").c_str(), "r");
    if (file == nullptr) {
        return name;
    }
    for (int c = fgetc(file); c != EOF && c != '\n'; c = fgetc(file)) {
        name += static_cast<char>(c);
    }
    fclose(file);
    return name;
}

// 0 with the device's information, or the errno of the open or the ioctl.
int mtd_info(int number, mtd_info_user* info)
{
    int fd = open(mtd_device(number).c_str(), O_RDONLY);
    if (fd < 0) {
        return errno;
    }
    int result = ioctl(fd, MEMGETINFO, info) == 0 ? 0 : errno;
    close(fd);
    return result;
}

int probe()
{
    mtd_info_user info{};
    for (int number = FIRST_CANDIDATE; mtd_info(number, &info) == 0; ++number) {
        printf("mtd%d: type %u flags 0x%x size 0x%x erasesize %u writesize %u name %s\n", number,
               info.type, info.flags, info.size, info.erasesize, info.writesize,
               mtd_name(number).c_str());
    }
    return 0;
}

// Opens the dataflash read-write; -1 after a message when there is none.
int open_dataflash()
{
    mtd_info_user info{};
    for (int number = FIRST_CANDIDATE; mtd_info(number, &info) == 0; ++number) {
        if (info.type == MTD_DATAFLASH) {
            int fd = open(mtd_device(number).c_str(), O_RDWR | O_DSYNC);
            if (fd < 0) {
                perror("dftool: open");
            }
            return fd;
        }
    }
    fprintf(stderr, "dftool: no MTD_DATAFLASH device\n");
    return -1;
}

int transfer(bool write, uint8_t* bytes, uint32_t offset, uint32_t length)
{
    int fd = open_dataflash();
    if (fd < 0) {
        return 1;
    }
    ssize_t done = write ? pwrite(fd, bytes, length, offset) : pread(fd, bytes, length, offset);
    close(fd);
    if (done != static_cast<ssize_t>(length)) {
        fprintf(stderr, "dftool: %s of %u bytes at 0x%x: %s\n", write ? "write" : "read", length,
                offset, done < 0 ? strerror(errno) : "short");
        return 1;
    }
    return 0;
}

int read_file(const std::string& path, std::vector<uint8_t>* bytes)
{
    FILE* file = fopen(path.c_str(), "rb");
    if (file == nullptr) {
        perror(path.c_str());
        return 1;
    }
    uint8_t chunk[1 << 16];
    for (size_t got = fread(chunk, 1, sizeof chunk, file); got > 0;
         got = fread(chunk, 1, sizeof chunk, file)) {
        bytes->insert(bytes->end(), chunk, chunk + got);
    }
    fclose(file);
    return 0;
}

// A slot or baseline number: the whole word a decimal number, or -1.
int parse_index(const char* word)
{
    char* end = nullptr;
    long number = strtol(word, &end, 10);
    return *word != '\0' && *end == '\0' && number >= 0 && number <= 2 ? static_cast<int>(number)
                                                                       : -1;
}

int erase()
{
    std::vector<uint8_t> erased(DATAFLASH_SIZE, 0xFF);
    return transfer(true, erased.data(), 0, DATAFLASH_SIZE);
}

int bad_word(const std::string& word)
{
    fprintf(stderr, "dftool: bad field: %s\n", word.c_str());
    return 2;
}

int write_linux(int baseline, const std::vector<std::string>& words)
{
    std::vector<uint8_t> record;
    std::string error;
    if (baseline < 1 || baseline > 2) {
        return bad_word("baseline " + std::to_string(baseline));
    }
    if (encode_linux_record(words, &record, &error) != 0) {
        return bad_word(error);
    }
    return transfer(true, record.data(), linux_slot_offset(baseline), linux_admin_record::SIZE);
}

// image=<file> puts the file's bytes at the record's image offset.
int write_bootloader(int slot, std::vector<std::string> words)
{
    std::vector<uint8_t> image;
    for (auto word = words.begin(); word != words.end(); ++word) {
        if (word->rfind("image=", 0) == 0) {
            if (read_file(word->substr(6), &image) != 0) {
                return 1;
            }
            words.erase(word);
            break;
        }
    }
    if (slot < 0 || slot > 1) {
        return bad_word("slot " + std::to_string(slot));
    }
    uint32_t area = BOOTLOADER_IMAGE_OFFSETS[slot];
    std::vector<uint8_t> record;
    std::string error;
    if (encode_bootloader_record(words, area, image, &record, &error) != 0) {
        return bad_word(error);
    }
    if (!image.empty() && transfer(true, image.data(), bootloader_image_offset(record.data()),
                                   static_cast<uint32_t>(image.size())) != 0) {
        return 1;
    }
    return transfer(true, record.data(), bootloader_slot_offset(slot),
                    bootloader_admin_record::SIZE);
}

// The boot loader's page-32 administration, of which the tool only ever
// overwrites the first bytes.
int write_page32(const std::string& text)
{
    std::vector<uint8_t> bytes(text.begin(), text.end());
    return transfer(true, bytes.data(), PAGE32_ADMIN_OFFSET, static_cast<uint32_t>(bytes.size()));
}

const uint8_t* bootloader_slot(const std::vector<uint8_t>& flash, int slot)
{
    return flash.data() + bootloader_slot_offset(slot);
}

const uint8_t* linux_slot(const std::vector<uint8_t>& flash, int baseline)
{
    return flash.data() + linux_slot_offset(baseline);
}

std::string image_status(const std::vector<uint8_t>& flash, const uint8_t* record)
{
    uint64_t offset = bootloader_image_offset(record);
    uint32_t length = bootloader_image_length(record);
    if (offset + length > flash.size()) {
        return "outside";
    }
    uint32_t crc = image_crc32(flash.data() + offset, length);
    if (crc == bootloader_image_crc(record)) {
        return "ok";
    }
    char text[32];
    snprintf(text, sizeof text, "crc 0x%x", crc);
    return text;
}

int dump()
{
    std::vector<uint8_t> flash(DATAFLASH_SIZE);
    if (transfer(false, flash.data(), 0, DATAFLASH_SIZE) != 0) {
        return 1;
    }
    printf("page32:");
    for (uint32_t n = 0; n < PAGE32_ADMIN_CORRUPT_LENGTH; ++n) {
        printf(" %02x", flash[PAGE32_ADMIN_OFFSET + n]);
    }
    printf("\n");
    for (int slot = 0; slot < 2; ++slot) {
        const uint8_t* record = bootloader_slot(flash, slot);
        printf("bootloader %d: %s\n", slot,
               describe_bootloader_record(record, image_status(flash, record)).c_str());
    }
    for (int baseline = 1; baseline <= 2; ++baseline) {
        const uint8_t* record = linux_slot(flash, baseline);
        printf("linux %d: %s\n", baseline, describe_linux_record(record).c_str());
    }
    return 0;
}

// A bootloader record the boot loader would start: it counts, and its image
// lies inside the image areas and has the record's CRC.
bool bootloader_startable(const std::vector<uint8_t>& flash, const uint8_t* record)
{
    uint64_t end = uint64_t{bootloader_image_offset(record)} + bootloader_image_length(record);
    return bootloader_record_counts(record) &&
           bootloader_image_offset(record) >= BOOTLOADER_IMAGE_OFFSET_0 &&
           end < LINUX_ADMIN_OFFSET && image_status(flash, record) == "ok";
}

// What the boot loader starts at the next start, as the board models it: the
// startable bootloader record with the highest sequence (slot 0 on a tie),
// and the baseline of the Linux record with the highest sequence among those
// that count for the board (baseline 1 on a tie); "none" where there is none.
int next_start(const char* board_id_text)
{
    char* end = nullptr;
    errno = 0;
    unsigned long board_id = strtoul(board_id_text, &end, 0);
    if (*board_id_text == '\0' || *end != '\0' || errno != 0 || board_id > UINT32_MAX) {
        return bad_word(std::string("board id ") + board_id_text);
    }
    std::vector<uint8_t> flash(DATAFLASH_SIZE);
    if (transfer(false, flash.data(), 0, DATAFLASH_SIZE) != 0) {
        return 1;
    }
    int slot = -1;
    for (int candidate = 0; candidate < 2; ++candidate) {
        const uint8_t* record = bootloader_slot(flash, candidate);
        if (bootloader_startable(flash, record) &&
            (slot < 0 ||
             bootloader_sequence(record) > bootloader_sequence(bootloader_slot(flash, slot)))) {
            slot = candidate;
        }
    }
    int baseline = 0;
    for (int candidate = 1; candidate <= 2; ++candidate) {
        const uint8_t* record = linux_slot(flash, candidate);
        if (linux_record_counts(record, static_cast<uint32_t>(board_id)) &&
            (baseline == 0 ||
             linux_sequence(record) > linux_sequence(linux_slot(flash, baseline)))) {
            baseline = candidate;
        }
    }
    if (slot < 0) {
        printf("bootloader none\n");
    } else {
        const uint8_t* record = bootloader_slot(flash, slot);
        printf("bootloader slot %d sequence %u %s\n", slot, bootloader_sequence(record),
               bootloader_description(record).c_str());
    }
    if (baseline == 0) {
        printf("linux none\n");
    } else {
        printf("linux baseline %d sequence %u\n", baseline,
               linux_sequence(linux_slot(flash, baseline)));
    }
    return 0;
}

// The area of the dataflash layout that holds the byte at the offset.
int name_area(const char* offset_text)
{
    struct area {
        uint32_t start;
        const char* name;
    };
    constexpr area AREAS[] = {{0, "elsewhere"},
                              {PAGE32_ADMIN_OFFSET, "page 32"},
                              {PAGE32_ADMIN_OFFSET + DATAFLASH_PAGE_SIZE, "elsewhere"},
                              {BOOTLOADER_ADMIN_OFFSET, "bootloader slot 0"},
                              {BOOTLOADER_ADMIN_OFFSET + ADMIN_SLOT_SIZE, "bootloader slot 1"},
                              {BOOTLOADER_IMAGE_OFFSET_0, "bootloader image 0"},
                              {BOOTLOADER_IMAGE_OFFSET_1, "bootloader image 1"},
                              {LINUX_ADMIN_OFFSET, "Linux slot 1"},
                              {LINUX_ADMIN_OFFSET + ADMIN_SLOT_SIZE, "Linux slot 2"},
                              {LINUX_ADMIN_OFFSET + ADMIN_AREA_SIZE, "elsewhere"},
                              {DATAFLASH_SIZE, "outside"}};
    char* end = nullptr;
    errno = 0;
    unsigned long offset = strtoul(offset_text, &end, 0);
    if (*offset_text == '\0' || *end != '\0' || errno != 0) {
        return bad_word(std::string("offset ") + offset_text);
    }
    const char* name = AREAS[0].name;
    for (const area& a : AREAS) {
        if (a.start <= offset) {
            name = a.name;
        }
    }
    printf("%s\n", name);
    return 0;
}

int usage()
{
    fprintf(stderr, "usage: dftool probe | erase | dump | linux <baseline> [field=value]... |"
                    " bootloader <slot> [image=<file>] [field=value]... | page32 <text> |"
                    " next <board id> | area <offset>\n");
    return 2;
}

} // namespace

int main(int argc, char** argv)
{
    std::string command = argc > 1 ? argv[1] : "";
    std::vector<std::string> words(argv + std::min(argc, 3), argv + argc);
    if (argc == 2 && command == "probe") {
        return probe();
    }
    if (argc == 2 && command == "erase") {
        return erase();
    }
    if (argc == 2 && command == "dump") {
        return dump();
    }
    if (argc >= 3 && command == "linux") {
        return write_linux(parse_index(argv[2]), words);
    }
    if (argc == 3 && command == "area") {
        return name_area(argv[2]);
    }
    if (argc == 3 && command == "next") {
        return next_start(argv[2]);
    }
    if (argc == 3 && command == "page32") {
        return write_page32(argv[2]);
    }
    if (argc >= 3 && command == "bootloader") {
        return write_bootloader(parse_index(argv[2]), words);
    }
    return usage();
}
