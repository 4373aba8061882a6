#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "simdrive/auth/DhChap.h"

struct evp_pkey_st;

namespace simdrive::auth {

/// One side of a Diffie-Hellman exchange in a group of RFC 7919 (ffdhe2048 to ffdhe8192). Values are big endian, as
/// long as the group's prime.
///
/// Errors: false or no value, when the peer's value is not valid (0, 1, the prime minus 1 or more, another length) or
/// OpenSSL fails. Threads: one at a time per object.
class DhGroup {
public:
    static constexpr uint8_t NULL_GROUP = 0;
    /// Length of the prime; 0: there is no such group, or it is the NULL group.
    static size_t primeBytes(uint8_t group);

    /// Chooses a secret exponent.
    bool generate(uint8_t group);
    const Bytes& publicValue() const { return publicValue_; }
    /// The session key.
    std::optional<Bytes> derive(const Bytes& peerValue) const;

private:
    struct Free {
        void operator()(evp_pkey_st* key) const;
    };
    std::unique_ptr<evp_pkey_st, Free> key_;
    Bytes publicValue_;
};

}  // namespace simdrive::auth
