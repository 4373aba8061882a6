#include "features/nvme/Drive.h"

#include <algorithm>
#include <cstring>

#include "features/nvme/Bytes.h"
#include "features/nvme/ControllerCapabilities.h"
#include "features/nvme/FieldTree.h"
#include "features/nvme/Identify.h"
#include "features/nvme/LogPages.h"
#include "features/nvme/Opcodes.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/CommandResult.h"
#include "ostrel/core/StatusCatalogue.h"

namespace features::nvme {

using namespace ostrel::core;

namespace {

/// MDTS counts in units of the smallest memory page, which is 4 KiB on every controller that Linux drives.
constexpr uint32_t PAGE_BYTES = 4096;
/// Where the controller sets no limit, and the most that is tried: the kernel takes 256 pages in one request.
constexpr uint32_t UNLIMITED_TRANSFER_BYTES = 256 * 1024;
constexpr uint32_t MAX_TRANSFER_BYTES = 1024 * 1024;

/// Number of Dwords has 12 bits where the controller has no extended data.
constexpr uint32_t MAX_PLAIN_LOG_BYTES = 4096 * 4;
/// Log Specific Field: 4 bits, 7 since NVMe 2.0.
constexpr uint8_t MAX_LOG_SPECIFIC_FIELD = 0x7F;

bool isWholeDwords(uint64_t bytes) {
    return bytes % 4 == 0;
}

/// Get Log Page's dwords for one piece (NVMe Base Specification 1.4, section 5.14).
NvmeCommand logPageCommand(const LogPageRequest& request, uint8_t lsp, uint64_t offset, uint32_t bytes) {
    NvmeCommand command(Queue::ADMIN, OPC_GET_LOG_PAGE, "Get Log Page");
    const uint32_t numberOfDwords0Based = bytes / 4 - 1;
    command.nsid = request.nsid;
    command.cdw10 = request.lid | static_cast<uint32_t>(lsp) << 8 | static_cast<uint32_t>(request.retainEvent) << 15 |
                    (numberOfDwords0Based & 0xFFFF) << 16;
    command.cdw11 = numberOfDwords0Based >> 16 | static_cast<uint32_t>(request.lsi) << 16;
    command.cdw12 = static_cast<uint32_t>(offset);
    command.cdw13 = static_cast<uint32_t>(offset >> 32);
    command.dataLength = bytes;
    return command;
}

NvmeCommand featureCommand(const FeatureRequest& request, uint8_t opcode, const char* name) {
    NvmeCommand command(Queue::ADMIN, opcode, name);
    command.nsid = request.nsid;
    command.cdw10 = request.fid;
    command.cdw11 = request.cdw11;
    command.cdw12 = request.cdw12;
    command.cdw13 = request.cdw13;
    command.dataLength = request.dataLength;
    return command;
}

}  // namespace

bool isTooMuchAtOnce(const Status& status) {
    const Status tooMuch = statuses::invalidTransferSize();
    return status.is(tooMuch.getCategory(), tooMuch.getCode());
}

std::string Drive::serialNumber() const {
    return device_.getAttribute(attributes::device::serialNumber()).getText();
}

std::string Drive::name() const {
    return serialNumber() + " (" + device_.getAttribute(attributes::device::devicePath()).getText() + ")";
}

Status Drive::send(const NvmeCommand& command, Answer& answer, const Payload& toController) {
    CommandResult result;
    lastCompletion_ = Completion();
    device_.sendCommand(command, result, toController);
    if (failed(result.status)) return result.status;
    const auto* completion = dynamic_cast<const Completion*>(result.protocolResult.get());
    if (completion == nullptr) return noData(command);
    answer.completion = lastCompletion_ = *completion;
    answer.data = result.inputPayload;
    if (!completion->isSuccess()) return refusal(command, *completion);
    // The caller that reads the data counts on its length.
    if (command.transfer() == Transfer::FROM_CONTROLLER && answer.data.getSize() < command.dataLength)
        return noData(command);
    return Status();
}

Status Drive::refusal(const NvmeCommand& command, const Completion& completion) const {
    Status status = statuses::nvmeCommandProblem();
    status.setMessage(command.getName() + " failed on drive " + name() + ": " + completion.meaning() +
                      " (status code type " + hexText(completion.statusCodeType()) + ", status code " +
                      hexText(completion.statusCode(), 2) + ", opcode " + hexText(command.opcode, 2) + ").");
    return status;
}

Status Drive::noData(const NvmeCommand& command) const {
    Status status = statuses::deviceDataRetrievalFailed();
    status.setMessage("Failed to retrieve data from drive " + name() + ": " + command.getName() +
                      " returned less than was asked for.");
    return status;
}

Status Drive::identify(uint8_t cns, uint32_t nsid, uint16_t controllerId, Payload& data) {
    NvmeCommand command(Queue::ADMIN, OPC_IDENTIFY, "Identify");
    command.nsid = nsid;
    command.cdw10 = cns | static_cast<uint32_t>(controllerId) << 16;
    command.dataLength = IDENTIFY_BYTES;
    Answer answer;
    Status status = send(command, answer);
    if (succeeded(status)) data = answer.data;
    return status;
}

Status Drive::identifyController(const uint8_t*& data) {
    if (identifyController_.getSize() == 0) {
        const Status status = identify(CNS_CONTROLLER, 0, 0, identifyController_);
        if (failed(status)) return status;
    }
    data = identifyController_.getData();
    return Status();
}

Status Drive::supportedLogs(const Payload*& list) {
    if (!supportedLogs_) {
        const uint8_t* identify = nullptr;
        Status status = identifyController(identify);
        if (failed(status)) return status;
        Payload data;
        LogPageRequest request;
        request.lid = LID_SUPPORTED_LOGS;
        request.retainEvent = true;
        if (ControllerCapabilities(identify).supportsSupportedLogs())
            status = readLogPage(request, SUPPORTED_LOGS_BYTES, data);
        if (failed(status) && lastCompletion_.isSuccess()) return status;  // a transport error
        supportedLogs_ = data;
    }
    list = supportedLogs_->getSize() == 0 ? nullptr : &*supportedLogs_;
    return Status();
}

Status Drive::readListedLog(uint8_t lid, bool& hasList, bool& isListed) {
    const Payload* list = nullptr;
    const Status status = supportedLogs(list);
    hasList = list != nullptr;
    isListed = hasList && bit(le32(list->getData() + size_t{4} * lid), 0);
    return status;
}

void Drive::forgetIdentify() {
    identifyController_ = Payload();
    supportedLogs_.reset();
    maxTransferBytes_ = 0;
}

Status Drive::maxTransferBytes(uint32_t& bytes) {
    if (maxTransferBytes_ == 0) {
        const uint8_t* identify = nullptr;
        const Status status = identifyController(identify);
        if (failed(status)) return status;
        const unsigned mdts = ControllerCapabilities(identify).mdts;
        maxTransferBytes_ = mdts == 0                                  ? UNLIMITED_TRANSFER_BYTES
                            : mdts >= 32                               ? MAX_TRANSFER_BYTES
                            : PAGE_BYTES >= MAX_TRANSFER_BYTES >> mdts ? MAX_TRANSFER_BYTES
                                                                       : PAGE_BYTES << mdts;
    }
    bytes = maxTransferBytes_;
    return Status();
}

Status Drive::sendHalvingPieces(uint32_t& pieceBytes, const std::function<Status(uint32_t)>& sendPiece) {
    for (;;) {
        const Status status = sendPiece(pieceBytes);
        // The system takes less at a time than the controller; nothing was sent.
        if (!isTooMuchAtOnce(status) || pieceBytes <= PAGE_BYTES) return status;
        pieceBytes = std::max(PAGE_BYTES, pieceBytes / 2 / PAGE_BYTES * PAGE_BYTES);
        maxTransferBytes_ = pieceBytes;
    }
}

Status Drive::readLogPage(const LogPageRequest& request, uint64_t length, Payload& data) {
    Payload whole;
    uint64_t done = 0;
    const Status status = readLogPieces(request, length, [&](const Payload& piece, uint32_t bytes) {
        if (bytes == length) {  // one piece is the whole: no copy
            whole = piece;
            return Status();
        }
        if (done == 0) whole = Payload(length);
        if (whole.getSize() != length) return statuses::mallocFailed();
        std::memcpy(whole.getData() + done, piece.getData(), bytes);
        done += bytes;
        return Status();
    });
    if (succeeded(status)) data = whole;
    return status;
}

Status Drive::readLogPieces(const LogPageRequest& request, uint64_t length, const TakePiece& take) {
    if (length == 0 || !isWholeDwords(length) || !isWholeDwords(request.offset) ||
        std::max(request.lsp, request.lspOfFurtherPieces) > MAX_LOG_SPECIFIC_FIELD)
        return statuses::requestOutOfBounds();
    LogPieces pieces;
    Status status = logPieces(request, length, pieces);
    for (uint64_t done = 0; succeeded(status) && done < length;) {
        Answer answer;
        uint32_t bytes = 0;
        status = sendHalvingPieces(pieces.bytes, [&](uint32_t most) {
            bytes = static_cast<uint32_t>(std::min<uint64_t>(most, length - done));
            if (bytes < length && !pieces.mayBeSeveral) return noExtendedData();
            const uint8_t lsp = done == 0 ? request.lsp : request.lspOfFurtherPieces;
            return send(logPageCommand(request, lsp, request.offset + done, bytes), answer);
        });
        if (succeeded(status)) status = take(answer.data, bytes);
        done += bytes;
    }
    return status;
}

Status Drive::logPieces(const LogPageRequest& request, uint64_t length, LogPieces& pieces) {
    pieces = {PAGE_BYTES, true};
    // From the start and up to a page, every controller takes it, and need not be asked for its limits.
    if (request.offset == 0 && length <= PAGE_BYTES) return Status();
    const uint8_t* identify = nullptr;
    Status status = identifyController(identify);
    if (succeeded(status)) status = maxTransferBytes(pieces.bytes);
    if (failed(status)) return status;
    if (ControllerCapabilities(identify).supportsExtendedLogData()) return Status();
    pieces = {std::min(pieces.bytes, MAX_PLAIN_LOG_BYTES), false};
    return request.offset == 0 ? Status() : noExtendedData();
}

Status Drive::noExtendedData() const {
    Status status = statuses::featureNotSupported();
    status.setMessage("Drive " + name() + " does not support log page offsets.");
    return status;
}

Status Drive::getFeature(const FeatureRequest& request, Select select, Answer& answer) {
    NvmeCommand command = featureCommand(request, OPC_GET_FEATURES, "Get Features");
    command.cdw10 |= static_cast<uint32_t>(select) << 8;
    // Capabilities are returned in dword 0 alone.
    if (select == Select::CAPABILITIES) command.dataLength = 0;
    return send(command, answer);
}

Status Drive::setFeature(const FeatureRequest& request, bool save, const Payload& data, Answer& answer) {
    NvmeCommand command = featureCommand(request, OPC_SET_FEATURES, "Set Features");
    command.cdw10 |= static_cast<uint32_t>(save) << 31;
    command.dataLength = data.getSize();
    return send(command, answer, data);
}

}  // namespace features::nvme
