#include "features/jobs/namespaces/NamespaceManagementJob.h"

#include <algorithm>
#include <vector>

#include "features/jobs/base/SetRequest.h"
#include "features/jobs/drive/LogReading.h"
#include "features/jobs/drive/Namespaces.h"
#include "features/jobs/drive/SafetyGate.h"
#include "features/jobs/namespaces/NamespaceCommands.h"
#include "features/jobs/support/StatusDetails.h"
#include "features/nvme/ControllerCapabilities.h"
#include "features/nvme/Opcodes.h"
#include "features/transport/HostCommand.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/SignalBlock.h"
#include "ostrel/core/StatusCatalogue.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"

namespace features::jobs {

using namespace ostrel::core;
using transport::HostNamespace;

namespace {

/// Identifiers above are reserved.
constexpr uint64_t MAX_CONTROLLER_ID = 0xFFEF;

/// How long the system may take to see a change.
constexpr uint64_t VIEW_LIMIT_MS = 10000;
constexpr uint64_t VIEW_POLL_MS = 100;

}  // namespace

const NamespaceManagementJob::ActionRow NamespaceManagementJob::ACTIONS[] = {
    {"create", false, &NamespaceManagementJob::create},
    {"delete", true, &NamespaceManagementJob::erase},
    {"attach", false, &NamespaceManagementJob::attach},
    {"detach", true, &NamespaceManagementJob::detach},
};

NamespaceManagementJob::NamespaceManagementJob(std::shared_ptr<const WaitClock> clock)
    : CloneableJob(ostrel::interfaces::ostreli::JOB_NAMESPACE_MANAGEMENT, "Namespace Management"),
      clock_(std::move(clock)) {}

Status NamespaceManagementJob::checkRequest(const Arguments& arguments) {
    Status status = checkOneDrive(getDevices().size());
    if (failed(status)) return status;
    const std::string word = arguments.text(attributes::feature::action().getName());
    action_ =
        std::find_if(std::begin(ACTIONS), std::end(ACTIONS), [&](const ActionRow& row) { return word == row.word; });
    if (action_ == std::end(ACTIONS)) return statuses::invalidNamespaceAction();
    request_ = NamespaceRequest();
    nsid_ = 0;
    controllerId_.reset();
    if (action_->operation == &NamespaceManagementJob::create) return readNamespaceRequest(arguments, request_);
    return readTarget(arguments);
}

Status NamespaceManagementJob::readTarget(const Arguments& arguments) {
    const std::string name = attributes::feature::namespaceManagementNamespaceId().getName();
    const std::string text = arguments.text(name);
    if (text.empty()) return statuses::noNamespaceId();
    std::optional<uint64_t> nsid;
    const Status status = arguments.number(name, nvme::NSID_ALL, nsid, Digits::DECIMAL_OR_HEX);
    // All namespaces at once can be deleted, but not attached.
    const bool mayBeAll = action_->operation == &NamespaceManagementJob::erase;
    if (failed(status) || nsid == 0U || (nsid == nvme::NSID_ALL && !mayBeAll))
        return withDetails(statuses::invalidNamespaceId(), std::string("It must be a number from 1 to 0xFFFFFFFE") +
                                                               (mayBeAll ? ", or 0xFFFFFFFF for all" : "") + ", not '" +
                                                               text + "'.");
    nsid_ = static_cast<uint32_t>(*nsid);
    return arguments.number(attributes::feature::nvmeControllerID().getName(), MAX_CONTROLLER_ID, controllerId_);
}

Status NamespaceManagementJob::checkGate(nvme::Drive& drive) const {
    DestructionScope scope;
    scope.nsid = nsid_;
    scope.partitionsCount = false;
    return checkDestruction(drive, scope);
}

Status NamespaceManagementJob::actOnDrive(nvme::Drive& drive, const Arguments&, DriveOutput& out) {
    Status status = action_->takesAway ? checkGate(drive) : Status();
    if (failed(status)) return status;
    const uint8_t* controller = nullptr;
    status = drive.identifyController(controller);
    if (failed(status)) return status;
    if (!nvme::ControllerCapabilities(controller).supportsNamespaceManagement()) {
        return withDetails(statuses::driveDoesNotSupportFeature(),
                           "Drive " + drive.name() + " has no namespace management.");
    }
    std::string report;
    if (nsid_ != 0 && nsid_ != nvme::NSID_ALL) status = checkAllocated(drive);
    if (succeeded(status)) status = (this->*action_->operation)(drive, controller, report);
    if (succeeded(status)) out.addStatus(title(), Status(0, 0, report));
    return status;
}

Status NamespaceManagementJob::checkAllocated(nvme::Drive& drive) const {
    std::vector<uint32_t> all;
    Status status = moveTo(all, readNamespaceList(drive, nvme::CNS_ALLOCATED_NAMESPACES));
    if (isRefusal(status)) return Status();  // then the command itself reports it
    if (failed(status) || std::find(all.begin(), all.end(), nsid_) != all.end()) return status;
    return withDetails(statuses::invalidNamespaceId(),
                       "Drive " + drive.name() + " has no namespace " + std::to_string(nsid_) + ".");
}

Status NamespaceManagementJob::create(nvme::Drive& drive, const uint8_t* controller, std::string& report) {
    return NamespaceCreation(drive, request_).run(controller, report);
}

Status NamespaceManagementJob::erase(nvme::Drive& drive, const uint8_t*, std::string& report) {
    Status status = checkGate(drive);
    if (failed(status)) return status;
    Status seen;
    status = sendDeletion(drive, seen);
    if (failed(status)) return status;
    report = nsid_ == nvme::NSID_ALL ? "All namespaces were deleted."
                                     : "Namespace " + std::to_string(nsid_) + " was deleted.";
    std::string node;
    if (succeeded(seen)) seen = awaitView(drive, false, node);
    return succeeded(seen) ? seen : withDetails(seen, report);
}

Status NamespaceManagementJob::sendDeletion(nvme::Drive& drive, Status& seen) const {
    const SignalBlock untilTheHostHasLooked;
    nvme::Answer answer;
    const Status status = drive.send(namespaceManagement(SEL_DELETE, nsid_), answer);
    if (failed(status)) return mapNamespaceStatus(status, drive);
    drive.forgetIdentify();
    seen = rescan(drive);
    return status;
}

Status NamespaceManagementJob::attach(nvme::Drive& drive, const uint8_t* controller, std::string& report) {
    return changeAttachment(drive, true, nvme::ControllerCapabilities(controller).cntlid, report);
}

Status NamespaceManagementJob::detach(nvme::Drive& drive, const uint8_t* controller, std::string& report) {
    return changeAttachment(drive, false, nvme::ControllerCapabilities(controller).cntlid, report);
}

Status NamespaceManagementJob::changeAttachment(nvme::Drive& drive, bool attach, uint16_t own, std::string& report) {
    const auto controllerId = static_cast<uint16_t>(controllerId_.value_or(own));
    Status status = attach ? Status() : checkGate(drive);
    Status seen;
    if (succeeded(status)) status = sendAttachment(drive, attach, controllerId, seen);
    if (failed(status)) return status;
    report = "Namespace " + std::to_string(nsid_) + (attach ? " was attached to" : " was detached from") +
             " controller " + std::to_string(controllerId);
    std::string node;
    if (succeeded(seen) && controllerId == own) seen = awaitView(drive, attach, node);
    report += (node.empty() ? "" : ": " + node) + ".";
    return succeeded(seen) ? seen : withDetails(seen, report);
}

Status NamespaceManagementJob::sendAttachment(nvme::Drive& drive, bool attach, uint16_t controllerId,
                                              Status& seen) const {
    const SignalBlock untilTheHostHasLooked;
    const Status status = sendNamespaceAttachment(drive, attach, nsid_, controllerId);
    if (succeeded(status)) seen = rescan(drive);
    return status;
}

Status NamespaceManagementJob::awaitView(nvme::Drive& drive, bool present, std::string& node) const {
    Status status;
    const uint64_t deadline = clock_->nowMs() + VIEW_LIMIT_MS;
    while (succeeded(status)) {
        std::vector<HostNamespace> seen;
        status = moveTo(seen, readHostNamespaces(drive));
        const auto found = std::find_if(seen.begin(), seen.end(), [&](const HostNamespace& space) {
            return space.nsid == nsid_ || nsid_ == nvme::NSID_ALL;
        });
        const bool isThere = found != seen.end() && (!present || !found->node.empty());
        if (isThere && present) node = found->node;
        // The change is made, whether the system sees it by then or later.
        if (isThere == present || clock_->nowMs() >= deadline) break;
        clock_->sleepMs(VIEW_POLL_MS);
    }
    return status;
}

}  // namespace features::jobs
