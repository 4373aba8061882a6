#include "features/jobs/namespaces/NamespaceManagementJob.h"

#include <algorithm>
#include <vector>

#include "features/jobs/base/SetRequest.h"
#include "features/jobs/drive/HostSide.h"
#include "features/jobs/drive/LogReading.h"
#include "features/jobs/drive/Namespaces.h"
#include "features/jobs/drive/SafetyGate.h"
#include "features/jobs/namespaces/NamespaceCommands.h"
#include "features/jobs/support/StatusDetails.h"
#include "features/nvme/ControllerCapabilities.h"
#include "features/nvme/IdentifyCns.h"
#include "features/nvme/NamespaceIds.h"
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
    RETURN_IF_FAILED(checkOneDrive(getDevices().size()));
    const std::string word = arguments.text(attributes::feature::action().getName());
    action_ =
        std::find_if(std::begin(ACTIONS), std::end(ACTIONS), [&](const ActionRow& row) { return word == row.word; });
    if (action_ == std::end(ACTIONS)) return statuses::invalidNamespaceAction();
    request_ = NamespaceRequest();
    nsid_ = 0;
    controllerId_.reset();
    if (action_->operation != &NamespaceManagementJob::create) return readTarget(arguments);
    TRY(request_, readNamespaceRequest(arguments));
    return Status();
}

Status NamespaceManagementJob::readTarget(const Arguments& arguments) {
    const std::string name = attributes::feature::namespaceManagementNamespaceId().getName();
    const std::string text = arguments.text(name);
    if (text.empty()) return statuses::noNamespaceId();
    const std::optional<uint64_t> nsid =
        arguments.number(name, nvme::NSID_ALL, Digits::DECIMAL_OR_HEX).value_or(std::nullopt);
    // All namespaces at once can be deleted, but not attached.
    const bool mayBeAll = action_->operation == &NamespaceManagementJob::erase;
    if (!nsid || nsid == 0U || (nsid == nvme::NSID_ALL && !mayBeAll))
        return withDetails(statuses::invalidNamespaceId(), std::string("It must be a number from 1 to 0xFFFFFFFE") +
                                                               (mayBeAll ? ", or 0xFFFFFFFF for all" : "") + ", not '" +
                                                               text + "'.");
    nsid_ = static_cast<uint32_t>(*nsid);
    TRY(controllerId_, arguments.number(attributes::feature::nvmeControllerID().getName(), MAX_CONTROLLER_ID));
    return Status();
}

Status NamespaceManagementJob::checkGate(nvme::Drive& drive) const {
    DestructionScope scope;
    scope.nsid = nsid_;
    scope.partitionsCount = false;
    return checkDestruction(drive.device(), scope);
}

Status NamespaceManagementJob::actOnDrive(nvme::Drive& drive, const Arguments&, DriveOutput& out) {
    if (action_->takesAway) RETURN_IF_FAILED(checkGate(drive));
    TRY(const uint8_t* const controller, drive.identifyController());
    if (!nvme::ControllerCapabilities(controller).supportsNamespaceManagement()) {
        return withDetails(statuses::driveDoesNotSupportFeature(),
                           "Drive " + drive.name() + " has no namespace management.");
    }
    if (nsid_ != 0 && nsid_ != nvme::NSID_ALL) RETURN_IF_FAILED(checkAllocated(drive));
    TRY(const std::string report, (this->*action_->operation)(drive, controller));
    out.addStatus(title(), Status(0, 0, report));
    return Status();
}

Status NamespaceManagementJob::checkAllocated(nvme::Drive& drive) const {
    const auto all = readNamespaceList(drive, nvme::CNS_ALLOCATED_NAMESPACES);
    // Where the list is refused, the command itself reports it.
    if (!all) return isRefusal(all.error()) ? Status() : all.error();
    if (std::find(all->begin(), all->end(), nsid_) != all->end()) return Status();
    return withDetails(statuses::invalidNamespaceId(),
                       "Drive " + drive.name() + " has no namespace " + std::to_string(nsid_) + ".");
}

Result<std::string> NamespaceManagementJob::create(nvme::Drive& drive, const uint8_t* controller) {
    return NamespaceCreation(drive, request_).run(controller);
}

Result<std::string> NamespaceManagementJob::erase(nvme::Drive& drive, const uint8_t*) {
    RETURN_IF_FAILED(checkGate(drive));
    TRY(const RescanStatus rescanned, sendDeletion(drive));
    const std::string report = nsid_ == nvme::NSID_ALL ? "All namespaces were deleted."
                                                       : "Namespace " + std::to_string(nsid_) + " was deleted.";
    const Status seen = succeeded(rescanned.status) ? statusOf(awaitView(drive, false)) : rescanned.status;
    if (failed(seen)) return withDetails(seen, report);
    return report;
}

Result<RescanStatus> NamespaceManagementJob::sendDeletion(nvme::Drive& drive) const {
    const SignalBlock untilTheHostHasLooked;
    const auto sent = drive.send(namespaceManagement(SEL_DELETE, nsid_));
    if (!sent) return mapNamespaceStatus(sent.error());
    drive.forgetIdentify();
    return RescanStatus{rescan(drive.device())};
}

Result<std::string> NamespaceManagementJob::attach(nvme::Drive& drive, const uint8_t* controller) {
    return changeAttachment(drive, true, nvme::ControllerCapabilities(controller).cntlid);
}

Result<std::string> NamespaceManagementJob::detach(nvme::Drive& drive, const uint8_t* controller) {
    return changeAttachment(drive, false, nvme::ControllerCapabilities(controller).cntlid);
}

Result<std::string> NamespaceManagementJob::changeAttachment(nvme::Drive& drive, bool attach, uint16_t own) {
    const auto controllerId = static_cast<uint16_t>(controllerId_.value_or(own));
    if (!attach) RETURN_IF_FAILED(checkGate(drive));
    TRY(const RescanStatus rescanned, sendAttachment(drive, attach, controllerId));
    Result<std::string> node;
    if (failed(rescanned.status)) {
        node = rescanned.status;
    } else if (controllerId == own) {
        node = awaitView(drive, attach);
    }
    const std::string place = node.value_or(std::string());
    const std::string report = "Namespace " + std::to_string(nsid_) +
                               (attach ? " was attached to" : " was detached from") + " controller " +
                               std::to_string(controllerId) + (place.empty() ? "" : ": " + place) + ".";
    if (!node) return withDetails(node.error(), report);
    return report;
}

Result<RescanStatus> NamespaceManagementJob::sendAttachment(nvme::Drive& drive, bool attach,
                                                            uint16_t controllerId) const {
    const SignalBlock untilTheHostHasLooked;
    RETURN_IF_FAILED(sendNamespaceAttachment(drive, attach, nsid_, controllerId));
    return RescanStatus{rescan(drive.device())};
}

Result<std::string> NamespaceManagementJob::awaitView(nvme::Drive& drive, bool present) const {
    const uint64_t deadline = clock_->nowMs() + VIEW_LIMIT_MS;
    for (;;) {
        TRY(const std::vector<HostNamespace> seen, readHostNamespaces(drive.device()));
        const auto found = std::find_if(seen.begin(), seen.end(), [&](const HostNamespace& space) {
            return space.nsid == nsid_ || nsid_ == nvme::NSID_ALL;
        });
        const bool isThere = found != seen.end() && (!present || !found->node.empty());
        if (isThere && present) return found->node;
        // The change is made, whether the system sees it by then or later.
        if (isThere == present || clock_->nowMs() >= deadline) return "";
        clock_->sleepMs(VIEW_POLL_MS);
    }
}

}  // namespace features::jobs
