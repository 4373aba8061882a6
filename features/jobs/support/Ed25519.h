#pragma once

#include <string>
#include <string_view>

namespace features::jobs {

enum class Ed25519Check {
    GOOD,
    WRONG,        ///< the signature is of another message or key, or is none
    NOT_A_KEY,    ///< the text is not a public Ed25519 key
    UNAVAILABLE,  ///< OpenSSL cannot be loaded, or does not offer Ed25519
};

/// The version of OpenSSL whose header this is built with.
inline constexpr const char* OPENSSL_LIBRARY = "libcrypto.so.3";

/// Whether `signature` (64 bytes) is the Ed25519 signature (RFC 8032) of `message` by the holder of a key. `key` is the
/// public key in PEM, "-----BEGIN PUBLIC KEY-----".
///
/// OpenSSL is loaded at the first call and stays: only signed firmware modules need it, and linking it would cost each
/// start of the tool. Its configuration is not read: what it loads is not for a file or a variable to decide.
///
/// Threads: any number at once.
Ed25519Check checkEd25519(const std::string& key, std::string_view message, std::string_view signature,
                          const char* library = OPENSSL_LIBRARY);

}  // namespace features::jobs
