// SPDX-License-Identifier: MIT
#include "firmpack/md5.h"
#include "firmpack/sha1.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

std::string hex(const uint8_t* bytes, std::size_t size)
{
    std::string text;
    for (std::size_t i = 0; i < size; ++i) {
        text += "0123456789abcdef"[bytes[i] >> 4];
        text += "0123456789abcdef"[bytes[i] & 15];
    }
    return text;
}

// MD5 and SHA-1 digests of the input, one-shot.
std::pair<std::string, std::string> digests(const uint8_t* data, uint32_t length)
{
    uint8_t md5[MD5_DIGEST_SIZE];
    uint8_t sha1[SHA1_DIGEST_SIZE];
    digest_md5(data, length, md5);
    digest_sha1(data, length, sha1);
    return {hex(md5, sizeof md5), hex(sha1, sizeof sha1)};
}

// The lengths around 56 and 64 bytes put the padding and the length field
// at the end of the block or spill them into an extra block.
TEST(Digests, MatchPublishedResults)
{
    struct digest_vector {
        std::string input;
        const char* md5;
        const char* sha1;
    };
    const digest_vector vectors[] = {
        {"", "d41d8cd98f00b204e9800998ecf8427e", "da39a3ee5e6b4b0d3255bfef95601890afd80709"},
        {"abc", "900150983cd24fb0d6963f7d28e17f72", "a9993e364706816aba3e25717850c26c9cd0d89d"},
        {"abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq",
         "8215ef0796a20bcaaae116d3876c664a", "84983e441c3bd26ebaae4aa1f95129e5e54670f1"},
        {std::string(55, 'a'), "ef1772b6dff9a122358552954ad0df65",
         "c1c8bbdc22796e28c0e15163d20899b65621d65a"},
        {std::string(56, 'a'), "3b0c8ac703f828b04c6c197006d17218",
         "c2db330f6083854c99d4b5bfb6e8f29f201be699"},
        {std::string(63, 'a'), "b06521f39153d618550606be297466d5",
         "03f09f5b158a7a8cdad920bddc29b81c18a551f5"},
        {std::string(64, 'a'), "014842d480b571495a4a0363793f7367",
         "0098ba824b5c16427bd7a1122a5a442a25ec644d"},
        {std::string(65, 'a'), "c743a45e0d2e6a95cb859adae0248435",
         "11655326c708d70319be2610e8a57d9a5b959d3b"},
        {std::string(1000000, 'a'), "7707d6ae4e027c70eea2a935c2296f21",
         "34aa973cd4c4daa4f61eeb2bdbad27316534016f"},
    };
    for (const digest_vector& v : vectors) {
        auto [md5, sha1] = digests(reinterpret_cast<const uint8_t*>(v.input.data()),
                                   static_cast<uint32_t>(v.input.size()));
        EXPECT_EQ(v.md5, md5) << v.input.size() << " bytes";
        EXPECT_EQ(v.sha1, sha1) << v.input.size() << " bytes";
    }
}

// Three updates split at every pair of points, from an odd address: the
// partial block kept between updates must resume exactly.
TEST(Digests, IncrementalUpdatesMatchOneShot)
{
    std::vector<uint8_t> buffer(1 + 150);
    for (std::size_t i = 0; i < buffer.size(); ++i) {
        buffer[i] = static_cast<uint8_t>(i * 31 + 7);
    }
    const uint8_t* data = buffer.data() + 1;
    const uint32_t length = 150;
    const auto whole = digests(data, length);
    for (uint32_t first = 0; first <= length; first += 3) {
        for (uint32_t second = first; second <= length; ++second) {
            md5_context md5;
            sha1_context sha1;
            md5_init(&md5);
            sha1_init(&sha1);
            for (auto [from, to] : {std::pair{0u, first}, {first, second}, {second, length}}) {
                md5_update(&md5, data + from, to - from);
                sha1_update(&sha1, data + from, to - from);
            }
            uint8_t md5_digest[MD5_DIGEST_SIZE];
            uint8_t sha1_digest[SHA1_DIGEST_SIZE];
            md5_final(&md5, md5_digest);
            sha1_final(&sha1, sha1_digest);
            ASSERT_EQ(whole.first, hex(md5_digest, MD5_DIGEST_SIZE)) << first << ", " << second;
            ASSERT_EQ(whole.second, hex(sha1_digest, SHA1_DIGEST_SIZE)) << first << ", " << second;
        }
    }
}

} // namespace
