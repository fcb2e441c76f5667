// SPDX-License-Identifier: MIT
#include "firmpack/signature.h"

#include "firmpack/byte_order.h"
#include "firmpack/fit.h"

#include <array>
#include <cstring>
#include <libfdt.h>
#include <openssl/bn.h>
#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/rsa.h>
#include <string_view>

namespace {

constexpr std::string_view SIGNATURE_NODE_PREFIX = "signature";
constexpr const char* PROP_ALGO = "algo";
constexpr const char* PROP_PADDING = "padding";
constexpr const char* PROP_KEY_NAME_HINT = "key-name-hint";
constexpr const char* PROP_SIGN_IMAGES = "sign-images";
constexpr const char* PROP_VALUE = "value";
constexpr const char* PROP_HASHED_STRINGS = "hashed-strings";

// "hashed-strings": a zero offset, then how many bytes of the strings block
// are signed, each a big-endian 32-bit number.
constexpr int HASHED_STRINGS_SIZE = 8;
constexpr int HASHED_STRINGS_LENGTH_FIELD = 4;

// The properties of an image that mkimage leaves out of what it signs: the
// data, which the image's hash records stand for, and where it lies.
constexpr std::string_view UNSIGNED_PROPERTIES[] = {"data", "data-size", "data-position",
                                                    "data-offset"};

// Hash records that tie an image's data to a signature.
constexpr std::string_view STRONG_HASHES[] = {"sha1", "sha256"};

// The parts of an "algo" value: "<digest>,<key type and size>".
constexpr char ALGO_SEPARATOR = ',';
constexpr std::string_view WEAK_DIGEST = "sha1";
constexpr std::string_view PADDING_PKCS_1_5 = "pkcs-1.5";
constexpr std::string_view PADDING_PSS = "pss";

struct digest_row {
    std::string_view name;
    const char* library_name;
};

constexpr digest_row DIGESTS[] = {
    {"sha256", "SHA256"},
    {"sha384", "SHA384"},
    {"sha512", "SHA512"},
};

struct key_row {
    std::string_view name;
    int key_type; // the library's key type
    int bits;
};

constexpr key_row KEY_TYPES[] = {
    {"rsa2048", EVP_PKEY_RSA, 2048}, {"rsa3072", EVP_PKEY_RSA, 3072},
    {"rsa4096", EVP_PKEY_RSA, 4096}, {"ecdsa256", EVP_PKEY_EC, 256},
    {"ecdsa384", EVP_PKEY_EC, 384},
};

// An ECDSA signature is r and s, each as long as the curve's order; the
// library takes them DER-encoded, at most this long for the largest curve here.
constexpr int ECDSA_DER_MAX_SIZE = 128;

// mkimage stops at this depth of nesting; deeper trees are not signed.
constexpr int TREE_DEPTH_MAX = 32;

// The nodes whose bytes a signature covers, as libfdt node offsets.
constexpr std::size_t SIGNED_NODES_MAX = 100;

struct signed_nodes {
    std::size_t count;
    std::array<int, SIGNED_NODES_MAX> offsets;
};

// How much of each node the signed bytes hold (mkimage's own measure): 2 for
// a listed node, its properties and direct children's tags; 1 for the tags
// of a child of such a node; 0 for nothing.
constexpr int WANT_ALL = 2;

struct signature_algorithm {
    const EVP_MD* digest;
    int key_type;
    int bits;
    bool pss;
};

bool is_signature_node(const char* name)
{
    return std::string_view(name).starts_with(SIGNATURE_NODE_PREFIX);
}

bool has_signature_node(const uint8_t* fit, int config)
{
    int node = 0;
    fdt_for_each_subnode(node, fit, config)
    {
        if (is_signature_node(fdt_get_name(fit, node, nullptr))) {
            return true;
        }
    }
    return false;
}

// How many children of "/images" the lookup of name answers to, by libfdt's
// rule: the same name, or the name with a unit address when it has none.
int images_answering(const uint8_t* fit, const char* name)
{
    const std::string_view wanted = name;
    const bool has_unit_address = wanted.find('@') != std::string_view::npos;
    int count = 0;
    int node = 0;
    fdt_for_each_subnode(node, fit, fdt_path_offset(fit, FIT_IMAGES_PATH))
    {
        const std::string_view child = fdt_get_name(fit, node, nullptr);
        if (child == wanted || (!has_unit_address && child.starts_with(wanted) &&
                                child.size() > wanted.size() && child[wanted.size()] == '@')) {
            ++count;
        }
    }
    return count;
}

bool has_strong_hash(const uint8_t* fit, int image)
{
    int node = 0;
    fdt_for_each_subnode(node, fit, image)
    {
        const char* algo = nullptr;
        if (!firmpack_is_hash_node(fdt_get_name(fit, node, nullptr)) ||
            firmpack_get_hash_algo(fit, node, &algo) != 0) {
            continue;
        }
        for (std::string_view strong : STRONG_HASHES) {
            if (strong == algo) {
                return true;
            }
        }
    }
    return false;
}

// Whether the configuration names an image in property, as the update reads
// it: a property without a string reads no image.
bool names_image(const uint8_t* fit, int config, const char* property, const char** name)
{
    return firmpack_get_string(fit, config, property, name) == 0;
}

// SIGNATURE_VERIFIED when the image that property names, if the configuration
// has it, is one node with a strong hash record; else what is against it.
signature_verdict check_read_image(const uint8_t* fit, int config, const char* property,
                                   signature_finding* finding)
{
    const char* name = nullptr;
    if (!names_image(fit, config, property, &name)) {
        return SIGNATURE_VERIFIED;
    }
    const int image = firmpack_image_node(fit, name);
    if (image < 0) {
        finding->image = property;
        return SIGNATURE_NOT_COVERED;
    }
    if (images_answering(fit, name) > 1) {
        finding->image = name;
        return SIGNATURE_AMBIGUOUS;
    }
    if (!has_strong_hash(fit, image)) {
        finding->image = fdt_get_name(fit, image, nullptr);
        return SIGNATURE_WEAK_HASH;
    }
    return SIGNATURE_VERIFIED;
}

// The digest, key type and padding of a signature node's "algo" and "padding".
signature_verdict read_algorithm(const uint8_t* fit, int signature, const char* algo,
                                 signature_algorithm* algorithm)
{
    const std::string_view text = algo;
    const std::size_t separator = text.find(ALGO_SEPARATOR);
    if (separator == std::string_view::npos) {
        return SIGNATURE_UNKNOWN_ALGORITHM;
    }
    const std::string_view digest = text.substr(0, separator);
    const std::string_view key_type = text.substr(separator + 1);
    if (digest == WEAK_DIGEST) {
        return SIGNATURE_WEAK_ALGORITHM;
    }
    algorithm->digest = nullptr;
    for (const digest_row& row : DIGESTS) {
        if (row.name == digest) {
            algorithm->digest = EVP_get_digestbyname(row.library_name);
        }
    }
    algorithm->bits = 0;
    for (const key_row& row : KEY_TYPES) {
        if (row.name == key_type) {
            algorithm->key_type = row.key_type;
            algorithm->bits = row.bits;
        }
    }
    const char* padding = nullptr;
    algorithm->pss =
        firmpack_get_string(fit, signature, PROP_PADDING, &padding) == 0 && padding == PADDING_PSS;
    if (algorithm->digest == nullptr || algorithm->bits == 0 ||
        (padding != nullptr && !algorithm->pss && padding != PADDING_PKCS_1_5)) {
        return SIGNATURE_UNKNOWN_ALGORITHM;
    }
    return SIGNATURE_VERIFIED;
}

bool add_node(signed_nodes* nodes, int offset)
{
    if (nodes->count == SIGNED_NODES_MAX) {
        return false;
    }
    nodes->offsets[nodes->count++] = offset;
    return true;
}

bool is_signed_node(const signed_nodes& nodes, int offset)
{
    for (std::size_t i = 0; i < nodes.count; ++i) {
        if (nodes.offsets[i] == offset) {
            return true;
        }
    }
    return false;
}

// An image and its hash records.
bool add_image(const uint8_t* fit, int image, signed_nodes* nodes)
{
    if (!add_node(nodes, image)) {
        return false;
    }
    int node = 0;
    fdt_for_each_subnode(node, fit, image)
    {
        if (firmpack_is_hash_node(fdt_get_name(fit, node, nullptr)) && !add_node(nodes, node)) {
            return false;
        }
    }
    return true;
}

// The root, the configuration, and every image that a property listed in
// "sign-images" names (every name of the property), with its hash records.
bool collect_signed_nodes(const uint8_t* fit, int config, int signature, signed_nodes* nodes)
{
    nodes->count = 0;
    if (!add_node(nodes, 0) || !add_node(nodes, config)) {
        return false;
    }
    const int listed = fdt_stringlist_count(fit, signature, PROP_SIGN_IMAGES);
    for (int i = 0; i < listed; ++i) {
        const char* property = fdt_stringlist_get(fit, signature, PROP_SIGN_IMAGES, i, nullptr);
        const int names = fdt_stringlist_count(fit, config, property);
        for (int n = 0; n < names; ++n) {
            const int image =
                firmpack_image_node(fit, fdt_stringlist_get(fit, config, property, n, nullptr));
            if (image >= 0 && !add_image(fit, image, nodes)) {
                return false;
            }
        }
    }
    return true;
}

bool is_unsigned_property(const char* name)
{
    for (std::string_view excluded : UNSIGNED_PROPERTIES) {
        if (excluded == name) {
            return true;
        }
    }
    return false;
}

// Bytes for the digest, consecutive ranges joined into one update.
struct digest_run {
    EVP_MD_CTX* context;
    const uint8_t* start;
    std::size_t length;
    bool failed;
};

void flush_run(digest_run* run)
{
    if (run->length > 0 && EVP_DigestUpdate(run->context, run->start, run->length) != 1) {
        run->failed = true;
    }
    run->length = 0;
}

void add_bytes(digest_run* run, const uint8_t* bytes, std::size_t length)
{
    if (run->length > 0 && run->start + run->length == bytes) {
        run->length += length;
        return;
    }
    flush_run(run);
    run->start = bytes;
    run->length = length;
}

// Adds the structure-block bytes of the signed nodes to the digest, walking
// the tags as mkimage does. False for a tree mkimage cannot sign.
bool digest_structure(const uint8_t* fit, const signed_nodes& nodes, digest_run* run)
{
    const uint8_t* structure = fit + fdt_off_dt_struct(fit);
    std::array<int, TREE_DEPTH_MAX> parent_want{};
    int depth = -1;
    int want = 0;
    int next = 0;
    uint32_t tag = FDT_END;
    do {
        const int offset = next;
        tag = fdt_next_tag(fit, offset, &next);
        bool include = false;
        const char* name = nullptr;
        switch (tag) {
        case FDT_PROP:
            if (fdt_getprop_by_offset(fit, offset, &name, nullptr) == nullptr) {
                return false;
            }
            include = want >= WANT_ALL && !is_unsigned_property(name);
            break;
        case FDT_NOP:
            include = want >= WANT_ALL;
            break;
        case FDT_BEGIN_NODE:
            if (++depth == TREE_DEPTH_MAX) {
                return false;
            }
            parent_want[static_cast<std::size_t>(depth)] = want;
            want = is_signed_node(nodes, offset) ? WANT_ALL : (want > 0 ? want - 1 : 0);
            include = want > 0;
            break;
        case FDT_END_NODE:
            if (depth < 0) {
                return false;
            }
            include = want > 0;
            want = parent_want[static_cast<std::size_t>(depth--)];
            break;
        default:
            include = true; // the end tag
            break;
        }
        if (next < 0) {
            return false;
        }
        if (include) {
            add_bytes(run, structure + offset, static_cast<std::size_t>(next - offset));
        }
    } while (tag != FDT_END);
    return true;
}

// The digest of the bytes a signature node signs; 0 when they cannot be told.
unsigned digest_signed_bytes(const uint8_t* fit, int config, int signature, const EVP_MD* digest,
                             uint8_t output[EVP_MAX_MD_SIZE])
{
    int length = 0;
    const uint8_t* hashed_strings =
        static_cast<const uint8_t*>(fdt_getprop(fit, signature, PROP_HASHED_STRINGS, &length));
    if (hashed_strings == nullptr || length != HASHED_STRINGS_SIZE) {
        return 0;
    }
    const uint32_t strings_size = get_be32(hashed_strings + HASHED_STRINGS_LENGTH_FIELD);
    if (strings_size > fdt_size_dt_strings(fit)) {
        return 0;
    }
    signed_nodes nodes;
    if (!collect_signed_nodes(fit, config, signature, &nodes)) {
        return 0;
    }
    digest_run run{EVP_MD_CTX_new(), nullptr, 0, false};
    unsigned size = 0;
    if (run.context != nullptr && EVP_DigestInit_ex(run.context, digest, nullptr) == 1 &&
        digest_structure(fit, nodes, &run)) {
        add_bytes(&run, fit + fdt_off_dt_strings(fit), strings_size);
        flush_run(&run);
        if (run.failed || EVP_DigestFinal_ex(run.context, output, &size) != 1) {
            size = 0;
        }
    }
    EVP_MD_CTX_free(run.context);
    return size;
}

// The DER encoding of an ECDSA signature given as r and s of bits each, or 0.
int ecdsa_der(const uint8_t* value, int length, int bits, uint8_t der[ECDSA_DER_MAX_SIZE])
{
    const int half = (bits + 7) / 8;
    if (length != 2 * half) {
        return 0;
    }
    ECDSA_SIG* signature = ECDSA_SIG_new();
    BIGNUM* r = BN_bin2bn(value, half, nullptr);
    BIGNUM* s = BN_bin2bn(value + half, half, nullptr);
    if (signature == nullptr || r == nullptr || s == nullptr ||
        ECDSA_SIG_set0(signature, r, s) != 1) {
        BN_free(r);
        BN_free(s);
        ECDSA_SIG_free(signature);
        return 0;
    }
    int size = i2d_ECDSA_SIG(signature, nullptr);
    uint8_t* end = der;
    if (size <= 0 || size > ECDSA_DER_MAX_SIZE || i2d_ECDSA_SIG(signature, &end) != size) {
        size = 0;
    }
    ECDSA_SIG_free(signature);
    return size;
}

bool key_suits(const firmpack_key& key, const signature_algorithm& algorithm)
{
    return EVP_PKEY_get_base_id(key.public_key) == algorithm.key_type &&
           EVP_PKEY_get_bits(key.public_key) == algorithm.bits;
}

bool key_verifies(const firmpack_key& key, const signature_algorithm& algorithm,
                  const uint8_t* digest, unsigned digest_size, const uint8_t* value, int length)
{
    uint8_t der[ECDSA_DER_MAX_SIZE];
    const uint8_t* signature = value;
    int signature_size = length;
    if (algorithm.key_type == EVP_PKEY_EC) {
        signature_size = ecdsa_der(value, length, algorithm.bits, der);
        signature = der;
    }
    if (signature_size == 0) {
        return false;
    }
    EVP_PKEY_CTX* context = EVP_PKEY_CTX_new(key.public_key, nullptr);
    bool verified =
        context != nullptr && EVP_PKEY_verify_init(context) == 1 &&
        EVP_PKEY_CTX_set_signature_md(context, algorithm.digest) == 1 &&
        (algorithm.key_type != EVP_PKEY_RSA ||
         (EVP_PKEY_CTX_set_rsa_padding(context, algorithm.pss ? RSA_PKCS1_PSS_PADDING
                                                              : RSA_PKCS1_PADDING) == 1 &&
          (!algorithm.pss ||
           EVP_PKEY_CTX_set_rsa_pss_saltlen(context, RSA_PSS_SALTLEN_AUTO) == 1))) &&
        EVP_PKEY_verify(context, signature, static_cast<std::size_t>(signature_size), digest,
                        digest_size) == 1;
    EVP_PKEY_CTX_free(context);
    return verified;
}

// The first key of the set of the signature's type and size named hint, or null.
const firmpack_key* named_key(const firmpack_keys& keys, const signature_algorithm& algorithm,
                              const char* hint)
{
    for (int i = 0; hint != nullptr && i < keys.count; ++i) {
        const firmpack_key& key = keys.keys[static_cast<std::size_t>(i)];
        if (strcmp(key.name, hint) == 0 && key_suits(key, algorithm)) {
            return &key;
        }
    }
    return nullptr;
}

signature_verdict check_signature_node(const uint8_t* fit, int config, int signature,
                                       const char* const* image_properties, std::size_t image_count,
                                       const firmpack_keys& keys, signature_finding* finding)
{
    if (firmpack_get_string(fit, signature, PROP_ALGO, &finding->algo) != 0) {
        return SIGNATURE_UNKNOWN_ALGORITHM;
    }
    signature_algorithm algorithm{};
    const signature_verdict verdict = read_algorithm(fit, signature, finding->algo, &algorithm);
    if (verdict != SIGNATURE_VERIFIED) {
        return verdict;
    }
    for (std::size_t i = 0; i < image_count; ++i) {
        const char* name = nullptr;
        if (names_image(fit, config, image_properties[i], &name) &&
            fdt_stringlist_search(fit, signature, PROP_SIGN_IMAGES, image_properties[i]) < 0) {
            finding->image = image_properties[i];
            return SIGNATURE_NOT_COVERED;
        }
    }
    int length = 0;
    const uint8_t* value =
        static_cast<const uint8_t*>(fdt_getprop(fit, signature, PROP_VALUE, &length));
    uint8_t digest[EVP_MAX_MD_SIZE];
    const unsigned digest_size =
        value != nullptr ? digest_signed_bytes(fit, config, signature, algorithm.digest, digest)
                         : 0;
    const char* hint = nullptr;
    (void)firmpack_get_string(fit, signature, PROP_KEY_NAME_HINT, &hint);
    finding->key_name = hint;
    const firmpack_key* named = named_key(keys, algorithm, hint);
    if (digest_size == 0) {
        return named != nullptr ? SIGNATURE_BAD : SIGNATURE_UNKNOWN_KEY;
    }
    if (named != nullptr && key_verifies(*named, algorithm, digest, digest_size, value, length)) {
        return SIGNATURE_VERIFIED;
    }
    for (int i = 0; i < keys.count; ++i) {
        const firmpack_key& key = keys.keys[static_cast<std::size_t>(i)];
        if (&key != named && key_suits(key, algorithm) &&
            key_verifies(key, algorithm, digest, digest_size, value, length)) {
            finding->key_name = key.name;
            return SIGNATURE_VERIFIED;
        }
    }
    return named != nullptr ? SIGNATURE_BAD : SIGNATURE_UNKNOWN_KEY;
}

} // namespace

