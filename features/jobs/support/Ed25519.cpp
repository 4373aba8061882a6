#include "features/jobs/support/Ed25519.h"

#include <dlfcn.h>
#include <openssl/bio.h>
#include <openssl/crypto.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>

#include <memory>

#include "ostrel/core/LoadedLibrary.h"

namespace features::jobs {

namespace {

/// OpenSSL as it is loaded.
class OpenSsl {
public:
    // It cannot be unloaded: it leaves functions for the end of the process and of each thread.
    explicit OpenSsl(const char* library) : library_(library, RTLD_NODELETE) {
        isReady_ = library_.load(initialise_, "OPENSSL_init_crypto") && library_.load(newBuffer, "BIO_new_mem_buf") &&
                   library_.load(freeBuffer, "BIO_free") && library_.load(readKey, "PEM_read_bio_PUBKEY") &&
                   library_.load(freeKey, "EVP_PKEY_free") && library_.load(isOfType, "EVP_PKEY_is_a") &&
                   library_.load(newContext, "EVP_MD_CTX_new") && library_.load(freeContext, "EVP_MD_CTX_free") &&
                   library_.load(beginVerify, "EVP_DigestVerifyInit") && library_.load(verify, "EVP_DigestVerify") &&
                   library_.load(clearErrors, "ERR_clear_error") &&
                   initialise_(OPENSSL_INIT_NO_LOAD_CONFIG, nullptr) == 1;
    }

    bool isReady() const { return isReady_; }

    decltype(&::BIO_new_mem_buf) newBuffer = nullptr;
    decltype(&::BIO_free) freeBuffer = nullptr;
    decltype(&::PEM_read_bio_PUBKEY) readKey = nullptr;
    decltype(&::EVP_PKEY_free) freeKey = nullptr;
    decltype(&::EVP_PKEY_is_a) isOfType = nullptr;
    decltype(&::EVP_MD_CTX_new) newContext = nullptr;
    decltype(&::EVP_MD_CTX_free) freeContext = nullptr;
    decltype(&::EVP_DigestVerifyInit) beginVerify = nullptr;
    decltype(&::EVP_DigestVerify) verify = nullptr;
    decltype(&::ERR_clear_error) clearErrors = nullptr;

private:
    decltype(&::OPENSSL_init_crypto) initialise_ = nullptr;
    ostrel::core::LoadedLibrary library_;
    bool isReady_ = false;
};

template <typename Object, typename Deleter>
std::unique_ptr<Object, Deleter> owned(Object* object, Deleter deleter) {
    return {object, deleter};
}

const unsigned char* bytes(std::string_view text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}

Ed25519Check check(const OpenSsl& ssl, const std::string& key, std::string_view message, std::string_view signature) {
    const auto text = owned(ssl.newBuffer(key.data(), static_cast<int>(key.size())), ssl.freeBuffer);
    const auto context = owned(ssl.newContext(), ssl.freeContext);
    if (!text || !context) return Ed25519Check::UNAVAILABLE;
    // With a passphrase of its own OpenSSL does not ask the terminal for that of an encrypted text.
    char passphrase[] = "";
    const auto publicKey = owned(ssl.readKey(text.get(), nullptr, nullptr, passphrase), ssl.freeKey);
    if (!publicKey || ssl.isOfType(publicKey.get(), "ED25519") != 1) return Ed25519Check::NOT_A_KEY;
    if (ssl.beginVerify(context.get(), nullptr, nullptr, nullptr, publicKey.get()) != 1)
        return Ed25519Check::UNAVAILABLE;
    const int answer = ssl.verify(context.get(), bytes(signature), signature.size(), bytes(message), message.size());
    return answer == 1 ? Ed25519Check::GOOD : Ed25519Check::WRONG;
}

}  // namespace

Ed25519Check checkEd25519(const std::string& key, std::string_view message, std::string_view signature,
                          const char* library) {
    const OpenSsl ssl(library);
    if (!ssl.isReady()) return Ed25519Check::UNAVAILABLE;
    const Ed25519Check answer = check(ssl, key, message, signature);
    ssl.clearErrors();  // what is in the thread's list is known by the answer
    return answer;
}

}  // namespace features::jobs
