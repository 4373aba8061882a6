#include "simdrive/auth/DhGroup.h"

#include <openssl/core_names.h>
#include <openssl/dh.h>
#include <openssl/evp.h>
#include <openssl/params.h>

#include <algorithm>
#include <iterator>

namespace simdrive::auth {

namespace {

struct GroupRow {
    uint8_t id;
    const char* name;
    size_t primeBytes;
};
constexpr GroupRow GROUPS[] = {
    {1, "ffdhe2048", 256}, {2, "ffdhe3072", 384}, {3, "ffdhe4096", 512}, {4, "ffdhe6144", 768}, {5, "ffdhe8192", 1024},
};

const GroupRow* findGroup(uint8_t id) {
    const auto* found = std::find_if(std::begin(GROUPS), std::end(GROUPS), [&](auto& row) { return row.id == id; });
    return found == std::end(GROUPS) ? nullptr : found;
}

using Context = std::unique_ptr<EVP_PKEY_CTX, decltype(&EVP_PKEY_CTX_free)>;

}  // namespace

void DhGroup::Free::operator()(evp_pkey_st* key) const {
    EVP_PKEY_free(key);
}

size_t DhGroup::primeBytes(uint8_t group) {
    const GroupRow* row = findGroup(group);
    return row == nullptr ? 0 : row->primeBytes;
}

bool DhGroup::generate(uint8_t group) {
    const GroupRow* row = findGroup(group);
    if (row == nullptr) return false;
    const Context context(EVP_PKEY_CTX_new_from_name(nullptr, "DH", nullptr), EVP_PKEY_CTX_free);
    const OSSL_PARAM parameters[] = {
        OSSL_PARAM_construct_utf8_string(OSSL_PKEY_PARAM_GROUP_NAME, const_cast<char*>(row->name), 0),  // not written
        OSSL_PARAM_construct_end()};
    EVP_PKEY* key = nullptr;
    if (!context || EVP_PKEY_keygen_init(context.get()) <= 0 ||
        EVP_PKEY_CTX_set_params(context.get(), parameters) <= 0 || EVP_PKEY_generate(context.get(), &key) <= 0) {
        return false;
    }
    key_.reset(key);
    publicValue_.assign(row->primeBytes, 0);
    size_t length = 0;
    return EVP_PKEY_get_octet_string_param(key, OSSL_PKEY_PARAM_ENCODED_PUBLIC_KEY, publicValue_.data(),
                                           publicValue_.size(), &length) == 1 &&
           length == publicValue_.size();
}

std::optional<Bytes> DhGroup::derive(const Bytes& peerValue) const {
    if (!key_ || peerValue.size() != publicValue_.size()) return std::nullopt;
    const std::unique_ptr<EVP_PKEY, Free> peer(EVP_PKEY_new());
    if (!peer || EVP_PKEY_copy_parameters(peer.get(), key_.get()) != 1 ||
        EVP_PKEY_set1_encoded_public_key(peer.get(), peerValue.data(), peerValue.size()) != 1) {
        return std::nullopt;
    }
    const Context context(EVP_PKEY_CTX_new_from_pkey(nullptr, key_.get(), nullptr), EVP_PKEY_CTX_free);
    // Setting the peer checks its value. With leading zeros: the hash of the key is of all its bytes.
    if (!context || EVP_PKEY_derive_init(context.get()) <= 0 ||
        EVP_PKEY_derive_set_peer(context.get(), peer.get()) <= 0 || EVP_PKEY_CTX_set_dh_pad(context.get(), 1) <= 0) {
        return std::nullopt;
    }
    Bytes key(publicValue_.size());
    size_t length = key.size();
    if (EVP_PKEY_derive(context.get(), key.data(), &length) <= 0 || length != key.size()) return std::nullopt;
    return key;
}

}  // namespace simdrive::auth
