// SPDX-License-Identifier: MIT
#include "firmpack/verify.h"

#include "firmpack/byte_order.h"
#include "firmpack/checksum.h"
#include "firmpack/fit.h"
#include "firmpack/md5.h"
#include "firmpack/result.h"
#include "firmpack/sha1.h"
#include "io/status.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <libfdt.h>
#include <openssl/evp.h>

namespace {

// The algorithms of the hash records, by their exact names; the last is
// computed in the signed set only.
enum hash_algorithm : int {
    ALGORITHM_CRC32,
    ALGORITHM_SHA1,
    ALGORITHM_MD5,
    ALGORITHM_SHA256,
    ALGORITHM_COUNT
};
constexpr std::array<const char*, ALGORITHM_COUNT> ALGORITHM_NAMES = {"crc32", "sha1", "md5",
                                                                      "sha256"};
constexpr int CRC32_SIZE = 4;
constexpr int SHA256_SIZE = 32;

// Bytes digested between two reports on the status stream; with nobody
// listening the data is digested in one go.
constexpr uint32_t PROGRESS_CHUNK = 1U << 20;

static_assert(SHA1_DIGEST_SIZE <= HASH_MAX_SIZE && MD5_DIGEST_SIZE <= HASH_MAX_SIZE &&
              SHA256_SIZE <= HASH_MAX_SIZE);

// Failure texts of one hash node; each is followed by the node and image names.
constexpr const char* NO_ALGO = " error!\nCan't get hash algo property";
constexpr const char* NO_VALUE = " error!\nCan't get hash value property";
constexpr const char* UNKNOWN_ALGO = " error!\nUnsupported hash algorithm";
constexpr const char* BAD_LENGTH = " error !\nBad hash value len";
constexpr const char* BAD_VALUE = " error!\nBad hash value";

// The algorithm of a name in a set, or ALGORITHM_COUNT for none it computes.
hash_algorithm algorithm_named(const char* algo, hash_set set)
{
    const int known = set == HASHES_SIGNED ? ALGORITHM_COUNT : ALGORITHM_SHA256;
    for (int i = 0; i < known; ++i) {
        if (strcmp(algo, ALGORITHM_NAMES[static_cast<std::size_t>(i)]) == 0) {
            return static_cast<hash_algorithm>(i);
        }
    }
    return ALGORITHM_COUNT;
}

// One digest under way; SHA-256 is OpenSSL's, like the signatures'.
struct digest_state {
    hash_algorithm algorithm;
    uint32_t crc;
    md5_context md5;
    sha1_context sha1;
    EVP_MD_CTX* sha256;
};

void digest_begin(digest_state* state, hash_algorithm algorithm)
{
    state->algorithm = algorithm;
    switch (algorithm) {
    case ALGORITHM_CRC32:
        state->crc = 0;
        return;
    case ALGORITHM_SHA1:
        sha1_init(&state->sha1);
        return;
    case ALGORITHM_MD5:
        md5_init(&state->md5);
        return;
    case ALGORITHM_SHA256:
        state->sha256 = EVP_MD_CTX_new();
        (void)EVP_DigestInit_ex(state->sha256, EVP_sha256(), nullptr);
        return;
    case ALGORITHM_COUNT:
        return;
    }
}

void digest_update(digest_state* state, const uint8_t* data, uint32_t size)
{
    switch (state->algorithm) {
    case ALGORITHM_CRC32:
        state->crc = checksum_crc32(state->crc, data, size);
        return;
    case ALGORITHM_SHA1:
        sha1_update(&state->sha1, data, size);
        return;
    case ALGORITHM_MD5:
        md5_update(&state->md5, data, size);
        return;
    case ALGORITHM_SHA256:
        if (state->sha256 != nullptr) {
            (void)EVP_DigestUpdate(state->sha256, data, size);
        }
        return;
    case ALGORITHM_COUNT:
        return;
    }
}

// The digest's bytes as its records store them; their count.
int digest_final(digest_state* state, uint8_t output[HASH_MAX_SIZE])
{
    switch (state->algorithm) {
    case ALGORITHM_CRC32:
        put_be32(output, state->crc);
        return CRC32_SIZE;
    case ALGORITHM_SHA1:
        sha1_final(&state->sha1, output);
        return SHA1_DIGEST_SIZE;
    case ALGORITHM_SHA256: {
        // A context that could not be made or run gives no digest, which no
        // record's value matches.
        unsigned length = 0;
        const bool made =
            state->sha256 != nullptr && EVP_DigestFinal_ex(state->sha256, output, &length) == 1;
        EVP_MD_CTX_free(state->sha256);
        return made ? static_cast<int>(length) : 0;
    }
    case ALGORITHM_MD5:
    case ALGORITHM_COUNT:
        break;
    }
    md5_final(&state->md5, output);
    return MD5_DIGEST_SIZE;
}

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

// How many of the algorithms of a set an image's hash records name.
uint64_t algorithms_named(const uint8_t* fit, int image, hash_set set)
{
    std::array<bool, ALGORITHM_COUNT> named{};
    int depth = 0;
    for (int hash = next_child(fit, image, &depth); hash >= 0;
         hash = next_child(fit, hash, &depth)) {
        const char* algo = nullptr;
        if (firmpack_is_hash_node(fdt_get_name(fit, hash, nullptr)) &&
            firmpack_get_hash_algo(fit, hash, &algo) == 0 &&
            algorithm_named(algo, set) != ALGORITHM_COUNT) {
            named[static_cast<std::size_t>(algorithm_named(algo, set))] = true;
        }
    }
    return static_cast<uint64_t>(std::count(named.begin(), named.end(), true));
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
        return FIRMPACK_MISSING;
    }
    auto& entry = digests->known[digests->count];
    if (firmpack_calc_hash(digests->data, digests->size, algo, entry.digest, &entry.length,
                           digests->set) != 0) {
        return FIRMPACK_MISSING;
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

bool firmpack_check_hashes(const uint8_t* fit, hash_set set)
{
    int images = fdt_path_offset(fit, FIT_IMAGES_PATH);
    if (images < 0) {
        printf("Can't find images parent node '%s' (%s)\n", FIT_IMAGES_PATH, fdt_strerror(images));
        return false;
    }
    printf("## Checking hash(es) for FIT Image at %08lx ...\n",
           reinterpret_cast<unsigned long>(fit));
    int depth = 0;
    unsigned number = 0;
    for (int image = next_child(fit, images, &depth); image >= 0;
         image = next_child(fit, image, &depth), ++number) {
        printf("   Hash(es) for Image %u (%s): ", number, fdt_get_name(fit, image, nullptr));
        if (!firmpack_check_image_hashes(fit, image, set)) {
            return false;
        }
        printf("\n");
    }
    return true;
}

bool firmpack_check_image_hashes(const uint8_t* fit, int image, hash_set set)
{
    const uint8_t* data = nullptr;
    uint32_t size = 0;
    if (firmpack_get_data(fit, image, &data, &size) != 0) {
        printf("Can't get image data/size\n");
        return false;
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
            return false;
        }
    }
    return true;
}

int firmpack_calc_hash(const uint8_t* data, uint32_t size, const char* algo,
                       uint8_t output[HASH_MAX_SIZE], int* length, hash_set set)
{
    const hash_algorithm algorithm = algorithm_named(algo, set);
    if (algorithm == ALGORITHM_COUNT) {
        return FIRMPACK_MISSING;
    }
    digest_state state;
    digest_begin(&state, algorithm);
    const uint32_t chunk = status_active() ? PROGRESS_CHUNK : size;
    for (uint32_t done = 0; done < size;) {
        const uint32_t part = std::min(size - done, chunk);
        digest_update(&state, data + done, part);
        status_advance(part);
        done += part;
    }
    *length = digest_final(&state, output);
    return FIRMPACK_OK;
}

bool firmpack_hash_known(const char* algo, hash_set set)
{
    return algorithm_named(algo, set) != ALGORITHM_COUNT;
}

uint64_t firmpack_hash_bytes(const uint8_t* fit, hash_set set)
{
    uint64_t total = 0;
    const int images = fdt_path_offset(fit, FIT_IMAGES_PATH);
    int depth = 0;
    for (int image = images < 0 ? images : next_child(fit, images, &depth); image >= 0;
         image = next_child(fit, image, &depth)) {
        const uint8_t* data = nullptr;
        uint32_t size = 0;
        if (firmpack_get_data(fit, image, &data, &size) == 0) {
            total += uint64_t{size} * algorithms_named(fit, image, set);
        }
    }
    return total;
}
