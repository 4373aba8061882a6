#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <numeric>

#include "features/nvme/Bytes.h"
#include "simdrive/auth/Authentication.h"
#include "simdrive/auth/DhChap.h"
#include "simdrive/auth/DhGroup.h"
#include "simdrive/auth/Secret.h"
#include "tests/support/StatusText.h"
#include "tests/support/TemporaryFolder.h"

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
    const char* const malformed = "1/22 The secret is not of the form DHHC-1:hh:BASE64:";
    const char* const hash = "1/22 The secret's hash function is none of 00, 01, 02 and 03.";
    const char* const length = "1/22 The secret has neither 32, 48 nor 64 bytes.";
    const struct {
        std::string text;
        const char* status;
    } CASES[] = {
        {"", malformed},
        {"DHHC-1:", malformed},
        {"DHHC-1:00:", malformed},
        {"DHHC-1:00::", malformed},
        {"DHHC-2:00:AAAA:", malformed},
        {"DHHC-1:00:AAAA", malformed},
        {"DHHC-1:00:AAA:", malformed},
        {"DHHC-1:00:A*AA:", malformed},
        {"DHHC-1:00:====:", malformed},
        {"DHHC-1:10:AAAA:", hash},
        {"DHHC-1:04:AAAA:", hash},
        {"DHHC-1:0/:AAAA:", hash},
        {"DHHC-1:00AAAAA:", hash},
        {"DHHC-1:00:AAAA:", length},
        {"DHHC-1:00:AAAAAAAA:", length},
        {damaged, "1/22 The secret's checksum is wrong."},
    };
    for (const auto& c : CASES) EXPECT_EQ(statusText(Secret::parse(c.text)), c.status) << c.text;
}

TEST(Secret, IsReadFromAFileOfItsUserAlone) {
    const TemporaryFolder folder;
    const std::string path = folder / "secret";
    const auto read = [&] { return statusText(Secret::read(path)); };
    EXPECT_EQ(read(), "1/2 " + path + ": No such file or directory.");
    writeWholeFile(path, PLAIN);
    for (const mode_t mode : {0640U, 0604U, 0610U, 0602U}) {
        ASSERT_EQ(::chmod(path.c_str(), mode), 0);
        EXPECT_EQ(read(), "1/1 " + path + ": can be opened by other users: its mode must be 0600.");
    }
    ASSERT_EQ(::chmod(path.c_str(), 0600), 0);
    ASSERT_TRUE(Secret::read(path));
    EXPECT_EQ(Secret::read(path)->key, counted(0, 32)) << "without an end of line";
    writeWholeFile(path, std::string(PLAIN) + "\n");
    EXPECT_EQ(Secret::read(path)->key, counted(0, 32)) << "with one";
    writeWholeFile(path, std::string(PLAIN) + "\n\n");
    EXPECT_EQ(read(), "1/22 " + path + ": The secret is not of the form DHHC-1:hh:BASE64:") << "with two";
    writeWholeFile(path, "");
    EXPECT_EQ(read(), "1/22 " + path + ": The secret is not of the form DHHC-1:hh:BASE64:");
    if (::chown(path.c_str(), 12345, 0) == 0) {
        EXPECT_EQ(read(), "1/1 " + path + ": belongs to another user.");
    }
    std::filesystem::remove(path);
    std::filesystem::create_symlink("other", path);
    EXPECT_EQ(read(), "1/40 " + path + ": Too many levels of symbolic links.");
    std::filesystem::remove(path);
    for (const auto make : {+[](const char* name) { return ::mkdir(name, 0700); },
                            +[](const char* name) { return ::mkfifo(name, 0600); }}) {
        ASSERT_EQ(make(path.c_str()), 0);
        EXPECT_EQ(read(), "1/22 " + path + ": is not a regular file.");
        std::filesystem::remove(path);
    }
}

// The exchange, as the controller sees it.

