#include "features/nvme/Drive.h"

#include <algorithm>
#include <cstring>

#include "features/errors/DriveName.h"
#include "features/errors/HalvedPieces.h"
#include "features/nvme/Bytes.h"
#include "features/nvme/ControllerCapabilities.h"
#include "features/nvme/FieldTree.h"
#include "features/nvme/Identify.h"
#include "features/nvme/IdentifyCns.h"
#include "features/nvme/LogPageIds.h"
#include "features/nvme/LogPages.h"
#include "features/nvme/Opcodes.h"
#include "features/nvme/structures/SupportedLogsLog.h"
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

/// Latency Monitor Debug Telemetry.
constexpr uint8_t LAST_OCP_LID = 0xCA;

bool isWholeDwords(uint64_t bytes) {
    return bytes % 4 == 0;
}

/// Get Log Page's dwords for one piece (NVMe Base Specification 1.4, section 5.14).
NvmeCommand logPageCommand(const LogPageRequest& request, uint8_t lsp, uint64_t offset, uint32_t bytes,
                           uint8_t uuidIndex) {
    NvmeCommand command(Queue::ADMIN, OPC_GET_LOG_PAGE, "Get Log Page");
    const uint32_t numberOfDwords0Based = bytes / 4 - 1;
    command.nsid = request.nsid;
    command.cdw10 = request.lid | static_cast<uint32_t>(lsp) << 8 | static_cast<uint32_t>(request.retainEvent) << 15 |
                    (numberOfDwords0Based & 0xFFFF) << 16;
    command.cdw11 = numberOfDwords0Based >> 16 | static_cast<uint32_t>(request.lsi) << 16;
    command.cdw12 = static_cast<uint32_t>(offset);
    command.cdw13 = static_cast<uint32_t>(offset >> 32);
    command.cdw14 = uuidIndex | static_cast<uint32_t>(request.csi) << 24;
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
    command.cdw14 = request.uuidIndex;
    command.dataLength = request.dataLength;
    return command;
}

}  // namespace

bool isTooMuchAtOnce(const Status& status) {
    return features::isTooMuchAtOnce(status);
}

std::string Drive::serialNumber() const {
    return device_.getAttribute(attributes::device::serialNumber()).getText();
}

std::string Drive::name() const {
    return driveName(device_);
}

Result<Answer, CommandError> Drive::send(const NvmeCommand& command, const Payload& toController) {
    CommandResult result;
    device_.sendCommand(command, result, toController);
    RETURN_IF_FAILED(result.status);
    const auto* completion = dynamic_cast<const Completion*>(result.protocolResult.get());
    if (completion == nullptr) return noData(command);
    if (!completion->isSuccess()) return CommandError(refusal(command, *completion), *completion);
    // The caller that reads the data counts on its length.
    if (command.transfer() == Transfer::FROM_CONTROLLER && result.inputPayload.getSize() < command.dataLength)
        return noData(command);
    return Answer{*completion, result.inputPayload};
}

Status Drive::refusal(const NvmeCommand& command, const Completion& completion) const {
    Status status = statuses::nvmeCommandProblem();
    status.setMessage(command.getName() + " failed on drive " + name() + ": " + completion.meaning() +
                      " (status code type " + hexText(completion.status().type) + ", status code " +
                      hexText(completion.status().code, 2) + ", opcode " + hexText(command.opcode, 2) + ").");
    return status;
}

Status Drive::noData(const NvmeCommand& command) const {
    Status status = statuses::deviceDataRetrievalFailed();
    status.setMessage("Failed to retrieve data from drive " + name() + ": " + command.getName() +
                      " returned less than was asked for.");
    return status;
}

Result<Payload, CommandError> Drive::identify(uint8_t cns, uint32_t nsid, uint16_t controllerId, uint8_t csi) {
    NvmeCommand command(Queue::ADMIN, OPC_IDENTIFY, "Identify");
    command.nsid = nsid;
    command.cdw10 = cns | static_cast<uint32_t>(controllerId) << 16;
    command.cdw11 = static_cast<uint32_t>(csi) << 24;
    command.dataLength = IDENTIFY_BYTES;
    TRY(const Answer answer, send(command));
    return answer.data;
}

Result<const uint8_t*, CommandError> Drive::identifyController() {
    if (identifyController_.getSize() == 0) {
        TRY(identifyController_, identify(CNS_CONTROLLER, 0));
    }
    return identifyController_.getData();
}

Result<const Payload*, CommandError> Drive::supportedLogs() {
    if (!supportedLogs_) {
        TRY(const uint8_t* const identify, identifyController());
        Result<Payload, CommandError> list;
        LogPageRequest request;
        request.lid = LID_SUPPORTED_LOGS;
        request.retainEvent = true;
        if (ControllerCapabilities(identify).supportsSupportedLogs())
            list = readLogPage(request, sizeof(SupportedLogsLog));
        if (!list && list.error().completion.isSuccess()) return list.error();  // a transport error
        supportedLogs_ = list ? *list : Payload();
    }
    return supportedLogs_->getSize() == 0 ? nullptr : &*supportedLogs_;
}

Result<std::optional<bool>, CommandError> Drive::isLogListed(uint8_t lid) {
    TRY(const Payload* const list, supportedLogs());
    if (list == nullptr) return std::nullopt;
    return bit(le32(list->getData() + size_t{4} * lid), 0);
}

