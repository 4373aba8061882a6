#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "simdrive/auth/DhChap.h"
#include "simdrive/auth/DhGroup.h"
#include "simdrive/auth/Secret.h"

namespace simdrive::auth {

/// What a controller requires of its hosts.
struct Requirement {
    Secret host;                       ///< each host must have it
    std::optional<Secret> controller;  ///< with which the controller answers a host that wants it to
};

/// The controller's side of one authentication transaction, DH-HMAC-CHAP (NVMe Base Specification 2.0, section 8.13.5),
/// of one queue: takes the host's messages, and makes its own. A host that fails gets AUTH_Failure1, and nothing after.
///
///     host                    controller
///     AUTH_Negotiate    ->
///                       <-    DH-HMAC-CHAP_Challenge
///     DH-HMAC-CHAP_Reply ->
///                       <-    DH-HMAC-CHAP_Success1   with the controller's response, when the host asked for it
///     DH-HMAC-CHAP_Success2 ->                        then only; or AUTH_Failure2
///
/// Ownership: the requirement must outlive it.
/// Threads:   one at a time per object.
class Authentication {
public:
    Authentication(const Requirement& requirement, std::string host, std::string subsystem)
        : requirement_(requirement), host_(std::move(host)), subsystem_(std::move(subsystem)) {}

    /// False: no message is expected from the host now.
    bool take(const Bytes& message);
    /// The message for the host; empty: there is none now. One that is longer than the host's buffer of `room` bytes
    /// does not count as given: the host may ask for it with more room.
    Bytes give(size_t room);

    bool isSuccessful() const { return state_ == State::SUCCEEDED; }
    /// The host has its AUTH_Failure1, or sent AUTH_Failure2: the connection is to be closed.
    bool isFailed() const { return state_ == State::FAILED; }

private:
    enum class State : uint8_t {
        NEGOTIATE,  ///< waits for the host's message, as do REPLY and SUCCESS_2
        CHALLENGE,  ///< has a message for the host, as have SUCCESS_1 and FAILURE
        REPLY,
        SUCCESS_1,
        SUCCESS_2,
        FAILURE,
        SUCCEEDED,
        FAILED,
    };

    void takeNegotiation(const Bytes& message);
    void takeReply(const Bytes& message);
    void takeSuccess(const Bytes& message);
    void fail(uint8_t explanation);
    bool choose(const uint8_t* descriptor);
    Bytes nextMessage();
    Bytes challenge();
    Bytes success() const;
    Bytes failure() const;

    const Requirement& requirement_;
    std::string host_;       ///< NQN
    std::string subsystem_;  ///< NQN
    State state_ = State::NEGOTIATE;
    uint8_t explanation_ = 0;
    uint16_t transaction_ = 0;
    Hash hash_ = Hash::SHA_256;
    uint8_t group_ = DhGroup::NULL_GROUP;
    DhGroup exchange_;
    Challenge challenge_;
    Bytes response_;  ///< the controller's own; empty: the host did not ask for it
};

}  // namespace simdrive::auth
