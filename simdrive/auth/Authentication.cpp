#include "simdrive/auth/Authentication.h"

#include <algorithm>
#include <exception>
#include <iterator>
#include <optional>

#include "features/nvme/Bytes.h"

namespace simdrive::auth {

using features::nvme::le16;
using features::nvme::le32;
using features::nvme::putLe16;
using features::nvme::putLe32;

namespace {

constexpr uint8_t TYPE_COMMON = 0x00;
constexpr uint8_t TYPE_DH_CHAP = 0x01;
constexpr uint8_t ID_NEGOTIATE = 0x00;
constexpr uint8_t ID_CHALLENGE = 0x01;
constexpr uint8_t ID_REPLY = 0x02;
constexpr uint8_t ID_SUCCESS_1 = 0x03;
constexpr uint8_t ID_SUCCESS_2 = 0x04;
constexpr uint8_t ID_FAILURE_2 = 0xF0;
constexpr uint8_t ID_FAILURE_1 = 0xF1;

// Reason code explanations of AUTH_Failure1.
constexpr uint8_t REASON_FAILED = 0x01;
constexpr uint8_t AUTHENTICATION_FAILED = 0x01;
constexpr uint8_t PROTOCOL_NOT_USABLE = 0x02;
constexpr uint8_t SECURE_CHANNEL_MISMATCH = 0x03;
constexpr uint8_t HASH_NOT_USABLE = 0x04;
constexpr uint8_t GROUP_NOT_USABLE = 0x05;
constexpr uint8_t INCORRECT_PAYLOAD = 0x06;
constexpr uint8_t INCORRECT_MESSAGE = 0x07;

constexpr size_t AT_TRANSACTION = 4;
constexpr size_t HEADER_BYTES = 16;  ///< of all messages but AUTH_Negotiate and the failures
constexpr size_t NEGOTIATE_BYTES = 8;
constexpr size_t DESCRIPTOR_BYTES = 64;
constexpr size_t AT_HASHES = 4;
constexpr size_t AT_GROUPS = 34;
constexpr size_t MAX_IDENTIFIERS = 30;
constexpr uint8_t PROTOCOL_DH_CHAP = 0x01;

// The strongest that the host has is used.
constexpr uint8_t HASHES[] = {3, 2, 1};
constexpr uint8_t GROUPS[] = {5, 4, 3, 2, 1, DhGroup::NULL_GROUP};

/// The first of `own` that is in the host's list; -1: none.
template <size_t COUNT>
int firstOf(const uint8_t (&own)[COUNT], const uint8_t* list, size_t length) {
    const auto* end = list + std::min(length, MAX_IDENTIFIERS);
    const auto* found = std::find_if(std::begin(own), std::end(own),
                                     [&](uint8_t identifier) { return std::find(list, end, identifier) != end; });
    return found == std::end(own) ? -1 : *found;
}

bool isMessage(const Bytes& message, uint8_t type, uint8_t id, uint16_t transaction) {
    return message.size() >= HEADER_BYTES && message[0] == type && message[1] == id &&
           le16(message.data() + AT_TRANSACTION) == transaction;
}

Bytes header(uint8_t type, uint8_t id, uint16_t transaction, size_t bytes) {
    Bytes message(bytes);
    message[0] = type;
    message[1] = id;
    putLe16(message.data() + AT_TRANSACTION, transaction);
    return message;
}

void copyInto(Bytes& message, size_t at, const Bytes& part) {
    std::copy(part.begin(), part.end(), message.begin() + static_cast<std::ptrdiff_t>(at));
}

Bytes partOf(const Bytes& message, size_t at, size_t bytes) {
    const auto first = message.begin() + static_cast<std::ptrdiff_t>(at);
    return {first, first + static_cast<std::ptrdiff_t>(bytes)};
}

}  // namespace

void Authentication::fail(uint8_t explanation) {
    explanation_ = explanation;
    state_ = State::FAILURE;
}

bool Authentication::take(const Bytes& message) {
    void (Authentication::* const next)(const Bytes&) = state_ == State::NEGOTIATE   ? &Authentication::takeNegotiation
                                                        : state_ == State::REPLY     ? &Authentication::takeReply
                                                        : state_ == State::SUCCESS_2 ? &Authentication::takeSuccess
                                                                                     : nullptr;
    if (next == nullptr) return false;
    try {
        (this->*next)(message);
    } catch (const std::exception&) {
        fail(AUTHENTICATION_FAILED);  // what could not be computed proves nothing
    }
    return true;
}

void Authentication::takeNegotiation(const Bytes& message) {
    if (message.size() < NEGOTIATE_BYTES) return fail(INCORRECT_PAYLOAD);
    transaction_ = le16(message.data() + AT_TRANSACTION);
    if (message[0] != TYPE_COMMON || message[1] != ID_NEGOTIATE) return fail(INCORRECT_MESSAGE);
    if (message[6] != 0) return fail(SECURE_CHANNEL_MISMATCH);
    const size_t descriptors = message[7];
    if (message.size() != NEGOTIATE_BYTES + descriptors * DESCRIPTOR_BYTES) return fail(INCORRECT_PAYLOAD);
    for (size_t i = 0; i < descriptors; ++i) {
        const uint8_t* descriptor = message.data() + NEGOTIATE_BYTES + i * DESCRIPTOR_BYTES;
        if (descriptor[0] != PROTOCOL_DH_CHAP) continue;
        if (choose(descriptor)) state_ = State::CHALLENGE;
        return;
    }
    fail(PROTOCOL_NOT_USABLE);
}

bool Authentication::choose(const uint8_t* descriptor) {
    const size_t hashes = descriptor[2];
    const size_t groups = descriptor[3];
    const int hash = firstOf(HASHES, descriptor + AT_HASHES, hashes);
    const int group = firstOf(GROUPS, descriptor + AT_GROUPS, groups);
    const bool fits = hashes <= MAX_IDENTIFIERS && groups <= MAX_IDENTIFIERS;
    if (!fits || hash < 0 || group < 0) {
        fail(!fits ? INCORRECT_PAYLOAD : hash < 0 ? HASH_NOT_USABLE : GROUP_NOT_USABLE);
        return false;
    }
    hash_ = static_cast<Hash>(hash);
    group_ = static_cast<uint8_t>(group);
    return true;
}

Bytes Authentication::give(size_t room) {
    const State before = state_;
    Bytes message = nextMessage();
    if (message.size() > room) state_ = before;
    return message;
}

Bytes Authentication::nextMessage() {
    switch (state_) {
        case State::CHALLENGE:
            return challenge();
        case State::SUCCESS_1:
            state_ = response_.empty() ? State::SUCCEEDED : State::SUCCESS_2;
            return success();
        case State::FAILURE:
            state_ = State::FAILED;
            return failure();
        default:
            return {};
    }
}

Bytes Authentication::challenge() {
    const size_t hashLength = hashBytes(static_cast<uint8_t>(hash_));
    const std::optional<Bytes> random = randomBytes(hashLength);
    const std::optional<Bytes> sequence = randomBytes(4);
    const bool hasGroup = group_ != DhGroup::NULL_GROUP;
    if (!random || !sequence || (hasGroup && !exchange_.generate(group_))) {
        state_ = State::FAILED;
        explanation_ = AUTHENTICATION_FAILED;
        return failure();
    }
    const uint32_t number = std::max<uint32_t>(le32(sequence->data()), 1);  // 0 means no sequence
    challenge_ = Challenge{hash_, *random, number, transaction_};
    const Bytes& value = exchange_.publicValue();
    Bytes message = header(TYPE_DH_CHAP, ID_CHALLENGE, transaction_, HEADER_BYTES + hashLength + value.size());
    message[6] = static_cast<uint8_t>(hashLength);
    message[8] = static_cast<uint8_t>(hash_);
    message[9] = group_;
    putLe16(message.data() + 10, static_cast<uint16_t>(value.size()));
    putLe32(message.data() + 12, challenge_.sequence);
    copyInto(message, HEADER_BYTES, challenge_.value);
    copyInto(message, HEADER_BYTES + hashLength, value);
    state_ = State::REPLY;
    return message;
}

void Authentication::takeReply(const Bytes& message) {
    const size_t hashLength = challenge_.value.size();
    const size_t valueLength = DhGroup::primeBytes(group_);
    if (!isMessage(message, TYPE_DH_CHAP, ID_REPLY, transaction_)) return fail(INCORRECT_MESSAGE);
    const bool wantsResponse = message[8] == 1;
    const bool isPayload = message[6] == hashLength && message[8] <= 1 && le16(message.data() + 10) == valueLength &&
                           message.size() == HEADER_BYTES + 2 * hashLength + valueLength;
    if (!isPayload) return fail(INCORRECT_PAYLOAD);
    Challenge own{hash_, partOf(message, HEADER_BYTES + hashLength, hashLength), le32(message.data() + 12),
                  transaction_};
    if (valueLength != 0) {
        const Bytes value = partOf(message, HEADER_BYTES + 2 * hashLength, valueLength);
        const std::optional<Bytes> sessionKey = exchange_.derive(value);
        if (!sessionKey) return fail(INCORRECT_PAYLOAD);
        challenge_.value = augmentedChallenge(hash_, *sessionKey, challenge_.value);
        own.value = augmentedChallenge(hash_, *sessionKey, own.value);
    }
    const Bytes expected = hostResponse(challenge_, requirement_.host.keyOf(host_), host_, subsystem_);
    if (!isEqual(expected, partOf(message, HEADER_BYTES, hashLength))) return fail(AUTHENTICATION_FAILED);
    // Without a secret of its own the controller cannot prove who it is.
    if (wantsResponse && !requirement_.controller) return fail(AUTHENTICATION_FAILED);
    if (wantsResponse) {
        response_ = controllerResponse(own, requirement_.controller->keyOf(subsystem_), host_, subsystem_);
    }
    state_ = State::SUCCESS_1;
}

Bytes Authentication::success() const {
    Bytes message = header(TYPE_DH_CHAP, ID_SUCCESS_1, transaction_, HEADER_BYTES + response_.size());
    message[6] = static_cast<uint8_t>(hashBytes(static_cast<uint8_t>(hash_)));
    message[8] = response_.empty() ? 0 : 1;
    copyInto(message, HEADER_BYTES, response_);
    return message;
}

void Authentication::takeSuccess(const Bytes& message) {
    const bool isFailure = message.size() >= 2 && message[0] == TYPE_COMMON && message[1] == ID_FAILURE_2;
    if (isFailure) {
        state_ = State::FAILED;  // the host found the controller's response wrong, and wants no answer
    } else if (!isMessage(message, TYPE_DH_CHAP, ID_SUCCESS_2, transaction_)) {
        fail(INCORRECT_MESSAGE);
    } else {
        state_ = State::SUCCEEDED;
    }
}

Bytes Authentication::failure() const {
    Bytes message = header(TYPE_COMMON, ID_FAILURE_1, transaction_, 8);
    message[6] = REASON_FAILED;
    message[7] = explanation_;
    return message;
}

}  // namespace simdrive::auth
