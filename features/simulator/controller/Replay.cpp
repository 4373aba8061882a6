#include "features/simulator/controller/Replay.h"

#include <algorithm>
#include <iterator>

#include "features/nvme/FeatureIds.h"
#include "features/nvme/Identify.h"
#include "features/nvme/IdentifyCns.h"
#include "features/nvme/LogPageIds.h"
#include "features/nvme/NamespaceIds.h"
#include "features/nvme/NamespaceProperties.h"
#include "features/nvme/Opcodes.h"
#include "features/nvme/StatusCodes.h"
#include "features/nvme/structures/IdentifyController.h"

namespace features::simulator {

using namespace nvme;

namespace {

/// What one command carries at most.
constexpr uint64_t MAX_TRANSFER_BYTES = uint64_t{4} << 20;

/// Values that last as long as a host is connected, and commands of its connection.
constexpr uint8_t FEATURES_OF_HOST[] = {FID_NUMBER_OF_QUEUES, FID_ASYNCHRONOUS_EVENT, FID_KEEP_ALIVE,
                                        FID_HOST_IDENTIFIER};
constexpr uint8_t COMMANDS_OF_HOST[] = {OPC_ABORT, OPC_ASYNCHRONOUS_EVENT_REQUEST, OPC_KEEP_ALIVE};

template <size_t COUNT>
bool isIn(const uint8_t (&list)[COUNT], uint32_t value) {
    return std::find(std::begin(list), std::end(list), value) != std::end(list);
}

bool isFeatureOfHost(const SubmissionEntry& command) {
    const bool isOfFeature = command.opcode == OPC_SET_FEATURES || command.opcode == OPC_GET_FEATURES;
    return isOfFeature && isIn(FEATURES_OF_HOST, command.cdw10 & 0xFF);
}

/// Hosts differ in the NSID of a feature that is not of a namespace.
const CapturedAnswer* findAnswer(const CapturedAnswers& capture, CapturedCommand key) {
    if (const CapturedAnswer* const answer = capture.find(key)) return answer;
    if (key.opcode != OPC_GET_FEATURES) return nullptr;
    for (const uint32_t nsid : {uint32_t{0}, NSID_ALL}) {
        key.fields[0] = nsid;
        if (const CapturedAnswer* const answer = capture.find(key)) return answer;
    }
    return nullptr;
}

/// A host may ask for the events that the captured drive reports. The model decides on all others.
std::optional<CompletionEntry> configureEvents(const CapturedAnswers& capture, CommandContext& context) {
    constexpr uint32_t CRITICAL_WARNINGS = 0xFF;
    const SubmissionEntry& command = context.command;
    if (command.opcode != OPC_SET_FEATURES || command.cdw10 != FID_ASYNCHRONOUS_EVENT) return std::nullopt;
    const auto* const identify = capture.find({OPC_IDENTIFY, {0, CNS_CONTROLLER, 0, 0}});
    if (identify == nullptr || identify->data.size() < IDENTIFY_BYTES) return std::nullopt;
    const uint32_t notices = structureAt<IdentifyController>(identify->data.data()).oaes;
    if ((command.cdw11 & ~(CRITICAL_WARNINGS | notices)) != 0) return std::nullopt;
    context.state.features.current[{FID_ASYNCHRONOUS_EVENT, 0, 0}] = {command.cdw11, {}};
    return CompletionEntry();
}

CompletionEntry notCaptured(uint8_t opcode) {
    return refusal(opcode == OPC_GET_LOG_PAGE ? SC_INVALID_LOG_PAGE : SC_INVALID_FIELD);
}

/// The bytes from `offset` on, and zeros after the end.
void copyPart(const std::vector<uint8_t>& data, uint64_t offset, uint64_t length, std::vector<uint8_t>& part) {
    part.assign(static_cast<size_t>(length), 0);
    if (offset >= data.size()) return;
    const auto count = std::min<uint64_t>(length, data.size() - offset);
    std::copy_n(data.begin() + static_cast<std::ptrdiff_t>(offset), count, part.begin());
}

CompletionEntry answerLog(const CapturedAnswer& answer, CommandContext& context) {
    const SubmissionEntry& command = context.command;
    const uint64_t offset = command.cdw12 | uint64_t{command.cdw13} << 32;
    const uint64_t length = ((command.cdw10 >> 16 | uint64_t{command.cdw11 & 0xFFFF} << 16) + 1) * 4;
    // Hosts read the ANA log as long as it may become, captured is what it has.
    const bool isPastEnd = (command.cdw10 & 0xFF) != LID_ANA && offset != 0 && offset >= answer.data.size();
    if (length > MAX_TRANSFER_BYTES || isPastEnd) return refusal(SC_INVALID_FIELD);
    copyPart(answer.data, offset, length, context.data);
    return {};
}

CompletionEntry answerReading(const CapturedAnswer& answer, CommandContext& context) {
    CompletionEntry completion;
    completion.statusField = answer.status;
    if (!completion.isSuccess()) return completion;
    completion.dword0 = static_cast<uint32_t>(answer.result);
    if (context.command.opcode == OPC_GET_LOG_PAGE) return answerLog(answer, context);
    uint64_t length = answer.data.size();
    if (context.command.opcode == OPC_IDENTIFY) length = IDENTIFY_BYTES;
    if (context.command.opcode == OPC_SECURITY_RECEIVE)
        length = std::min<uint64_t>(context.command.cdw11, MAX_TRANSFER_BYTES);
    copyPart(answer.data, 0, length, context.data);
    return completion;
}

/// Zeros, of a namespace as Identify has it.
CompletionEntry answerRead(const CapturedAnswers& capture, CommandContext& context) {
    const SubmissionEntry& command = context.command;
    const auto* const identify = capture.find({OPC_IDENTIFY, {command.nsid, CNS_NAMESPACE, 0, 0}});
    if (identify == nullptr || identify->data.size() < IDENTIFY_BYTES) return refusal(SC_INVALID_NAMESPACE);
    const NamespaceProperties properties(identify->data.data());
    const auto& format = properties.format();
    const uint64_t first = command.cdw10 | uint64_t{command.cdw11} << 32;
    const uint64_t count = (command.cdw12 & 0xFFFF) + 1;
    if (first >= properties.sizeBlocks || count > properties.sizeBlocks - first) return refusal(SC_LBA_OUT_OF_RANGE);
    const uint64_t bytes = count * (format.dataBytes() + (properties.metadataExtended() ? format.metadataBytes : 0U));
    if (bytes == 0 || bytes > MAX_TRANSFER_BYTES) return refusal(SC_INVALID_FIELD);
    context.data.assign(static_cast<size_t>(bytes), 0);
    return {};
}

}  // namespace

std::optional<CompletionEntry> replay(const CapturedAnswers& capture, CommandContext& context) {
    const SubmissionEntry& command = context.command;
    if (!command.isAdmin) {
        if (command.opcode == OPC_READ) return answerRead(capture, context);
        return command.opcode == OPC_FLUSH ? CompletionEntry() : refusal(SC_NAMESPACE_WRITE_PROTECTED);
    }
    const auto key = capturedCommand(command.opcode, command.nsid, command.cdw10, command.cdw11, command.cdw14);
    const CapturedAnswer* const answer = key ? findAnswer(capture, *key) : nullptr;
    if (answer != nullptr) return answerReading(*answer, context);
    if (const auto completion = configureEvents(capture, context)) return completion;
    if (isIn(COMMANDS_OF_HOST, command.opcode) || isFeatureOfHost(command)) return std::nullopt;
    return key ? notCaptured(command.opcode) : refusal(SC_OPERATION_DENIED);
}

}  // namespace features::simulator
