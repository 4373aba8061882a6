#pragma once

#include <string>
#include <utility>

#include "features/errors/Result.h"
#include "features/jobs/support/Ed25519.h"

namespace features::jobs {

/// What is known of who made a firmware module.
struct ModuleOrigin {
    enum class Kind {
        VERIFIED,    ///< the holder of one of the keys signed it
        UNVERIFIED,  ///< it has no signature, or this machine has no keys
        REFUSED,     ///< it has a signature, and keys are there, but none was found to have made it
    };
    Kind kind;
    std::string reason;  ///< "it has no signature.", or several sentences; of VERIFIED empty
};

/// The keys of those whose firmware modules this machine takes: the files "*.pem" of a folder, each a public Ed25519
/// key. A signature does not say whose it is, so each key is tried.
///
/// The folder and the keys are refused when other users can change them (ostrel::core::TrustedFile), and a link to a
/// key is none. What cannot be read verifies nothing, and a signature that no other key verifies is refused for it.
///
/// Nothing is read, nor OpenSSL loaded, before the first signature. Threads: any number at once.
class FirmwareKeys {
public:
    explicit FirmwareKeys(std::string folder = "/opt/velko/nimbrel/FirmwareKeys", std::string library = OPENSSL_LIBRARY)
        : folder_(std::move(folder)), library_(std::move(library)) {}

    /// Checks the signature in the file MANIFEST.sig, the 64 bytes of Ed25519, of the text of that manifest.
    ModuleOrigin originOf(const std::string& manifestPath, const std::string& text) const;

private:
    ModuleOrigin check(const std::string& text, const std::string& signature) const;
    Result<Ed25519Check> checkWith(const std::string& key, const std::string& text, const std::string& signature) const;

    std::string folder_;
    std::string library_;
};

}  // namespace features::jobs
