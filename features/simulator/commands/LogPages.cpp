#include "features/simulator/commands/LogPages.h"

#include <algorithm>
#include <iterator>

#include "features/nvme/Bytes.h"
#include "features/nvme/LogPageIds.h"
#include "features/nvme/NamespaceIds.h"
#include "features/nvme/StatusCodes.h"
#include "features/simulator/context/AsyncEvents.h"
#include "features/simulator/context/ControllerIdentity.h"
#include "features/simulator/context/DriveTables.h"
#include "features/simulator/context/Transfer.h"
#include "features/simulator/context/UuidIndex.h"

namespace features::simulator {

using namespace nvme;

namespace {

/// The pages that can be read while the drive is sanitized (section 8.15.1).
constexpr uint8_t DURING_SANITIZE[] = {LID_ERROR_INFORMATION, LID_SMART_HEALTH, LID_CHANGED_NAMESPACES, LID_RESERVATION,
                                       LID_SANITIZE_STATUS};

bool isReadable(const CommandContext& context, uint8_t lid) {
    return !context.state.sanitize.isRunning ||
           std::find(std::begin(DURING_SANITIZE), std::end(DURING_SANITIZE), lid) != std::end(DURING_SANITIZE);
}

/// Without extended data (LPA bit 2) a page is read from its start, and Number of Dwords has 12 bits.
bool hasFieldsOfModel(const CommandContext& context, const LogRequest& request) {
    constexpr uint64_t MAX_PLAIN_BYTES = uint64_t{4096} * 4;
    return hasExtendedLogData(context) || (request.offset == 0 && request.length <= MAX_PLAIN_BYTES);
}

/// What the host reads of a page of `length` bytes, whose first ones are in `page`; zeros beyond its end.
void cutOut(const LogRequest& request, const std::vector<uint8_t>& page, uint64_t length, std::vector<uint8_t>& data) {
    data.assign(static_cast<size_t>(request.length), 0);
    const uint64_t end = std::min(request.offset + request.length, length);
    uint64_t at = request.offset;
    if (at < page.size()) {
        const uint64_t count = std::min<uint64_t>(page.size(), end) - at;
        std::copy_n(page.begin() + static_cast<std::ptrdiff_t>(at), count, data.begin());
        at += count;
    }
    // Offsets and lengths are multiples of four.
    for (; at < end; at += 4)
        putLe32(data.data() + (at - request.offset), static_cast<uint32_t>(at % 8 == 0 ? at : at >> 32));
}

/// The only one, of drives that have any.
constexpr uint16_t ENDURANCE_GROUP = 1;

}  // namespace

CompletionEntry getLogPage(CommandContext& context) {
    const SubmissionEntry& command = context.command;
    const auto lid = static_cast<uint8_t>(command.cdw10);
    LogRequest request;
    request.lsp = static_cast<uint8_t>(command.cdw10 >> 8 & 0x0F);
    request.lsi = static_cast<uint16_t>(command.cdw11 >> 16);
    request.retainEvent = bit(command.cdw10, 15);
    request.offset = command.cdw12 | static_cast<uint64_t>(command.cdw13) << 32;
    request.length = ((command.cdw10 >> 16 | static_cast<uint64_t>(command.cdw11 & 0xFFFF) << 16) + 1) * 4;

    const LogRow* row = findLog(context, lid);
    if (row == nullptr) return refusal(SC_INVALID_LOG_PAGE);
    if (!isReadable(context, lid)) return passingRefusal(SC_SANITIZE_IN_PROGRESS);
    const bool isOfController = command.nsid == 0 || command.nsid == NSID_ALL;
    if (!isOfController || !hasFieldsOfModel(context, request) || !isUuidIndexOf(context, lid) ||
        (request.lsp & ~row->definedLsp) != 0 || request.lsi != (row->isOfGroup ? ENDURANCE_GROUP : 0) ||
        request.offset % 4 != 0 || !fitsTransfer(context, request.length)) {
        return refusal(SC_INVALID_FIELD);
    }
    std::vector<uint8_t> page;
    CompletionEntry completion = row->build(context, request, page);
    if (!completion.isSuccess()) return completion;
    const uint64_t length = row->length == nullptr ? page.size() : row->length(page);
    if (request.offset != 0 && request.offset >= length) return refusal(SC_INVALID_FIELD);
    if (!request.retainEvent) clearEventsOf(context, lid);
    cutOut(request, page, length, context.data);
    return completion;
}

}  // namespace features::simulator
