// SPDX-License-Identifier: MIT
#include "firmpack/verify.h"

#include "firmpack/byte_order.h"
#include "firmpack/checksum.h"
#include "firmpack/fit.h"
#include "firmpack/md5.h"
#include "firmpack/result.h"
#include "firmpack/sha1.h"

#include <cstddef>
#include <cstdio>
#include <cstring>
#include <libfdt.h>
#include <openssl/evp.h>

namespace {

constexpr const char* ALGO_CRC32 = "crc32";
constexpr const char* ALGO_SHA1 = "sha1";
constexpr const char* ALGO_MD5 = "md5";
constexpr const char* ALGO_SHA256 = "sha256"; // signed set only
constexpr int CRC32_SIZE = 4;
constexpr int SHA256_SIZE = 32;
constexpr int ALGORITHM_COUNT = 4;

static_assert(SHA1_DIGEST_SIZE <= HASH_MAX_SIZE && MD5_DIGEST_SIZE <= HASH_MAX_SIZE &&
              SHA256_SIZE <= HASH_MAX_SIZE);

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

// The digests of one image, each computed once however many hash nodes ask
// for it: the image data is read once per algorithm, not once per node.
struct image_digests {
    const uint8_t* data;
    uint32_t size;
    hash_set set;
    int count;
    struct {
        const char* algo;
        uint8_t digest[HASH_MAX_SIZE];
        int length;
    } known[ALGORITHM_COUNT];
};

// The digest of the image by algorithm name, or -1 for an unknown algorithm.
int image_digest(image_digests* digests, const char* algo, const uint8_t** digest, int* length)
{
    for (int i = 0; i < digests->count; ++i) {
        if (strcmp(digests->known[i].algo, algo) == 0) {
            *digest = digests->known[i].digest;
            *length = digests->known[i].length;
            return FIRMPACK_OK;
        }
    }
    if (digests->count == ALGORITHM_COUNT) {
        return FIRMPACK_UNKNOWN_ALGORITHM;
    }
    auto& entry = digests->known[digests->count];
    if (firmpack_calc_hash(digests->data, digests->size, algo, entry.digest, &entry.length,
                           digests->set) != 0) {
        return FIRMPACK_UNKNOWN_ALGORITHM;
    }
    entry.algo = algo;
    ++digests->count;
    *digest = entry.digest;
    *length = entry.length;
    return FIRMPACK_OK;
}

// Checks one hash node against the image's digests, printing the algorithm
// name once it is known. Null when the value matches, else the failure text.
const char* check_hash_node(const uint8_t* fit, int hash, image_digests* digests)
{
    const char* algo = nullptr;
    if (firmpack_get_hash_algo(fit, hash, &algo) != 0) {
        return NO_ALGO;
    }
    printf("%s", algo);
    const uint8_t* value = nullptr;
    int value_length = 0;
    if (firmpack_get_hash_value(fit, hash, &value, &value_length) != 0) {
        return NO_VALUE;
    }
    const uint8_t* digest = nullptr;
    int digest_length = 0;
    if (image_digest(digests, algo, &digest, &digest_length) != 0) {
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

} // namespace

int firmpack_check_hashes(const uint8_t* fit, hash_set set)
{
    int images = fdt_path_offset(fit, FIT_IMAGES_PATH);
    if (images < 0) {
        printf("Can't find images parent node '%s' (%s)\n", FIT_IMAGES_PATH, fdt_strerror(images));
        return FIRMPACK_CHECK_FAILED;
    }
    printf("## Checking hash(es) for FIT Image at %08lx ...\n",
           reinterpret_cast<unsigned long>(fit));
    int depth = 0;
    unsigned number = 0;
    for (int image = next_child(fit, images, &depth); image >= 0;
         image = next_child(fit, image, &depth), ++number) {
        printf("   Hash(es) for Image %u (%s): ", number, fdt_get_name(fit, image, nullptr));
        if (firmpack_check_image_hashes(fit, image, set) == 0) {
            return FIRMPACK_CHECK_FAILED;
        }
        printf("\n");
    }
    return FIRMPACK_CHECK_PASSED;
}

int firmpack_check_image_hashes(const uint8_t* fit, int image, hash_set set)
{
    const uint8_t* data = nullptr;
    uint32_t size = 0;
    if (firmpack_get_data(fit, image, &data, &size) != 0) {
        printf("Can't get image data/size\n");
        return FIRMPACK_CHECK_FAILED;
    }
    image_digests digests{};
    digests.data = data;
    digests.size = size;
    digests.set = set;
    int depth = 0;
    for (int node = next_child(fit, image, &depth); node >= 0;
         node = next_child(fit, node, &depth)) {
        const char* name = fdt_get_name(fit, node, nullptr);
        if (!firmpack_is_hash_node(name)) {
            continue;
        }
        const char* failure = check_hash_node(fit, node, &digests);
        if (failure != nullptr) {
            printf("%s for '%s' hash node in '%s' image node\n", failure, name,
                   fdt_get_name(fit, image, nullptr));
            return FIRMPACK_CHECK_FAILED;
        }
    }
    return FIRMPACK_CHECK_PASSED;
}

int firmpack_calc_hash(const uint8_t* data, uint32_t size, const char* algo,
                       uint8_t output[HASH_MAX_SIZE], int* length, hash_set set)
{
    if (strcmp(algo, ALGO_CRC32) == 0) {
        put_be32(output, checksum_crc32(0, data, size));
        *length = CRC32_SIZE;
        return FIRMPACK_OK;
    }
    if (strcmp(algo, ALGO_SHA1) == 0) {
        digest_sha1(data, size, output);
        *length = SHA1_DIGEST_SIZE;
        return FIRMPACK_OK;
    }
    if (strcmp(algo, ALGO_MD5) == 0) {
        digest_md5(data, size, output);
        *length = MD5_DIGEST_SIZE;
        return FIRMPACK_OK;
    }
    unsigned sha256_length = 0;
    if (set == HASHES_SIGNED && strcmp(algo, ALGO_SHA256) == 0 &&
        EVP_Digest(data, size, output, &sha256_length, EVP_sha256(), nullptr) == 1) {
        *length = static_cast<int>(sha256_length);
        return FIRMPACK_OK;
    }
    return FIRMPACK_UNKNOWN_ALGORITHM;
}
