#include "features/transport/simulated/SimulatedNvmePath.h"

#include <cerrno>
#include <chrono>
#include <mutex>
#include <optional>

#include "features/errors/PayloadCopy.h"
#include "features/nvme/Completion.h"
#include "features/simulator/controller/Controller.h"
#include "features/transport/CommandLog.h"
#include "features/transport/DriveLock.h"
#include "features/transport/HostStatus.h"
#include "features/transport/SelectedDrive.h"
#include "features/transport/simulated/SimulatedIdentity.h"
#include "features/transport/simulated/SimulatedNamespaces.h"
#include "ostrel/core/File.h"
#include "ostrel/core/StatusCatalogue.h"
#include "ostrel/core/UtcTime.h"

namespace features::transport {

using namespace ostrel::core;
using nvme::Completion;
using nvme::NvmeCommand;
using nvme::Transfer;
using simulator::CompletionEntry;
using simulator::Delivery;
using simulator::SubmissionEntry;

namespace {

constexpr uint64_t DEFAULT_TIMEOUT_SECONDS = 30;

SubmissionEntry toEntry(const NvmeCommand& command) {
    return SubmissionEntry{command.queue == nvme::Queue::ADMIN,
                           command.opcode,
                           command.nsid,
                           command.cdw2,
                           command.cdw3,
                           command.cdw10,
                           command.cdw11,
                           command.cdw12,
                           command.cdw13,
                           command.cdw14,
                           command.cdw15};
}

Payload paddedTo(std::vector<uint8_t>& data, uint32_t length) {
    data.resize(length);
    return copyOf(data.data(), data.size());
}

}  // namespace

/// The controller, made once for all clones of the path.
struct SimulatedNvmePath::Drive {
    Drive(const std::string& folder, const simulator::Clock& clock, const std::string& locks)
        : controller(folder, clock), lock(locks) {}

