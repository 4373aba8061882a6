#include "features/jobs/drive/ControllerReset.h"

#include "features/jobs/support/StatusDetails.h"
#include "features/nvme/Bytes.h"
#include "features/nvme/structures/IdentifyController.h"
#include "features/transport/HostCommand.h"
#include "ostrel/core/CommandResult.h"
#include "ostrel/core/StatusCatalogue.h"

namespace features::jobs {

using namespace ostrel::core;

namespace {

constexpr std::size_t OFFSET_FIRMWARE_REVISION = offsetof(nvme::IdentifyController, fr);
constexpr std::size_t FIRMWARE_REVISION_BYTES = sizeof(nvme::IdentifyController::fr);

}  // namespace

Status resetController(nvme::Drive& drive) {
    CommandResult result;
    drive.device().sendCommand(transport::HostCommand(transport::HostRequest::RESET_CONTROLLER), result);
    Status status = result.status;
    const Status unsupported = statuses::featureNotSupported();
    if (status.is(unsupported.getCategory(), unsupported.getCode())) return status;
    drive.forgetIdentify();
    if (succeeded(status)) status = statusOf(drive.identifyController());
    return succeeded(status) ? status : withDetails(statuses::nvmeResetFailed(), status.getMessage());
}

Result<std::string> runningFirmware(nvme::Drive& drive) {
    TRY(const uint8_t* const identify, drive.identifyController());
    return nvme::shownText(identify + OFFSET_FIRMWARE_REVISION, FIRMWARE_REVISION_BYTES);
}

}  // namespace features::jobs
