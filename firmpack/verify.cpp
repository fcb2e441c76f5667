#include "firmpack/verify.h"

#include "firmpack/checksum.h"
#include "firmpack/fit.h"
#include "firmpack/md5.h"
#include "firmpack/sha1.h"

#include <cstddef>
#include <cstdio>
#include <cstring>
#include <libfdt.h>

namespace {

constexpr const char* IMAGES_PATH = "/images";
constexpr const char* HASH_NODE_PREFIX = "hash"; // hash, hash@1, hash-2 and hashes alike
constexpr std::size_t HASH_NODE_PREFIX_LENGTH = 4;
constexpr const char* PROP_ALGO = "algo";

constexpr const char* ALGO_CRC32 = "crc32";
constexpr const char* ALGO_SHA1 = "sha1";
constexpr const char* ALGO_MD5 = "md5";
constexpr int CRC32_SIZE = 4;

static_assert(SHA1_DIGEST_SIZE <= HASH_MAX_SIZE && MD5_DIGEST_SIZE <= HASH_MAX_SIZE);

// Failure texts of one hash node; each is followed by the node and image names.
constexpr const char* NO_ALGO = " error!\nCan't get hash algo property";
constexpr const char* NO_VALUE = " error!\nCan't get hash value property";
constexpr const char* UNKNOWN_ALGO = " error!\nUnsupported hash algorithm";
constexpr const char* BAD_LENGTH = " error !\nBad hash value len";
constexpr const char* BAD_VALUE = " error!\nBad hash value";

// Next direct child of parent after node (or the first one when node is the
// parent itself, depth 0), or a negative value when there are no more. Deeper
// nodes are passed over; the walk ends when it leaves the parent.
int next_child(const uint8_t* fit, int node, int* depth)
{
    do {
        node = fdt_next_node(fit, node, depth);
    } while (node >= 0 && *depth > 1);
    return *depth > 0 ? node : -FDT_ERR_NOTFOUND;
}

// Checks one hash node against the image data, printing the algorithm name
// once it is known. Null when the value matches, else the failure text.
const char* check_hash_node(const uint8_t* fit, int hash, const uint8_t* data, uint32_t size)
{
    const char* algo = nullptr;
    if (firmpack_get_string(fit, hash, PROP_ALGO, &algo) != 0) {
        return NO_ALGO;
    }
    printf("%s", algo);
    const uint8_t* value = nullptr;
    int value_length = 0;
    if (firmpack_get_hash_value(fit, hash, &value, &value_length) != 0) {
        return NO_VALUE;
    }
    uint8_t digest[HASH_MAX_SIZE];
    int digest_length = 0;
    if (firmpack_calc_hash(data, size, algo, digest, &digest_length) != 0) {
        return UNKNOWN_ALGO;
    }
    if (digest_length != value_length) {
        return BAD_LENGTH;
    }
    if (memcmp(digest, value, static_cast<std::size_t>(digest_length)) != 0) {
        return BAD_VALUE;
    }
    printf("+ ");
    return nullptr;
}

void store_be32(uint8_t* p, uint32_t value)
{
    p[0] = static_cast<uint8_t>(value >> 24);
    p[1] = static_cast<uint8_t>(value >> 16);
    p[2] = static_cast<uint8_t>(value >> 8);
    p[3] = static_cast<uint8_t>(value);
}

} // namespace

int firmpack_check_hashes(const uint8_t* fit)
{
    int images = fdt_path_offset(fit, IMAGES_PATH);
    if (images < 0) {
        printf("Can't find images parent node '%s' (%s)\n", IMAGES_PATH, fdt_strerror(images));
        return 0;
    }
    printf("## Checking hash(es) for FIT Image at %08lx ...\n",
           reinterpret_cast<unsigned long>(fit));
    int depth = 0;
    unsigned number = 0;
    for (int image = next_child(fit, images, &depth); image >= 0;
         image = next_child(fit, image, &depth), ++number) {
        printf("   Hash(es) for Image %u (%s): ", number, fdt_get_name(fit, image, nullptr));
        if (firmpack_check_image_hashes(fit, image) == 0) {
            return 0;
        }
        printf("\n");
    }
    return 1;
}

int firmpack_check_image_hashes(const uint8_t* fit, int image)
{
    const uint8_t* data = nullptr;
    uint32_t size = 0;
    if (firmpack_get_data(fit, image, &data, &size) != 0) {
        printf("Can't get image data/size\n");
        return 0;
    }
    int depth = 0;
    for (int node = next_child(fit, image, &depth); node >= 0;
         node = next_child(fit, node, &depth)) {
        const char* name = fdt_get_name(fit, node, nullptr);
        if (strncmp(name, HASH_NODE_PREFIX, HASH_NODE_PREFIX_LENGTH) != 0) {
            continue;
        }
        const char* failure = check_hash_node(fit, node, data, size);
        if (failure != nullptr) {
            printf("%s for '%s' hash node in '%s' image node\n", failure, name,
                   fdt_get_name(fit, image, nullptr));
            return 0;
        }
    }
    return 1;
}

int firmpack_calc_hash(const uint8_t* data, uint32_t size, const char* algo,
                       uint8_t output[HASH_MAX_SIZE], int* length)
{
    if (strcmp(algo, ALGO_CRC32) == 0) {
        store_be32(output, checksum_crc32(0, data, size));
        *length = CRC32_SIZE;
        return 0;
    }
    if (strcmp(algo, ALGO_SHA1) == 0) {
        digest_sha1(data, size, output);
        *length = SHA1_DIGEST_SIZE;
        return 0;
    }
    if (strcmp(algo, ALGO_MD5) == 0) {
        digest_md5(data, size, output);
        *length = MD5_DIGEST_SIZE;
        return 0;
    }
    return -1;
}
