#include "features/library/LockedDrives.h"

#include "features/jobs/support/StatusDetails.h"
#include "features/transport/HostCommand.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/CommandResult.h"
#include "ostrel/core/Logging.h"

namespace features::library {

using namespace ostrel::core;
using transport::HostCommand;
using transport::HostRequest;

LockedDrives::~LockedDrives() {
    for (const auto& device : devices_) {
        try {
            CommandResult result;
            device->sendCommand(HostCommand(HostRequest::UNLOCK_DRIVE), result);
        } catch (...) {
            // Out of memory: the lock ends with the process.
            logMessage(LOGSEVERITY_ERROR, "A drive's lock could not be released");
        }
    }
}

Status LockedDrives::add(const std::shared_ptr<Device>& device) {
    devices_.reserve(devices_.size() + 1);
    CommandResult result;
    device->sendCommand(HostCommand(HostRequest::LOCK_DRIVE), result);
    if (succeeded(result.status)) {
        devices_.push_back(device);
        return Status();
    }
    // A drive that the scan could not read has no name to lock: the scan has the cause.
    const std::string cause = device->getAttribute(attributes::device::errorString()).getText();
    return cause.empty() ? result.status : jobs::withDetails(result.status, cause);
}

}  // namespace features::library
