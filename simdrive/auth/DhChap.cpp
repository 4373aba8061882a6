#include "simdrive/auth/DhChap.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <openssl/rand.h>

#include <stdexcept>
#include <utility>

#include "features/nvme/Bytes.h"

namespace simdrive::auth {

namespace {

const EVP_MD* functionOf(Hash hash) {
    switch (hash) {
        case Hash::SHA_256:
            return EVP_sha256();
        case Hash::SHA_384:
            return EVP_sha384();
        case Hash::SHA_512:
            break;
    }
    return EVP_sha512();
}

void append(Bytes& bytes, const std::string& text) {
    bytes.insert(bytes.end(), text.begin(), text.end());
}

Bytes response(const Challenge& challenge, const Bytes& key, const char* role, const std::string& first,
               const std::string& second) {
    constexpr uint8_t NO_SECURE_CHANNEL = 0;  // SC_C
    Bytes text = challenge.value;
    const size_t end = text.size();
    text.resize(end + 7, NO_SECURE_CHANNEL);
    features::nvme::putLe32(text.data() + end, challenge.sequence);
    features::nvme::putLe16(text.data() + end + 4, challenge.transaction);
    append(text, role);
    append(text, first);
    text.push_back(0);
    append(text, second);
    return hmac(challenge.hash, key, text);
}

}  // namespace

size_t hashBytes(uint8_t hash) {
    const bool isKnown = hash >= static_cast<uint8_t>(Hash::SHA_256) && hash <= static_cast<uint8_t>(Hash::SHA_512);
    return isKnown ? size_t{16} * (hash + 1U) : 0;
}

Bytes digest(Hash hash, const Bytes& data) {
    Bytes out(hashBytes(static_cast<uint8_t>(hash)));
    unsigned length = 0;
    // Fails without memory, or where a policy of the machine forbids the function.
    if (EVP_Digest(data.data(), data.size(), out.data(), &length, functionOf(hash), nullptr) != 1) {
        throw std::runtime_error("The hash function cannot be computed.");
    }
    return out;
}

Bytes hmac(Hash hash, const Bytes& key, const Bytes& data) {
    Bytes out(hashBytes(static_cast<uint8_t>(hash)));
    unsigned length = 0;
    const auto* result =
        HMAC(functionOf(hash), key.data(), static_cast<int>(key.size()), data.data(), data.size(), out.data(), &length);
    if (result == nullptr) throw std::runtime_error("The HMAC cannot be computed.");
    return out;
}

bool isEqual(const Bytes& a, const Bytes& b) {
    return a.size() == b.size() && CRYPTO_memcmp(a.data(), b.data(), a.size()) == 0;
}

std::optional<Bytes> randomBytes(size_t count) {
    Bytes bytes(count);
    return RAND_bytes(bytes.data(), static_cast<int>(count)) == 1 ? std::optional(std::move(bytes)) : std::nullopt;
}

Bytes augmentedChallenge(Hash hash, const Bytes& sessionKey, const Bytes& challenge) {
    return hmac(hash, digest(hash, sessionKey), challenge);
}

Bytes hostResponse(const Challenge& challenge, const Bytes& key, const std::string& host,
                   const std::string& subsystem) {
    return response(challenge, key, "HostHost", host, subsystem);
}

Bytes controllerResponse(const Challenge& challenge, const Bytes& key, const std::string& host,
                         const std::string& subsystem) {
    return response(challenge, key, "Controller", subsystem, host);
}

}  // namespace simdrive::auth
