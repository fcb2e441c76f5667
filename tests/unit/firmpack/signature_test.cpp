// SPDX-License-Identifier: MIT
#include "firmpack/keys.h"
#include "firmpack/signature.h"

#include "tests/support/fixture.h"
#include "tests/support/sample_pair.h"

#include <gtest/gtest.h>

#include <array>
#include <libfdt.h>
#include <string>
#include <vector>

namespace {

const char* const OS_IMAGES[] = {"firmware", "filesystem", "fdt"};
const char* const SIGNATURE_1 = "/configurations/board_0x0105/signature-1";
const char* const SIGNATURE_3 = "/configurations/board_0x0300/signature-1";

// The key file mkimage wrote beside the signed firmpack; key names point into it.
const std::vector<uint8_t>& key_file()
{
    static const std::vector<uint8_t> file = load_fixture("keys.dtb");
    return file;
}

// Keys are never freed: each set read stays in static storage, where the leak
// check at the end of the process still finds it.
const firmpack_keys& read_keys(const std::vector<uint8_t>& file, keys_outcome expected)
{
    static std::array<firmpack_keys, 16> kept;
    static std::size_t used = 0;
    firmpack_keys& keys = kept.at(used++);
    EXPECT_EQ(expected, firmpack_read_keys(file.data(), static_cast<uint32_t>(file.size()), &keys));
    return keys;
}

// The fixture's keys but the one named left_out.
firmpack_keys keys_without(const char* left_out)
{
    static const firmpack_keys& all = read_keys(key_file(), KEYS_READ);
    firmpack_keys keys{};
    for (int i = 0; i < all.count; ++i) {
        if (left_out == nullptr || std::string(all.keys[i].name) != left_out) {
            keys.keys[keys.count++] = all.keys[i];
        }
    }
    return keys;
}

std::string text_or_null(const char* text)
{
    return text != nullptr ? text : "(null)";
}

// The first bytes of a property of the signed fixture.
std::string property_prefix(const char* node, const char* property, std::size_t length)
{
    std::vector<uint8_t> fit = load_fixture("os_signed.fit");
    int size = 0;
    const void* value = fdt_getprop(fit.data(), fdt_path_offset(fit.data(), node), property, &size);
    EXPECT_NE(nullptr, value);
    return std::string(static_cast<const char*>(value), length);
}

// Each attack on a signed firmpack, refused for its own reason, and what does verify.
TEST(ConfigurationSignature, EveryAlgorithmVerifiesAndEveryAttackIsRefused)
{
    struct signature_case {
        const char* name;
        const char* fixture;
        const char* config;
        property_change change;
        const char* left_out_key; // of the key set; null: every key of the file
        signature_verdict verdict;
        const char* algo;
        const char* key_name;
        const char* image;
    };
    const char* fit = "os_signed.fit";
    const char* board = "board_0x0105";
    const char* rsa2048 = "sha256,rsa2048";
    const signature_case cases[] = {
        {"rsa2048-pkcs-1.5", fit, board, UNCHANGED, nullptr, SIGNATURE_VERIFIED, rsa2048, "dev",
         nullptr},
        {"padding-named", fit, board, text(SIGNATURE_1, "padding", "pkcs-1.5"), nullptr,
         SIGNATURE_VERIFIED, rsa2048, "dev", nullptr},
        {"rsa4096-pss", fit, "board_0x0200", UNCHANGED, nullptr, SIGNATURE_VERIFIED,
         "sha256,rsa4096", "big", nullptr},
        {"second-signature-when-the-first-key-is-gone", fit, "board_0x0200", UNCHANGED, "big",
         SIGNATURE_VERIFIED, rsa2048, "dev", nullptr},
        {"ecdsa256", fit, "board_0x0300", UNCHANGED, nullptr, SIGNATURE_VERIFIED, "sha256,ecdsa256",
         "ec", nullptr},
        {"partition-id-byte-rehashed", fit, board, bytes("/images/fdt@1", "data", "3"), nullptr,
         SIGNATURE_BAD, rsa2048, "dev", nullptr},
        {"hash-value", fit, board,
         damaged("/images/rootfs@1/hash@1", "value", std::string(20, '\x5a')), nullptr,
         SIGNATURE_BAD, rsa2048, "dev", nullptr},
        {"description-of-a-covered-image", fit, board,
         text("/images/bootloader@1", "description", "bootloader 2027.01"), nullptr, SIGNATURE_BAD,
         rsa2048, "dev", nullptr},
        {"configuration-pointed-at-another-image", fit, board,
         text("/configurations/board_0x0105", "filesystem", "spare"), nullptr, SIGNATURE_BAD,
         rsa2048, "dev", nullptr},
        {"image-left-out-of-sign-images", fit, board,
         bytes(SIGNATURE_1, "sign-images", std::string("firmware\0fdt", 13)), nullptr,
         SIGNATURE_NOT_COVERED, rsa2048, nullptr, "filesystem"},
        {"second-node-answering-the-same-name", fit, board,
         text("/images/rootfs@2", "description", "filesystem R5.1"), nullptr, SIGNATURE_AMBIGUOUS,
         nullptr, nullptr, "rootfs"},
        {"key-not-in-the-file", fit, board, UNCHANGED, "dev", SIGNATURE_UNKNOWN_KEY, rsa2048, "dev",
         nullptr},
        {"hint-naming-no-key-of-the-file", fit, "board_0x0300",
         text(SIGNATURE_3, "key-name-hint", "gone"), nullptr, SIGNATURE_VERIFIED, "sha256,ecdsa256",
         "ec", nullptr},
        {"no-signature", "os_good.fit", board, UNCHANGED, nullptr, SIGNATURE_MISSING, nullptr,
         nullptr, nullptr},
        {"sha1-signature", fit, board, text(SIGNATURE_1, "algo", "sha1,rsa2048"), nullptr,
         SIGNATURE_WEAK_ALGORITHM, "sha1,rsa2048", nullptr, nullptr},
        {"unknown-algorithm", fit, board, text(SIGNATURE_1, "algo", "sha256,rsa1024"), nullptr,
         SIGNATURE_UNKNOWN_ALGORITHM, "sha256,rsa1024", nullptr, nullptr},
        {"crc32-only-image", fit, board, text("/images/fdt@1/hash@1", "algo", "crc32"), nullptr,
         SIGNATURE_WEAK_HASH, nullptr, nullptr, "fdt@1"},
        {"md5-only-image", fit, board, text("/images/rootfs@1/hash@1", "algo", "md5"), nullptr,
         SIGNATURE_WEAK_HASH, nullptr, nullptr, "rootfs@1"},
        {"truncated-value", fit, board,
         damaged(SIGNATURE_1, "value", property_prefix(SIGNATURE_1, "value", 255)), nullptr,
         SIGNATURE_BAD, rsa2048, "dev", nullptr},
        {"truncated-ecdsa-value", fit, "board_0x0300",
         damaged(SIGNATURE_3, "value", property_prefix(SIGNATURE_3, "value", 63)), nullptr,
         SIGNATURE_BAD, "sha256,ecdsa256", "ec", nullptr},
        {"hashed-strings-past-the-strings", fit, board,
         damaged(SIGNATURE_1, "hashed-strings", std::string("\0\0\0\0\0\1\0\0", 8)), nullptr,
         SIGNATURE_BAD, rsa2048, "dev", nullptr},
        {"no-such-configuration", fit, "board_0x0999", UNCHANGED, nullptr,
         SIGNATURE_NO_CONFIGURATION, nullptr, nullptr, nullptr},
    };
    for (const signature_case& c : cases) {
        const std::vector<uint8_t> firmpack = changed_firmpack(load_fixture(c.fixture), c.change);
        const firmpack_keys keys = keys_without(c.left_out_key);
        signature_finding finding{};
        EXPECT_EQ(c.verdict, firmpack_check_signature(firmpack.data(), c.config, OS_IMAGES,
                                                      std::size(OS_IMAGES), &keys, &finding))
            << c.name;
        EXPECT_EQ(text_or_null(c.algo), text_or_null(finding.algo)) << c.name;
        EXPECT_EQ(text_or_null(c.key_name), text_or_null(finding.key_name)) << c.name;
        EXPECT_EQ(text_or_null(c.image), text_or_null(finding.image)) << c.name;
    }
}

// The update reads no image through a property the configuration lacks (the
// filesystem of a legacy firmpack), so there is nothing to cover.
TEST(ConfigurationSignature, APropertyTheConfigurationLacksNamesNothing)
{
    const std::vector<uint8_t> fit = load_fixture("os_signed.fit");
    const char* const properties[] = {"filesystem", "ramdisk"};
    const firmpack_keys keys = keys_without(nullptr);
    signature_finding finding{};
    EXPECT_EQ(SIGNATURE_VERIFIED,
              firmpack_check_signature(fit.data(), "board_0x0105", properties, 2, &keys, &finding));
}

TEST(KeyFile, KeysAndWhatIsNoKey)
{
    struct key_file_case {
        const char* name;
        std::vector<uint8_t> file;
        keys_outcome outcome;
        const char* names; // of the keys read, in the file's order
    };
    const std::vector<uint8_t>& file = key_file();
    const key_file_case cases[] = {
        {"mkimage-key-file", file, KEYS_READ, "ec big dev "},
        {"rsa-key-named-by-its-node",
         changed_firmpack(file, removed("/signature/key-dev", "key-name-hint")), KEYS_READ,
         "ec big dev "},
        {"rsa-key-named-by-its-hint",
         changed_firmpack(file, text("/signature/key-big", "key-name-hint", "next")), KEYS_READ,
         "ec next dev "},
        {"modulus-of-other-size",
         changed_firmpack(
             file, damaged("/signature/key-big", "rsa,num-bits", std::string("\0\0\x10\x01", 4))),
         KEYS_READ, "ec dev "},
        {"point-off-the-curve",
         changed_firmpack(file, damaged("/signature/ec", "ecdsa,x-point", std::string(32, '\1'))),
         KEYS_READ, "big dev "},
        {"unknown-curve",
         changed_firmpack(file, damaged("/signature/ec", "ecdsa,curve", std::string("x", 2))),
         KEYS_READ, "big dev "},
        {"empty", {}, KEYS_NOT_A_TREE, ""},
        {"not-a-tree", std::vector<uint8_t>(64, 0x5a), KEYS_NOT_A_TREE, ""},
        {"truncated", std::vector<uint8_t>(file.begin(), file.begin() + 100), KEYS_NOT_A_TREE, ""},
        {"tree-without-keys", load_fixture("os_good.fit"), KEYS_NONE_USABLE, ""},
    };
    for (const key_file_case& c : cases) {
        const firmpack_keys& keys = read_keys(c.file, c.outcome);
        std::string names;
        for (int i = 0; i < keys.count; ++i) {
            names += std::string(keys.keys[i].name) + " ";
        }
        EXPECT_EQ(c.names, names) << c.name;
    }
}

} // namespace
