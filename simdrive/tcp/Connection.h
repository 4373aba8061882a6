#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "ostrel/core/FileDescriptor.h"
#include "simdrive/auth/Authentication.h"
#include "simdrive/tcp/Capsule.h"
#include "simdrive/tcp/Pdu.h"

namespace simdrive::tcp {

class Connection;
class FabricsController;

/// What carries commands out.
class CommandHandler {
public:
    virtual ~CommandHandler() = default;
    /// `data` came with the command, or takes what goes back.
    virtual Reply handle(Connection& connection, const Capsule& capsule, std::vector<uint8_t>& data) = 0;
};

/// One TCP connection of a host: a queue, or one that has not become a queue yet. Turns bytes into commands with their
/// data, and replies into bytes.
///
/// Memory:  input of one unit, data of one command that is being fetched, and answers of one command beyond
///          MAX_WAITING_BYTES: while that much waits for the host, nothing more is read from it.
/// Errors:  a host that breaks the rules gets a C2HTermReq and is closed when that is sent.
/// Threads: one.
class Connection {
public:
    /// The state as a queue, set by Fabrics Connect.
    struct Queue {
        FabricsController* controller = nullptr;  ///< not owned; null: not connected
        uint16_t id = 0;
        uint16_t entries = 32;
        bool isFlowControlled = true;
        std::unique_ptr<auth::Authentication> authentication;  ///< null: none is required

        bool isAuthenticated() const { return authentication == nullptr || authentication->isSuccessful(); }
    };

    Connection(ostrel::core::FileDescriptor socket, CommandHandler& handler);

    int descriptor() const { return socket_.get(); }
    bool wantsToRead() const;
    bool wantsToWrite() const { return !out_.empty(); }
    /// Nothing more is to be done with it, and it is to be destroyed.
    bool isOver() const { return isOver_ || (isClosing_ && out_.empty()); }
    bool isClosing() const { return isClosing_; }
    /// Whether the rest of a unit, data of a command, or the host's taking of output is awaited.
    bool isWaitingForHost() const { return !in_.empty() || !out_.empty() || !transfers_.empty(); }
    /// Whether bytes came or went since the last call.
    bool takeProgress() { return std::exchange(hasProgress_, false); }

    void onReadable();
    void onWritable();
    /// Ends when the output is sent; `closeNow` drops it.
    void close() { isClosing_ = true; }
    void closeNow() { isOver_ = true; }

    Queue queue;
    std::string peer;         ///< the host's numeric address
    size_t port = 0;          ///< of the target: by which it came
    uint64_t deadlineMs = 0;  ///< the target's: when it has waited long enough for this host

    /// Completes a command that was held; false: there is none with that identifier.
    bool completeHeld(uint16_t commandId, const Reply& reply);
    /// Held and delayed commands are forgotten without an answer, as a reset does.
    void dropHeld();
    /// Sends the delayed answers whose time has come.
    void answerDue(uint64_t nowMs);
    /// When the next of them is due; UINT64_MAX: there is none.
    uint64_t nextDueMs() const;

private:
    static constexpr size_t MAX_WAITING_BYTES = 256 << 10;

    /// A command whose data are fetched, or wait for their turn.
    struct Transfer {
        Capsule capsule;
        std::vector<uint8_t> data;
        uint32_t received = 0;
        bool isDamaged = false;
    };

    /// An answer that waits for its time.
    struct Delayed {
        uint64_t dueMs;
        Capsule capsule;
        Reply reply;
        std::vector<uint8_t> data;
    };

    /// Of output and delayed answers.
    size_t waitingBytes() const;
    void consume();
    bool isAllowed(uint8_t type) const;
    ProtocolError take(const Pdu& pdu);
    ProtocolError takeInitialization(const Pdu& pdu);
    ProtocolError takeCapsule(const Pdu& pdu);
    ProtocolError takeData(const Pdu& pdu);
    Reply checkDataPointer(const Capsule& capsule, const Pdu& pdu) const;
    void requestData();
    void run(const Capsule& capsule, std::vector<uint8_t>& data);
    void answer(const Capsule& capsule, Reply reply, const std::vector<uint8_t>& data);
    void complete(uint16_t commandId, const Reply& reply);
    void terminate(const ProtocolError& error, const uint8_t* bytes, size_t size);

    ostrel::core::FileDescriptor socket_;
    CommandHandler& handler_;
    Framing framing_;
    bool isInitialized_ = false;
    bool isClosing_ = false;
    bool isOver_ = false;
    bool hasProgress_ = false;
    std::vector<uint8_t> in_;
    std::vector<uint8_t> out_;
    size_t sent_ = 0;  ///< of out_
    std::set<uint16_t> outstanding_;
    std::set<uint16_t> held_;
    std::vector<Delayed> delayed_;
    std::deque<Transfer> transfers_;  ///< the first one's data are being fetched
    uint16_t head_ = 0;               ///< SQHD
};

}  // namespace simdrive::tcp
