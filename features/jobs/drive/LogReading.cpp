#include "features/jobs/drive/LogReading.h"

#include <algorithm>

#include "features/jobs/support/ProgressLine.h"
#include "features/jobs/support/StatusDetails.h"
#include "features/nvme/FieldTree.h"
#include "features/nvme/LogPageIds.h"
#include "features/nvme/StatusCodes.h"
#include "features/nvme/structures/SmartHealthLog.h"

namespace features::jobs {

using namespace ostrel::core;
using nvme::CommandError;

Result<Payload, CommandError> readLog(nvme::Drive& drive, uint8_t lid, uint32_t bytes) {
    nvme::LogPageRequest request;
    request.lid = lid;
    request.retainEvent = true;
    return drive.readLogPage(request, bytes);
}

Result<void, CommandError> copyLog(nvme::Drive& drive, const nvme::LogPageRequest& page, uint64_t end, LogSink& log) {
    if (page.offset >= end) return {};
    uint64_t left = end - page.offset;
    ProgressLine line("Drive " + drive.name() + ", log page " + nvme::hexText(page.lid, 2));
    return drive.readLogPieces(page, (left + 3) / 4 * 4, [&](const Payload& piece, uint32_t bytes) {
        const auto counting = static_cast<size_t>(std::min<uint64_t>(bytes, left));
        left -= counting;
        line.update(end - page.offset - left, end - page.offset);
        return log.add(piece.getData(), counting);
    });
}

bool isRefusal(const Status& status) {
    return status.is(CATEGORY_CORE, 25);
}

bool isMissingLog(const CommandError& error) {
    return isRefusal(error.status) &&
           (error.completion.is(nvme::SC_INVALID_FIELD) || error.completion.is(nvme::SC_INVALID_LOG_PAGE));
}

CommandError missingLogAs(const CommandError& error, const Status& missing) {
    if (!isMissingLog(error)) return error;
    return CommandError(withDetails(missing, error.status.getMessage()), error.completion);
}

Result<Payload, CommandError> readSmartLog(nvme::Drive& drive) {
    return readLog(drive, nvme::LID_SMART_HEALTH, sizeof(nvme::SmartHealthLog));
}

}  // namespace features::jobs