Result<UuidIndexes, CommandError> Drive::uuidIndexes() {
    if (!uuidIndexes_) {
        TRY(const uint8_t* const identify, identifyController());
        UuidIndexes indexes;
        if (ControllerCapabilities(identify).supportsUuidList()) {
            const auto list = this->identify(CNS_UUID_LIST, 0);
            if (!list && list.error().completion.isSuccess()) return list.error();  // a transport error
            if (list) indexes = {ocpUuidIndex(*list), makerUuidIndex(*list)};
        }
        uuidIndexes_ = indexes;
    }
    return *uuidIndexes_;
}

Result<uint8_t, CommandError> Drive::uuidIndexOfLog(uint8_t lid) {
    if (lid < FIRST_VENDOR_LID) return uint8_t{0};
    TRY(const UuidIndexes indexes, uuidIndexes());
    return lid <= LAST_OCP_LID ? indexes.ocp : indexes.maker;
}

void Drive::forgetIdentify() {
    identifyController_ = Payload();
    supportedLogs_.reset();
    uuidIndexes_.reset();
    maxTransferBytes_ = 0;
}

Result<uint32_t, CommandError> Drive::maxTransferBytes() {
    if (maxTransferBytes_ == 0) {
        TRY(const uint8_t* const identify, identifyController());
        const unsigned mdts = ControllerCapabilities(identify).mdts;
        maxTransferBytes_ = mdts == 0                                  ? UNLIMITED_TRANSFER_BYTES
                            : mdts >= 32                               ? MAX_TRANSFER_BYTES
                            : PAGE_BYTES >= MAX_TRANSFER_BYTES >> mdts ? MAX_TRANSFER_BYTES
                                                                       : PAGE_BYTES << mdts;
    }
    return maxTransferBytes_;
}

/// The system takes less at a time than the controller.
bool Drive::halve(uint32_t& pieceBytes) {
    if (pieceBytes <= PAGE_BYTES) return false;
    pieceBytes = std::max(PAGE_BYTES, pieceBytes / 2 / PAGE_BYTES * PAGE_BYTES);
    maxTransferBytes_ = pieceBytes;
    return true;
}

Result<Payload, CommandError> Drive::readLogPage(const LogPageRequest& request, uint64_t length) {
    Payload whole;
    uint64_t done = 0;
    RETURN_IF_FAILED(readLogPieces(request, length, [&](const Payload& piece, uint32_t bytes) {
        if (bytes == length) {  // one piece is the whole: no copy
            whole = piece;
            return Status();
        }
        if (done == 0) whole = Payload(length);
        if (whole.getSize() != length) return statuses::mallocFailed();
        std::memcpy(whole.getData() + done, piece.getData(), bytes);
        done += bytes;
        return Status();
    }));
    return whole;
}

Result<void, CommandError> Drive::readLogPieces(const LogPageRequest& request, uint64_t length, const TakePiece& take) {
    if (length == 0 || !isWholeDwords(length) || !isWholeDwords(request.offset) ||
        std::max(request.lsp, request.lspOfFurtherPieces) > MAX_LOG_SPECIFIC_FIELD)
        return statuses::requestOutOfBounds();
    TRY(LogPieces pieces, logPieces(request, length));
    TRY(const uint8_t uuidIndex, uuidIndexOfLog(request.lid));
    for (uint64_t done = 0; done < length;) {
        uint32_t bytes = 0;
        const auto sendPiece = [&](uint32_t most) -> Result<Answer, CommandError> {
            bytes = static_cast<uint32_t>(std::min<uint64_t>(most, length - done));
            if (bytes < length && !pieces.mayBeSeveral) return noExtendedData();
            const uint8_t lsp = done == 0 ? request.lsp : request.lspOfFurtherPieces;
            return send(logPageCommand(request, lsp, request.offset + done, bytes, uuidIndex));
        };
        TRY(const Answer answer, sendHalvingPieces(pieces.bytes, sendPiece));
        RETURN_IF_FAILED(take(answer.data, bytes));
        done += bytes;
    }
    return {};
}

Result<Drive::LogPieces, CommandError> Drive::logPieces(const LogPageRequest& request, uint64_t length) {
    // From the start and up to a page, every controller takes it, and need not be asked for its limits.
    if (request.offset == 0 && length <= PAGE_BYTES) return LogPieces{PAGE_BYTES, true};
    TRY(const uint8_t* const identify, identifyController());
    TRY(const uint32_t most, maxTransferBytes());
    if (ControllerCapabilities(identify).supportsExtendedLogData()) return LogPieces{most, true};
    if (request.offset != 0) return noExtendedData();
    return LogPieces{std::min(most, MAX_PLAIN_LOG_BYTES), false};
}

Status Drive::noExtendedData() const {
    Status status = statuses::featureNotSupported();
    status.setMessage("Drive " + name() + " does not support log page offsets.");
    return status;
}

Result<Answer, CommandError> Drive::getFeature(const FeatureRequest& request, Select select) {
    NvmeCommand command = featureCommand(request, OPC_GET_FEATURES, "Get Features");
    command.cdw10 |= static_cast<uint32_t>(select) << 8;
    // Capabilities are returned in dword 0 alone.
    if (select == Select::CAPABILITIES) command.dataLength = 0;
    return send(command);
}

Result<Answer, CommandError> Drive::setFeature(const FeatureRequest& request, bool save, const Payload& data) {
    NvmeCommand command = featureCommand(request, OPC_SET_FEATURES, "Set Features");
    command.cdw10 |= static_cast<uint32_t>(save) << 31;
    command.dataLength = data.getSize();
    return send(command, data);
}

}  // namespace features::nvme
