#include <gtest/gtest.h>

#include <numeric>

#include "simdrive/auth/DhChap.h"
#include "simdrive/auth/DhGroup.h"
#include "simdrive/auth/Secret.h"

namespace simdrive::auth {
namespace {

constexpr const char* HOST = "nqn.2014-08.org.nvmexpress:uuid:11111111-2222-3333-4444-555555555555";
constexpr const char* SUBSYSTEM = "nqn.2026-01.com.velko.nimbrel:simulated:TGT1";

std::string hex(const Bytes& bytes) {
    std::string text;
    for (const uint8_t byte : bytes) {
        text += "0123456789abcdef"[byte >> 4];
        text += "0123456789abcdef"[byte & 15];
    }
    return text;
}

/// first, first + 1, ...
Bytes counted(uint8_t first, size_t count) {
    Bytes bytes(count);
    std::iota(bytes.begin(), bytes.end(), first);
    return bytes;
}

Bytes bytesOf(const std::string& text) {
    return {text.begin(), text.end()};
}

TEST(DhChap, ComputesHmacsOfRfc4231) {
    const Bytes key(20, 0x0b);
    EXPECT_EQ(hex(hmac(Hash::SHA_256, key, bytesOf("Hi There"))),
              "b0344c61d8db38535ca8afceaf0bf12b881dc200c9833da726e9376c2e32cff7");
    EXPECT_EQ(hex(hmac(Hash::SHA_384, key, bytesOf("Hi There"))),
              "afd03944d84895626b0825f4ab46907f15f9dadbe4101ec682aa034c7cebc59cfaea9ea9076ede7f4af152e8b2fa9cb6");
    EXPECT_EQ(hex(hmac(Hash::SHA_512, key, bytesOf("Hi There"))),
              "87aa7cdea5ef619d4ff0b4241a1d6cb02379f4e2ce4ec2787ad0b30545e17cdedaa833b7d6b8a702038b274eaea3f4e4"
              "be9d914eeb61f1702e696c203a126854");
}

TEST(DhChap, KnowsThreeHashFunctions) {
    const size_t bytes[] = {0, 32, 48, 64, 0};
    for (uint8_t hash = 0; hash < 5; ++hash) EXPECT_EQ(hashBytes(hash), bytes[hash]);
    EXPECT_EQ(hashBytes(255), 0U);
}

// Written out from the standard's formulas: HMAC(key, challenge | sequence | transaction | 00h | role | names).
const struct {
    Hash hash;
    const char* host;
    const char* controller;
    const char* augmented;
} VECTORS[] = {
    {Hash::SHA_256, "d6aff316886a03321388a4fce8a6685501fa0773c32bf4b533756965ecaedcb8",
     "6f0b22aee402e1f4bf624bd0ad866a2abd71b251195aa45a413dc95e16667a4b",
     "3adb38c669d38fc1dcb55f5bfb441c2ef0a003520086fc820c76ca6341266d2f"},
    {Hash::SHA_384, "f17c793374fc8d6e865a20a017458a5945ab8f6a6df72779320366342aeb3fc070753e164bf4c957c74a88559a59dc74",
     "8ba0684ea349b253c0a213a724a6ef8c6d51de2cf18f64c57c481654ed2a20c2b8ce518e8d79da3a04895c10233dd5ca",
     "f0e08542f447c0c9ecb241e1e2bcd0fe538a44b8d4fcc6158e575e4909cedffa13d5d05f4a7da4ef9d0f21287385d7f6"},
    {Hash::SHA_512,
     "b84511ffeb602df66b09f8ed8161431f64462750f66655c9d301ba45e088540db26eb3de07ad864fed6094180faf51c4"
     "6f114d501588b2b0f9df9c130d656b88",
     "a802547e12cd837022c7cceebb343f8294d8c67159efca2fca81801adb65cf652eb26be2319d69c7a0407a0d82421a67"
     "8332938522d1108f92ff4c36f686ce9f",
     "242e57654e2dd6760a561dede95ab74071e90a47842c9d9e16579e6b320caace14f30ac9bc07bc6f0e6e591938796a44"
     "9e6aa1410f7e2ca3c4149d8c8f8905ce"},
};

TEST(DhChap, ComputesResponses) {
    for (const auto& c : VECTORS) {
        const Bytes value = counted(0, hashBytes(static_cast<uint8_t>(c.hash)));
        const Challenge challenge{c.hash, value, 0x11223344, 0x5566};
        const Bytes key = counted(200, 32);
        EXPECT_EQ(hex(hostResponse(challenge, key, HOST, SUBSYSTEM)), c.host);
        EXPECT_EQ(hex(controllerResponse(challenge, key, HOST, SUBSYSTEM)), c.controller);
        EXPECT_EQ(hex(augmentedChallenge(c.hash, counted(0, 100), value)), c.augmented);
    }
}

TEST(DhChap, ComparesWholeSecrets) {
    EXPECT_TRUE(isEqual({1, 2, 3}, {1, 2, 3}));
    EXPECT_FALSE(isEqual({1, 2, 3}, {1, 2, 4}));
    EXPECT_FALSE(isEqual({1, 2, 3}, {1, 2}));
}

TEST(DhGroup, BothSidesGetOneKey) {
    const size_t bytes[] = {0, 256, 384, 512, 768, 1024, 0};
    for (uint8_t group = 0; group <= 6; ++group) {
        SCOPED_TRACE(int{group});
        EXPECT_EQ(DhGroup::primeBytes(group), bytes[group]);
        DhGroup one;
        DhGroup other;
        ASSERT_EQ(one.generate(group), bytes[group] != 0);
        if (bytes[group] == 0) continue;
        ASSERT_TRUE(other.generate(group));
        const auto key = one.derive(other.publicValue());
        ASSERT_TRUE(key.has_value());
        EXPECT_EQ(key->size(), bytes[group]);
        EXPECT_EQ(other.derive(one.publicValue()), key);
        EXPECT_NE(one.publicValue(), other.publicValue());
        // The generator is 2: with 2 itself from the peer the key is the own public value.
        Bytes two(bytes[group]);
        two.back() = 2;
        EXPECT_EQ(one.derive(two), one.publicValue());
    }
}

TEST(DhGroup, RefusesValuesThatGiveTheKeyAway) {
    DhGroup group;
    ASSERT_TRUE(group.generate(1));
    Bytes value(256);
    EXPECT_FALSE(group.derive(value)) << "0";
    value.back() = 1;
    EXPECT_FALSE(group.derive(value)) << "1";
    EXPECT_FALSE(group.derive(Bytes(256, 0xFF))) << "above the prime";
    EXPECT_FALSE(group.derive(Bytes(255, 2))) << "too short";
    EXPECT_FALSE(DhGroup().derive(Bytes(256, 2))) << "no exponent";
}

// As `nvme gen-dhchap-key -s 000102...1f -l 32 -n HOST` prints them, with -m 0 and -m 1. In the second one the key is
// transformed already: a witness for the transformation.
constexpr const char* PLAIN = "DHHC-1:00:AAECAwQFBgcICQoLDA0ODxAREhMUFRYXGBkaGxwdHh+KfiaR:";
constexpr const char* TRANSFORMED = "DHHC-1:01:bOHk6jHoMxpP5YJr/eF6XNOGuPAzh0iRniebpsVb9ydqVuR5:";

TEST(Secret, IsReadAndTransformed) {
    const auto plain = Secret::parse(PLAIN);
    ASSERT_TRUE(plain);
    EXPECT_EQ(plain->key, counted(0, 32));
    EXPECT_EQ(plain->transformation, std::nullopt);
    EXPECT_EQ(plain->keyOf(HOST), counted(0, 32));
    const auto witness = Secret::parse(TRANSFORMED);
    ASSERT_TRUE(witness);
    EXPECT_EQ(witness->transformation, Hash::SHA_256);
    Secret secret = *plain;
    secret.transformation = Hash::SHA_256;
    EXPECT_EQ(secret.keyOf(HOST), witness->key);
    secret.transformation = Hash::SHA_384;
    EXPECT_EQ(hex(secret.keyOf(HOST)),
              "5f6ec4934762148832a864ffdcef2dbbddbbfd01244ce9775aa2fc746cc629d6184dde0f90113d27145cc0b6a413d8c5");
    secret.transformation = Hash::SHA_512;
    EXPECT_EQ(hex(secret.keyOf(HOST)),
              "3d41f7c2aaff648f01a1270fe14af6da07e307dc4d5c56e09cad9098e1ec95a36ed151e886f78c9dc6a775f27907ee4f"
              "e7fa82b062bba3ee146e422df9658f85");
}

TEST(Secret, IsNotReadFromATextThatIsNone) {
    std::string damaged = TRANSFORMED;
    damaged[12] = 'B';
    for (const std::string& text : {std::string(), std::string("DHHC-1:"), std::string("DHHC-1:00:"), damaged}) {
        EXPECT_TRUE(statusOf(Secret::parse(text)).is(1, 22)) << text;
    }
}

}  // namespace
}  // namespace simdrive::auth