class AuthenticationTest : public testing::Test {
protected:
    /// AUTH_Negotiate of transaction 0x55 with one descriptor: SHA-256, without a Diffie-Hellman group.
    static Bytes negotiation() {
        Bytes message(72);
        message[4] = 0x55;
        message[7] = 1;
        message[8] = 0x01;  // DH-HMAC-CHAP
        message[10] = message[11] = 1;
        message[12] = 1;  // SHA-256
        return message;
    }
    /// DH-HMAC-CHAP_Reply to a challenge, which may ask for the controller's response.
    Bytes reply(const Bytes& challenge, bool wantsResponse) const {
        Challenge asked{Hash::SHA_256, Bytes(challenge.begin() + 16, challenge.end()),
                        features::nvme::le32(challenge.data() + 12), 0x55};
        Bytes message(80);
        message[0] = 0x01;
        message[1] = 0x02;
        message[4] = 0x55;
        message[6] = 32;
        message[8] = wantsResponse ? 1 : 0;
        const Bytes response = hostResponse(asked, requirement_.host.key, HOST, SUBSYSTEM);
        std::copy(response.begin(), response.end(), message.begin() + 16);
        return message;
    }
    /// The message for the host is AUTH_Failure1 with this explanation, and the last one.
    void expectFailure(Authentication& exchange, uint8_t explanation, const std::string& why) {
        const Bytes failure = exchange.give(100);
        ASSERT_EQ(failure.size(), 8U) << why;
        EXPECT_EQ((Bytes{failure[0], failure[1], failure[6], failure[7]}), (Bytes{0x00, 0xF1, 0x01, explanation}))
            << why;
        EXPECT_TRUE(exchange.isFailed()) << why;
        EXPECT_FALSE(exchange.isSuccessful()) << why;
        EXPECT_FALSE(exchange.take(negotiation())) << why;
        EXPECT_EQ(exchange.give(100), Bytes()) << why;
    }
    Authentication begin() const { return Authentication(requirement_, HOST, SUBSYSTEM); }

    Requirement requirement_{{std::nullopt, counted(0, 32)}, Secret{std::nullopt, counted(1, 32)}};
};

TEST_F(AuthenticationTest, ANegotiationThatCannotBeIsRefused) {
    const struct {
        size_t at;
        uint8_t value;
        uint8_t explanation;
        const char* why;
    } CASES[] = {
        {0, 0x01, 0x07, "a message of another type"},
        {1, 0x01, 0x07, "another message"},
        {6, 0x01, 0x03, "a secure channel"},
        {7, 2, 0x06, "a descriptor that did not come"},
        {7, 0, 0x06, "none, and one came"},
        {8, 0x02, 0x02, "another protocol"},
        {10, 31, 0x06, "31 hash functions"},
        {11, 31, 0x06, "31 groups"},
        {12, 4, 0x04, "a hash function that there is not"},
        {42, 6, 0x05, "a group that there is not"},
        {10, 0, 0x04, "no hash function"},
        {11, 0, 0x05, "no group"},
    };
    for (const auto& c : CASES) {
        Authentication exchange = begin();
        Bytes message = negotiation();
        message[c.at] = c.value;
        EXPECT_TRUE(exchange.take(message)) << c.why;
        expectFailure(exchange, c.explanation, c.why);
    }
    Authentication exchange = begin();
    EXPECT_TRUE(exchange.take(Bytes(7)));
    expectFailure(exchange, 0x06, "less than a message");
}

