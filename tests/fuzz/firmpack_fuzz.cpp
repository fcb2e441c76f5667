// Fuzz target: everything the tool reads of a pair of firmpacks before it
// touches the board, which is the pair's acceptance: once as a board without
// a key file judges it, once as a board with one (the signed seed's key). An
// input that starts with a tree whose total size is smaller than the input is
// that tree as the OS firmpack and the rest as the APP firmpack; any other
// input is both. Each firmpack lies in memory exactly as large as it is, with
// an unreadable page after it, so that a read past its end crashes even
// inside libfdt, which is not built with the sanitizers.
// SPDX-License-Identifier: MIT

#include "acceptance/pair.h"
#include "firmpack/byte_order.h"
#include "firmpack/dtb_layout.h"
#include "firmpack/extent.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <sys/mman.h>
#include <unistd.h>

#if defined(__SANITIZE_ADDRESS__)
#define FUZZ_POISON 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define FUZZ_POISON 1
#endif
#endif
#ifdef FUZZ_POISON
#include <sanitizer/asan_interface.h>
#endif

namespace {

constexpr uint32_t BOARD_ID = 0x105;
// libfdt refuses a tree that does not start on an 8-byte boundary.
constexpr std::size_t TREE_ALIGNMENT = 8;

struct guarded_region {
    uint8_t* base;
    std::size_t capacity; // readable bytes before the guard page
};

// A copy of the bytes that ends where the guard page begins, give or take the
// alignment; those few bytes are poisoned for the sanitizer instead.
const uint8_t* guarded_copy(guarded_region* region, const uint8_t* bytes, std::size_t size)
{
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    const std::size_t padded = (size + TREE_ALIGNMENT - 1) / TREE_ALIGNMENT * TREE_ALIGNMENT;
    if (padded > region->capacity || region->base == nullptr) {
        if (region->base != nullptr) {
            munmap(region->base, region->capacity + page);
        }
        region->capacity = (padded + page) / page * page;
        void* base = mmap(nullptr, region->capacity + page, PROT_READ | PROT_WRITE,
                          MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (base == MAP_FAILED) {
            __builtin_trap();
        }
        region->base = static_cast<uint8_t*>(base);
        mprotect(region->base + region->capacity, page, PROT_NONE);
    }
    uint8_t* start = region->base + region->capacity - padded;
#ifdef FUZZ_POISON
    ASAN_UNPOISON_MEMORY_REGION(region->base, region->capacity);
    ASAN_POISON_MEMORY_REGION(start + size, padded - size);
#endif
    memcpy(start, bytes, size);
    return start;
}

// Where the OS firmpack ends in the input.
std::size_t os_part(const uint8_t* data, std::size_t size)
{
    if (size < FIRMPACK_PROBE_SIZE || get_be32(data + FDT_HEADER_MAGIC) != FDT_TREE_MAGIC) {
        return size;
    }
    const uint32_t total = get_be32(data + FDT_HEADER_TOTALSIZE);
    return total > 0 && total < size ? total : size;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size)
{
    static guarded_region os_region;
    static guarded_region app_region;
    if (size > INT32_MAX) {
        return 0;
    }
    const std::size_t os_size = os_part(data, size);
    const std::size_t app_size = os_size < size ? size - os_size : size;
    firmpack_pair pair{
        {guarded_copy(&os_region, data, os_size), static_cast<uint32_t>(os_size), "os.img"},
        {guarded_copy(&app_region, data + (size - app_size), app_size),
         static_cast<uint32_t>(app_size), "app.img"},
        BOARD_ID};
    // The packages an accepted pair installs are read on the way.
    int result = 0;
    (void)accept_pair(&pair, &result);
    firmpack_pair signed_pair{pair.os, pair.app, BOARD_ID, FPU_FUZZ_KEY_FILE};
    (void)accept_pair(&signed_pair, &result);
    return 0;
}