signature_verdict firmpack_check_signature(const uint8_t* fit, const char* config_name,
                                           const char* const* image_properties,
                                           std::size_t image_count, const firmpack_keys* keys,
                                           signature_finding* finding)
{
    *finding = {};
    const int config = firmpack_config_node(fit, config_name);
    if (config < 0) {
        return SIGNATURE_NO_CONFIGURATION;
    }
    if (!has_signature_node(fit, config)) {
        return SIGNATURE_MISSING;
    }
    for (std::size_t i = 0; i < image_count; ++i) {
        const signature_verdict verdict =
            check_read_image(fit, config, image_properties[i], finding);
        if (verdict != SIGNATURE_VERIFIED) {
            return verdict;
        }
    }
    signature_verdict first_verdict = SIGNATURE_MISSING;
    int node = 0;
    fdt_for_each_subnode(node, fit, config)
    {
        if (!is_signature_node(fdt_get_name(fit, node, nullptr))) {
            continue;
        }
        signature_finding node_finding{};
        const signature_verdict verdict = check_signature_node(fit, config, node, image_properties,
                                                               image_count, *keys, &node_finding);
        if (verdict == SIGNATURE_VERIFIED || first_verdict == SIGNATURE_MISSING) {
            first_verdict = verdict;
            *finding = node_finding;
        }
        if (verdict == SIGNATURE_VERIFIED) {
            break;
        }
    }
    return first_verdict;
}

const char* signature_verdict_text(signature_verdict verdict)
{
    switch (verdict) {
    case SIGNATURE_VERIFIED:
        return "verified";
    case SIGNATURE_NO_CONFIGURATION:
        return "no such configuration";
    case SIGNATURE_MISSING:
        return "no signature";
    case SIGNATURE_UNKNOWN_KEY:
        return "unknown key";
    case SIGNATURE_BAD:
        return "bad signature";
    case SIGNATURE_NOT_COVERED:
        return "image not covered by the signature";
    case SIGNATURE_WEAK_HASH:
        return "image without a sha1 or sha256 hash";
    case SIGNATURE_AMBIGUOUS:
        return "ambiguous image name";
    case SIGNATURE_WEAK_ALGORITHM:
        return "weak signature algorithm";
    case SIGNATURE_UNKNOWN_ALGORITHM:
        return "unknown signature algorithm";
    }
    return "unknown verdict";
}