TEST_F(AuthenticationTest, AReplyThatCannotBeIsRefused) {
    const struct {
        size_t at;
        uint8_t value;
        uint8_t explanation;
        const char* why;
    } CASES[] = {
        {0, 0x00, 0x07, "a message of another type"},
        {1, 0x04, 0x07, "another message"},
        {4, 0x56, 0x07, "another transaction"},
        {6, 48, 0x06, "a response of another length"},
        {8, 2, 0x06, "neither with nor without a response"},
        {10, 1, 0x06, "a public value"},
    };
    for (const auto& c : CASES) {
        Authentication exchange = begin();
        ASSERT_TRUE(exchange.take(negotiation()));
        Bytes message = reply(exchange.give(100), false);
        message[c.at] = c.value;
        EXPECT_TRUE(exchange.take(message)) << c.why;
        expectFailure(exchange, c.explanation, c.why);
    }
    Authentication other = begin();
    ASSERT_TRUE(other.take(negotiation()));
    Bytes wrong = reply(other.give(100), false);
    wrong[16] ^= 1;
    EXPECT_TRUE(other.take(wrong));
    expectFailure(other, 0x01, "another response");
    for (const size_t bytes : {0U, 15U, 79U, 81U}) {
        Authentication exchange = begin();
        ASSERT_TRUE(exchange.take(negotiation()));
        Bytes message = reply(exchange.give(100), false);
        message.resize(bytes);
        EXPECT_TRUE(exchange.take(message));
        expectFailure(exchange, bytes < 16 ? 0x07 : 0x06, std::to_string(bytes) + " bytes");
    }
    requirement_.controller.reset();
    Authentication exchange = begin();
    ASSERT_TRUE(exchange.take(negotiation()));
    EXPECT_TRUE(exchange.take(reply(exchange.give(100), true)));
    expectFailure(exchange, 0x01, "the controller has no secret to answer with");
}

TEST_F(AuthenticationTest, SucceedsWithARightReply) {
    Authentication exchange = begin();
    EXPECT_EQ(exchange.give(100), Bytes()) << "the host begins";
    ASSERT_TRUE(exchange.take(negotiation()));
    EXPECT_EQ(exchange.give(10).size(), 48U);
    const Bytes challenge = exchange.give(100);
    EXPECT_EQ(challenge.size(), 48U) << "asked for again, with more room";
    ASSERT_TRUE(exchange.take(reply(challenge, false)));
    const Bytes success = exchange.give(100);
    ASSERT_EQ(success.size(), 16U);
    EXPECT_EQ((Bytes{success[0], success[1], success[4], success[6], success[8]}), (Bytes{0x01, 0x03, 0x55, 32, 0}));
    EXPECT_TRUE(exchange.isSuccessful());
    EXPECT_FALSE(exchange.take(negotiation())) << "once";
}

TEST_F(AuthenticationTest, AHostThatWantsAResponseHasTheLastWord) {
    const struct {
        Bytes message;
        bool isSuccess;
        bool hasFailure;  // of the controller's own
        const char* why;
    } CASES[] = {
        {{0x01, 0x04, 0, 0, 0x55, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}, true, false, "it is the controller"},
        {{0x00, 0xF0, 0, 0, 0x55, 0, 1, 1}, false, false, "it is not"},
        {{0x00, 0xF1, 0, 0, 0x55, 0, 1, 1}, false, true, "the failure of a controller"},
        {{0x01, 0xF0, 0, 0, 0x55, 0, 1, 1}, false, true, "a failure of another type"},
        {{0x01, 0x04, 0, 0, 0x56, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}, false, true, "another transaction"},
        {{0x00}, false, true, "less than a message"},
    };
    for (const auto& c : CASES) {
        Authentication exchange = begin();
        ASSERT_TRUE(exchange.take(negotiation()));
        ASSERT_TRUE(exchange.take(reply(exchange.give(100), true)));
        const Bytes success = exchange.give(100);
        ASSERT_EQ(success.size(), 48U);
        EXPECT_EQ(success[8], 1) << "with the controller's response";
        EXPECT_FALSE(exchange.isSuccessful());
        EXPECT_TRUE(exchange.take(c.message)) << c.why;
        EXPECT_EQ(exchange.isSuccessful(), c.isSuccess) << c.why;
        if (c.hasFailure) {
            expectFailure(exchange, 0x07, c.why);
        } else {
            EXPECT_EQ(exchange.give(100), Bytes()) << c.why;
            EXPECT_EQ(exchange.isFailed(), !c.isSuccess) << c.why;
        }
    }
}

}  // namespace
}  // namespace simdrive::auth