    std::mutex mutex;
    simulator::Controller controller;
    std::optional<nvme::ControllerIdentity> selected;  ///< before the first command
    DriveLock lock;
};

SimulatedNvmePath::SimulatedNvmePath(std::string folder, const simulator::Clock& clock, Wait wait,
                                     const std::string& locks)
    : CommandPath("Simulated NVMe", DEFAULT_TIMEOUT_SECONDS * NANOSECONDS_PER_SECOND),
      folder_(std::move(folder)),
      wait_(std::move(wait)),
      drive_(std::make_shared<Drive>(folder_, clock, locks)) {}

void SimulatedNvmePath::select(const nvme::ControllerIdentity& identity) {
    drive_->selected = identity;
}

void SimulatedNvmePath::select(const simulator::DriveFolder::Identity& identity) {
    select(identityOf(identity.description));
    drive_->controller.expect(identity);
}

std::unique_ptr<CommandPath> SimulatedNvmePath::clone() const {
    return std::make_unique<SimulatedNvmePath>(*this);
}

bool SimulatedNvmePath::isSupported(const AttributeList&) const {
    return pathExists(folder_ + "/" + simulator::FILE_DESCRIPTION);
}

CommandResult SimulatedNvmePath::send(const Command& command, const Payload& payload, const AttributeList&) {
    CommandResult result;
    result.command = command.clone();
    result.outputPayload = payload;
    result.startTime = utcNow();
    if (const auto* nvmeCommand = dynamic_cast<const NvmeCommand*>(&command)) {
        const auto start = std::chrono::steady_clock::now();
        result.status = hostStatus(sendNvme(*nvmeCommand, payload, result));
        logCommand(folder_, *nvmeCommand, result.status, result.protocolResult.get(),
                   std::chrono::steady_clock::now() - start);
    } else if (const auto* hostCommand = dynamic_cast<const HostCommand*>(&command)) {
        result.status = hostStatus(sendHost(*hostCommand, result));
    } else {
        result.status = statuses::commandSetNotSupported();
    }
    result.endTime = utcNow();
    result.duration = result.endTime - result.startTime;
    return result;
}

Result<CompletionEntry> SimulatedNvmePath::execute(const NvmeCommand& command, std::vector<uint8_t>& data) {
    const std::lock_guard<std::mutex> lock(drive_->mutex);
    const auto check = command.needsSelectedDrive() ? identityCheck() : simulator::Controller::Check();
    return drive_->controller.execute(toEntry(command), data, check);
}

Status SimulatedNvmePath::sendNvme(const NvmeCommand& command, const Payload& payload, CommandResult& result) {
    const bool reads = command.transfer() == Transfer::FROM_CONTROLLER && command.dataLength != 0;
    std::vector<uint8_t> data;
    if (!reads && payload.getSize() != 0) data.assign(payload.getData(), payload.getData() + payload.getSize());
    TRY(CompletionEntry completion, execute(command, data));
    if (completion.delivery == Delivery::GONE) {
        return hostStatus(ENODEV, folder_);
    }
    const bool isAnswered = completion.delivery == Delivery::COMPLETED;
    const uint64_t timeoutMs = command.timeoutMs != 0 ? command.timeoutMs : getTimeoutNanoseconds() / 1000000;
    const bool isInTime = isAnswered && completion.delayMs < timeoutMs;
    if (completion.delayMs != 0 || !isAnswered) {
        wait_(std::chrono::milliseconds(isInTime ? completion.delayMs : timeoutMs));
    }
    if (!isInTime) {
        return hostStatus(EINTR, folder_);
    }
    if (reads && completion.isSuccess() && data.size() > command.dataLength) {
        // The host's buffer is smaller than what its command asked for.
        completion = simulator::refusal(nvme::SC_DATA_TRANSFER_ERROR);
    }
    result.protocolResult = std::make_unique<Completion>(completion.statusField, completion.dword0, completion.dword1);
    if (reads) {
        if (!completion.isSuccess()) data.clear();
        result.inputPayload = paddedTo(data, command.dataLength);
    }
    return Status();
}

simulator::Controller::Check SimulatedNvmePath::identityCheck() const {
    return [this](const simulator::Description& description) {
        const auto& selected = drive_->selected;
        if (!selected) return unknownIdentity(folder_);
        const nvme::ControllerIdentity found = identityOf(description);
        return selected->isThatOf(found) ? Status() : anotherDrive(folder_, selected->text(), found.text());
    };
}

Status SimulatedNvmePath::sendHost(const HostCommand& command, CommandResult& result) {
    const std::lock_guard<std::mutex> lock(drive_->mutex);
    switch (command.request) {
        case HostRequest::NAMESPACES:
        case HostRequest::SIZES:
        case HostRequest::USES: {  // the system does not see these namespaces: they are unused
            const bool withSizes = command.request != HostRequest::NAMESPACES;
            AttachedNamespaces namespaces = attachedNamespaces(drive_->controller, folder_, withSizes);
            RETURN_IF_FAILED(namespaces.status);
            result.protocolResult = std::make_unique<HostResult>(std::move(namespaces.found));
            return Status();
        }
        case HostRequest::LOCATION:  // it sits nowhere
            result.protocolResult = std::make_unique<HostResult>(HostLocation());
            return Status();
        case HostRequest::RESET_CONTROLLER:
            return drive_->controller.reset(simulator::ResetKind::CONTROLLER, identityCheck());
        case HostRequest::RESET_SUBSYSTEM:
            return drive_->controller.reset(simulator::ResetKind::SUBSYSTEM, identityCheck());
        case HostRequest::RESCAN:
            return Status();
        case HostRequest::LOCK_DRIVE:
            return drive_->selected ? drive_->lock.acquire(drive_->selected->driveName()) : unknownIdentity(folder_);
        case HostRequest::UNLOCK_DRIVE:
            drive_->lock.release();
            return Status();
    }
    return statuses::featureNotSupported();
}

}  // namespace features::transport
