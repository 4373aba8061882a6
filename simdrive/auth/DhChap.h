#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// The computations of DH-HMAC-CHAP (NVMe Base Specification 2.0, section 8.13.5): pure functions of bytes.
namespace simdrive::auth {

using Bytes = std::vector<uint8_t>;

/// Hash function identifiers.
enum class Hash : uint8_t { SHA_256 = 1, SHA_384 = 2, SHA_512 = 3 };

/// 0: there is no such hash function.
size_t hashBytes(uint8_t hash);

Bytes digest(Hash hash, const Bytes& data);
Bytes hmac(Hash hash, const Bytes& key, const Bytes& data);

/// Whether two secrets are equal; how long it takes does not depend on where they differ.
bool isEqual(const Bytes& a, const Bytes& b);

/// Random bytes that are fit for keys and challenges; no value: OpenSSL has none.
std::optional<Bytes> randomBytes(size_t count);

/// What a challenge becomes when there is a session key from a Diffie-Hellman exchange (augmented challenge).
Bytes augmentedChallenge(Hash hash, const Bytes& sessionKey, const Bytes& challenge);

/// What a response is computed from.
struct Challenge {
    Hash hash = Hash::SHA_256;
    Bytes value;  ///< augmented where a DH group is used
    uint32_t sequence = 0;
    uint16_t transaction = 0;
};
/// The host proves that it has `key`, the transformed secret.
Bytes hostResponse(const Challenge& challenge, const Bytes& key, const std::string& host, const std::string& subsystem);
/// The controller proves that it has `key`.
Bytes controllerResponse(const Challenge& challenge, const Bytes& key, const std::string& host,
                         const std::string& subsystem);

}  // namespace simdrive::auth
