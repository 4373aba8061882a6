#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "features/errors/Result.h"
#include "features/nvme/CommandError.h"
#include "features/nvme/Completion.h"
#include "features/nvme/NamespaceIds.h"
#include "features/nvme/NvmeCommand.h"
#include "ostrel/core/Device.h"
#include "ostrel/core/Payload.h"
#include "ostrel/core/Status.h"

namespace features::nvme {

/// What a command brought back: the completion, and the data when the command reads.
struct Answer {
    Completion completion;
    ostrel::core::Payload data;
};

/// Where the UUID List has the UUIDs of the owners of vendor specific log pages and features, counted from 1; 0:
/// it does not have them, or the controller has no list.
struct UuidIndexes {
    uint8_t ocp = 0;
    uint8_t maker = 0;  ///< the first UUID that the list associates with the controller's PCI Vendor ID
};

/// Which part of which log page. Lengths and offsets in bytes, multiples of 4.
struct LogPageRequest {
    uint8_t lid = 0;
    uint32_t nsid = NSID_ALL;
    uint8_t lsp = 0;           ///< Log Specific Field, of the first piece
    uint16_t lsi = 0;          ///< Log Specific Identifier
    bool retainEvent = false;  ///< Retain Asynchronous Event, on every piece
    uint64_t offset = 0;
    uint8_t csi = 0;  ///< I/O command set, of a page that each of them has its own of
    /// Telemetry and persistent event log: what the field is on the pieces after the first. Creating a capture, or
    /// establishing a context, twice would throw the first one away.
    uint8_t lspOfFurtherPieces = 0;
};

/// Values of Select in Get Features.
enum class Select : uint8_t { CURRENT = 0, DEFAULT = 1, SAVED = 2, CAPABILITIES = 3 };

/// A feature that is read or written. dataLength: bytes of its data structure, 0 when it has none.
struct FeatureRequest {
    uint8_t fid = 0;
    uint32_t nsid = 0;
    uint32_t cdw11 = 0;
    uint32_t cdw12 = 0;
    uint32_t cdw13 = 0;
    uint32_t dataLength = 0;
    uint8_t uuidIndex = 0;  ///< of a vendor specific feature, whose it is; 0: the one that is the controller's default
};

/// Whether the system takes less at a time than the command carried (0/75 of the command path); nothing was sent.
bool isTooMuchAtOnce(const ostrel::core::Status& status);

/// A controller as the jobs see it: the operations of the NVMe Base Specification over Device::sendCommand, and what
/// was already asked of it. Nothing is asked before a caller needs it, and the Identify Controller structure at most
/// once.
///
/// Ownership: the device must outlive it.
/// Errors:    a transport error is reported by the transport's own status. A refusal by the drive is 0/25; its
///            message names meaning, status code type and status code, opcode and drive, and the error's completion
///            shows which it was. Less data than was asked for is 10/33. Numbers that do not fit a field are 0/14, and
///            nothing is sent.
/// Threads:   one at a time per object; different devices side by side.
class Drive {
public:
    explicit Drive(ostrel::core::Device& device) : device_(device) {}

    ostrel::core::Device& device() { return device_; }
    const ostrel::core::Device& device() const { return device_; }
    std::string serialNumber() const;
    /// "S123 (/dev/nvme0)": how a message names the drive.
    std::string name() const;

    /// Sends one command. `toController` goes with commands that write data.
    Result<Answer, CommandError> send(const NvmeCommand& command, const ostrel::core::Payload& toController = {});

    /// 4,096 bytes. `csi`: of a structure that each I/O command set has its own of.
    Result<ostrel::core::Payload, CommandError> identify(uint8_t cns, uint32_t nsid, uint16_t controllerId = 0,
                                                         uint8_t csi = 0);
    /// The Identify Controller structure: 4,096 bytes, asked once. The bytes belong to the drive object.
    Result<const uint8_t*, CommandError> identifyController();

    /// Log page 00h, which lists the others: 1,024 bytes, asked once; null on a controller that does not offer it or
    /// refuses it. The bytes belong to the drive object.
    Result<const ostrel::core::Payload*, CommandError> supportedLogs();
    /// Whether the list has a log page; empty where there is no list.
    Result<std::optional<bool>, CommandError> isLogListed(uint8_t lid);
    /// From the UUID List (CNS 17h), asked once; none of them on a controller that does not report or refuses the list.
    Result<UuidIndexes, CommandError> uuidIndexes();
    /// `length` bytes of a log page, in the largest pieces that the controller and the system take. 10/34 when it would
    /// take an offset that the controller does not support. A vendor specific page is asked for by the UUID Index of
    /// OCP where OCP has a page of that identifier, otherwise by the maker's.
    Result<ostrel::core::Payload, CommandError> readLogPage(const LogPageRequest& request, uint64_t length);
    /// The same for a page that is too large to be held twice: each piece is handed to `take` when it comes, in order;
    /// `bytes` of it count. What `take` returns, other than a success, ends the reading.
    using TakePiece = std::function<ostrel::core::Status(const ostrel::core::Payload& piece, uint32_t bytes)>;
    Result<void, CommandError> readLogPieces(const LogPageRequest& request, uint64_t length, const TakePiece& take);

    Result<Answer, CommandError> getFeature(const FeatureRequest& request, Select select);
    Result<Answer, CommandError> setFeature(const FeatureRequest& request, bool save,
                                            const ostrel::core::Payload& data = {});

    /// The most bytes one command may carry, by MDTS; 256 KiB where the controller sets no limit, and never more than
    /// 1 MiB. Shrinks when the system was seen to take less.
    Result<uint32_t, CommandError> maxTransferBytes();
    /// Calls `sendPiece` with the most bytes that it may send, and again with half of that as long as its error
    /// isTooMuchAtOnce(). Returns what the last call returned; `pieceBytes` is what that one might send.
    template <typename SendPiece>
    auto sendHalvingPieces(uint32_t& pieceBytes, const SendPiece& sendPiece) {
        for (;;) {
            auto sent = sendPiece(pieceBytes);
            if (sent || !isTooMuchAtOnce(sent.error()) || !halve(pieceBytes)) return sent;
        }
    }

    /// After a command that changes what Identify says.
    void forgetIdentify();

private:
    /// How a log page is read: in pieces of at most so many bytes, several of them when the controller has offsets.
    struct LogPieces {
        uint32_t bytes;
        bool mayBeSeveral;
    };
    Result<uint8_t, CommandError> uuidIndexOfLog(uint8_t lid);
    Result<LogPieces, CommandError> logPieces(const LogPageRequest& request, uint64_t length);
    /// False for pieces that are as small as they get.
    bool halve(uint32_t& pieceBytes);
    ostrel::core::Status refusal(const NvmeCommand& command, const Completion& completion) const;
    ostrel::core::Status noData(const NvmeCommand& command) const;
    ostrel::core::Status noExtendedData() const;

    ostrel::core::Device& device_;
    ostrel::core::Payload identifyController_;
    std::optional<ostrel::core::Payload> supportedLogs_;  ///< empty: there is no list
    std::optional<UuidIndexes> uuidIndexes_;
    uint32_t maxTransferBytes_ = 0;
};

}  // namespace features::nvme
