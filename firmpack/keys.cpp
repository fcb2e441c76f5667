// SPDX-License-Identifier: MIT
#include "firmpack/keys.h"

#include "firmpack/byte_order.h"
#include "firmpack/extent.h"
#include "firmpack/fit.h"
#include "firmpack/structure.h"

#include <cstring>
#include <libfdt.h>
#include <openssl/bn.h>
#include <openssl/core_names.h>
#include <openssl/evp.h>
#include <openssl/param_build.h>
#include <string_view>

namespace {

constexpr const char* KEYS_PATH = "/signature";
constexpr const char* PROP_KEY_NAME_HINT = "key-name-hint";
constexpr std::string_view KEY_NODE_PREFIX = "key-";

constexpr const char* PROP_RSA_MODULUS = "rsa,modulus";
constexpr const char* PROP_RSA_NUM_BITS = "rsa,num-bits";
constexpr const char* PROP_RSA_EXPONENT = "rsa,exponent";
constexpr int RSA_EXPONENT_MAX_SIZE = 8; // mkimage writes a 64-bit number

constexpr const char* PROP_ECDSA_CURVE = "ecdsa,curve";
constexpr const char* PROP_ECDSA_X = "ecdsa,x-point";
constexpr const char* PROP_ECDSA_Y = "ecdsa,y-point";
// A public point as the library takes it: the uncompressed-point tag, then
// both coordinates, each at most the 66 bytes of the largest curve's field.
constexpr uint8_t POINT_UNCOMPRESSED = 0x04;
constexpr int COORDINATE_MAX_SIZE = 66;

// A property's bytes and length when it has at least one byte, else null.
const uint8_t* property_bytes(const uint8_t* blob, int node, const char* property, int* length)
{
    const void* value = fdt_getprop(blob, node, property, length);
    return value != nullptr && *length > 0 ? static_cast<const uint8_t*>(value) : nullptr;
}

// The public key the parameters in builder describe, or null.
EVP_PKEY* key_from_parameters(const char* key_type, OSSL_PARAM_BLD* builder)
{
    OSSL_PARAM* parameters = OSSL_PARAM_BLD_to_param(builder);
    EVP_PKEY_CTX* context = EVP_PKEY_CTX_new_from_name(nullptr, key_type, nullptr);
    EVP_PKEY* key = nullptr;
    if (parameters == nullptr || context == nullptr || EVP_PKEY_fromdata_init(context) <= 0 ||
        EVP_PKEY_fromdata(context, &key, EVP_PKEY_PUBLIC_KEY, parameters) <= 0) {
        key = nullptr;
    }
    EVP_PKEY_CTX_free(context);
    OSSL_PARAM_free(parameters);
    return key;
}

// An RSA key whose modulus has exactly the bits that "rsa,num-bits" says.
EVP_PKEY* rsa_key(const uint8_t* blob, int node)
{
    int modulus_size = 0;
    int bits_size = 0;
    int exponent_size = 0;
    const uint8_t* modulus = property_bytes(blob, node, PROP_RSA_MODULUS, &modulus_size);
    const uint8_t* bits = property_bytes(blob, node, PROP_RSA_NUM_BITS, &bits_size);
    const uint8_t* exponent = property_bytes(blob, node, PROP_RSA_EXPONENT, &exponent_size);
    if (modulus == nullptr || bits == nullptr || bits_size != sizeof(uint32_t) ||
        exponent == nullptr || exponent_size > RSA_EXPONENT_MAX_SIZE) {
        return nullptr;
    }
    BIGNUM* n = BN_bin2bn(modulus, modulus_size, nullptr);
    BIGNUM* e = BN_bin2bn(exponent, exponent_size, nullptr);
    OSSL_PARAM_BLD* builder = OSSL_PARAM_BLD_new();
    EVP_PKEY* key = nullptr;
    if (n != nullptr && e != nullptr && builder != nullptr &&
        static_cast<uint32_t>(BN_num_bits(n)) == get_be32(bits) &&
        OSSL_PARAM_BLD_push_BN(builder, OSSL_PKEY_PARAM_RSA_N, n) != 0 &&
        OSSL_PARAM_BLD_push_BN(builder, OSSL_PKEY_PARAM_RSA_E, e) != 0) {
        key = key_from_parameters("RSA", builder);
    }
    OSSL_PARAM_BLD_free(builder);
    BN_free(e);
    BN_free(n);
    return key;
}

// An ECDSA key on the named curve; the library checks that the point lies on it.
EVP_PKEY* ecdsa_key(const uint8_t* blob, int node)
{
    const char* curve = nullptr;
    int x_size = 0;
    int y_size = 0;
    const uint8_t* x = property_bytes(blob, node, PROP_ECDSA_X, &x_size);
    const uint8_t* y = property_bytes(blob, node, PROP_ECDSA_Y, &y_size);
    if (firmpack_get_string(blob, node, PROP_ECDSA_CURVE, &curve) != 0 || x == nullptr ||
        y == nullptr || x_size != y_size || x_size > COORDINATE_MAX_SIZE) {
        return nullptr;
    }
    uint8_t point[1 + 2 * COORDINATE_MAX_SIZE];
    point[0] = POINT_UNCOMPRESSED;
    memcpy(point + 1, x, static_cast<std::size_t>(x_size));
    memcpy(point + 1 + x_size, y, static_cast<std::size_t>(y_size));
    OSSL_PARAM_BLD* builder = OSSL_PARAM_BLD_new();
    EVP_PKEY* key = nullptr;
    if (builder != nullptr &&
        OSSL_PARAM_BLD_push_utf8_string(builder, OSSL_PKEY_PARAM_GROUP_NAME, curve, 0) != 0 &&
        OSSL_PARAM_BLD_push_octet_string(builder, OSSL_PKEY_PARAM_PUB_KEY, point,
                                         static_cast<std::size_t>(1 + 2 * x_size)) != 0) {
        key = key_from_parameters("EC", builder);
    }
    OSSL_PARAM_BLD_free(builder);
    return key;
}

const char* key_name(const uint8_t* blob, int node)
{
    const char* hint = nullptr;
    if (firmpack_get_string(blob, node, PROP_KEY_NAME_HINT, &hint) == 0) {
        return hint;
    }
    const char* name = fdt_get_name(blob, node, nullptr);
    return std::string_view(name).starts_with(KEY_NODE_PREFIX) ? name + KEY_NODE_PREFIX.size()
                                                               : name;
}

} // namespace

keys_outcome firmpack_read_keys(const uint8_t* blob, uint32_t size, firmpack_keys* keys)
{
    keys->count = 0;
    if (firmpack_check_extent(blob, size) != 0 || firmpack_check_structure(blob) != 0 ||
        firmpack_get_format(blob) != FIRMPACK_FORMAT_FIT) {
        return KEYS_NOT_A_TREE;
    }
    const int parent = fdt_path_offset(blob, KEYS_PATH);
    int node = 0;
    fdt_for_each_subnode(node, blob, parent)
    {
        if (keys->count == FIRMPACK_KEYS_MAX) {
            break;
        }
        EVP_PKEY* key = fdt_getprop(blob, node, PROP_RSA_MODULUS, nullptr) != nullptr
                            ? rsa_key(blob, node)
                            : ecdsa_key(blob, node);
        if (key != nullptr) {
            keys->keys[static_cast<std::size_t>(keys->count++)] = {key_name(blob, node), key};
        }
    }
    return keys->count > 0 ? KEYS_READ : KEYS_NONE_USABLE;
}
