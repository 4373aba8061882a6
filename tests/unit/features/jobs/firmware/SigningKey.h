#pragma once

#include <openssl/evp.h>
#include <openssl/pem.h>

#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string>

#include "tests/support/TemporaryFolder.h"

namespace features::jobs {

/// The pair of keys of a firmware maker in a test.
class SigningKey {
public:
    /// The pair follows from `seed`.
    explicit SigningKey(char seed) {
        const std::string secret(32, seed);
        pair_.reset(EVP_PKEY_new_raw_private_key(EVP_PKEY_ED25519, nullptr,
                                                 reinterpret_cast<const unsigned char*>(secret.data()), secret.size()));
        if (!pair_) throw std::runtime_error("EVP_PKEY_new_raw_private_key");
    }

    /// Writes the public key in PEM.
    void writePublicKey(const std::string& path) const {
        const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "w"), &std::fclose);
        if (!file || PEM_write_PUBKEY(file.get(), pair_.get()) != 1) throw std::runtime_error("PEM_write_PUBKEY");
    }

    std::string sign(const std::string& message) const {
        const std::unique_ptr<EVP_MD_CTX, void (*)(EVP_MD_CTX*)> context(EVP_MD_CTX_new(), &EVP_MD_CTX_free);
        std::string signature(64, '\0');
        size_t bytes = signature.size();
        if (!context || EVP_DigestSignInit(context.get(), nullptr, nullptr, nullptr, pair_.get()) != 1 ||
            EVP_DigestSign(context.get(), reinterpret_cast<unsigned char*>(signature.data()), &bytes,
                           reinterpret_cast<const unsigned char*>(message.data()), message.size()) != 1)
            throw std::runtime_error("EVP_DigestSign");
        return signature;
    }

    /// Puts the signature beside a file.
    void signFile(const std::string& path) const { writeWholeFile(path + ".sig", sign(readWholeFile(path))); }

private:
    struct Free {
        void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
    };
    std::unique_ptr<EVP_PKEY, Free> pair_;
};

}  // namespace features::jobs
