#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "ostrel/core/FileDescriptor.h"
#include "simdrive/iscsi/Parameters.h"
#include "simdrive/iscsi/Pdu.h"
#include "simdrive/scsi/SatDevice.h"

namespace simdrive::iscsi {

/// Who the target is, for logins and discovery.
struct TargetIdentity {
    std::string name;     ///< "iqn...."
    std::string address;  ///< "127.0.0.1:3260": where the host reached it
};

/// One TCP connection of a host, which is a session: login, discovery, commands, logout (RFC 7143). No digests, no
/// authentication, error recovery level 0: whatever goes wrong with a unit ends the connection.
///
/// Memory:  input of one unit, data of MAX_TASKS commands that are being fetched, and answers of one command beyond
///          MAX_WAITING_BYTES: while that much waits for the host, nothing more is read from it.
/// Errors:  a host that breaks the rules gets a Reject or a failed login, and is closed when that is sent.
/// Threads: one.
class Connection {
public:
    Connection(ostrel::core::FileDescriptor socket, scsi::SatDevice& device, TargetIdentity identity,
               uint16_t sessionHandle);

    int descriptor() const { return socket_.get(); }
    bool wantsToRead() const;
    bool wantsToWrite() const { return !out_.empty(); }
    bool isOver() const { return isOver_ || (isClosing_ && out_.empty()); }
    bool isLoggedIn() const { return isLoggedIn_; }
    /// Whether the rest of a unit, data of a command, or the host's taking of output is awaited.
    bool isWaitingForHost() const;
    /// Whether bytes came or went since the last call.
    bool takeProgress() { return std::exchange(hasProgress_, false); }

    void onReadable();
    void onWritable();
    void closeNow() { isOver_ = true; }

    /// Carries out again what met a busy drive, and sends the answers whose time has come.
    void serveDue(uint64_t nowMs);
    /// When the next of them is due; UINT64_MAX: there is none.
    uint64_t nextDueMs() const;

    /// InitiatorName and ISID: another login of the same takes this session's place.
    std::string sessionName() const { return parameters_.initiatorName + '\n' + isid_; }

    std::string peer;         ///< the host's numeric address
    uint64_t deadlineMs = 0;  ///< the target's: when it has waited long enough for this host

private:
    static constexpr size_t MAX_WAITING_BYTES = 256 << 10;
    static constexpr uint32_t MAX_TASKS = 32;

    /// A SCSI command that is not answered yet.
    struct Task {
        Header header;
        std::vector<uint8_t> data = {};           ///< to the drive
        uint32_t received = 0;                    ///< of them
        uint32_t transferTag = 0;                 ///< of the last R2T
        uint32_t burstEnd = 0;                    ///< what the last R2T asked for ends there
        std::optional<uint64_t> dueMs = {};       ///< carried out again, or answered, then
        std::optional<scsi::Answer> answer = {};  ///< that waits for its time
        bool isFetching = false;
    };

    void consume();
    void take(const Pdu& pdu);
    void takeLogin(const Pdu& pdu);
    bool isLoginValid(const Header& request);
    void declare(uint8_t stage, Keys& answers);
    void failLogin(const Header& request, uint8_t statusClass, uint8_t detail);
    void takeCommand(const Pdu& pdu);
    void takeData(const Pdu& pdu);
    void takeText(const Pdu& pdu);
    void takeTaskRequest(const Header& request);
    void takeNop(const Pdu& pdu);
    void takeLogout(const Header& request);
    void requestData(uint32_t tag, Task& task);
    void run(uint32_t tag);
    void respond(uint32_t tag, scsi::Answer answer);
    uint32_t sendData(const Header& request, const std::vector<uint8_t>& data);
    void reject(const Pdu& pdu, uint8_t reason);
    /// The numbers of the sequence, of all answers but Data-In and R2T StatSN counts.
    void number(Header& header, bool hasStatus);
    bool acceptNumber(const Header& header);

    ostrel::core::FileDescriptor socket_;
    scsi::SatDevice& device_;
    const TargetIdentity identity_;
    const uint16_t sessionHandle_;
    Parameters parameters_;
    std::string isid_;
    bool isLoggedIn_ = false;
    bool hasNamedGroup_ = false;  ///< TargetPortalGroupTag was sent
    bool hasDeclared_ = false;    ///< MaxRecvDataSegmentLength was sent
    bool isClosing_ = false;
    bool isOver_ = false;
    bool hasProgress_ = false;
    uint32_t statSn_ = 1;
    uint32_t expCmdSn_ = 0;
    uint32_t nextTransferTag_ = 1;
    std::vector<uint8_t> in_;
    std::vector<uint8_t> out_;
    size_t sent_ = 0;                 ///< of out_
    std::map<uint32_t, Task> tasks_;  ///< by initiator task tag
};

}  // namespace simdrive::iscsi
