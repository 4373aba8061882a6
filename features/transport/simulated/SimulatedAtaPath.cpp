#include "features/transport/simulated/SimulatedAtaPath.h"

#include <algorithm>
#include <cerrno>
#include <mutex>
#include <optional>

#include "features/errors/PayloadCopy.h"
#include "features/simulator/store/DriveNodes.h"
#include "features/transport/CommandLog.h"
#include "features/transport/DriveLock.h"
#include "features/transport/HostStatus.h"
#include "features/transport/SelectedDrive.h"
#include "features/transport/simulated/SimulatedIdentity.h"
#include "ostrel/core/File.h"
#include "ostrel/core/StatusCatalogue.h"
#include "ostrel/core/UtcTime.h"

namespace features::transport {

using namespace ostrel::core;
using ata::AtaCommand;
using ata::AtaResult;
using ata::Protocol;
using simulator::sata::Completion;
using simulator::sata::Delivery;
using simulator::sata::SataDrive;
using simulator::sata::TaskFile;

namespace {

constexpr uint64_t DEFAULT_TIMEOUT_SECONDS = 30;

TaskFile toTaskFile(const AtaCommand& command) {
    return TaskFile{command.opcode,  command.protocol,  command.addressing == ata::Addressing::BITS_48,
                    command.feature, command.count,     command.lba,
                    command.device,  command.dataLength};
}

bool reads(const AtaCommand& command) {
    return command.protocol == Protocol::PIO_IN || command.protocol == Protocol::DMA_IN;
}

/// What the host's side makes of the drive's answer: after a success the registers come back when they were asked for.
AtaResult resultOf(const AtaCommand& command, const Completion& completion) {
    AtaResult result(completion.registers);
    if (result.succeeded && !command.wantsRegisters) {
        result.missing = ata::RegistersMissing::NOT_ASKED;
        result.registers.reset();
    } else if (!completion.hasRegisters) {
        result.missing = ata::RegistersMissing::NO_DESCRIPTOR;
        result.registers.reset();
    }
    return result;
}

}  // namespace

/// The drive, made once for all clones of the path.
struct SimulatedAtaPath::Drive {
    Drive(const std::string& folder, const simulator::Clock& clock, const std::string& locks)
        : sata(folder, clock), lock(locks) {}

    std::mutex mutex;
    SataDrive sata;
    std::optional<nvme::ControllerIdentity> selected;  ///< before the first command
    DriveLock lock;
};

SimulatedAtaPath::SimulatedAtaPath(std::string folder, const simulator::Clock& clock, Wait wait,
                                   const std::string& locks)
    : CommandPath("Simulated SATA", DEFAULT_TIMEOUT_SECONDS * NANOSECONDS_PER_SECOND),
      folder_(std::move(folder)),
      wait_(std::move(wait)),
      drive_(std::make_shared<Drive>(folder_, clock, locks)) {}

void SimulatedAtaPath::select(const nvme::ControllerIdentity& identity) {
    drive_->selected = identity;
}

void SimulatedAtaPath::select(const simulator::DriveFolder::Identity& identity) {
    select(identityOf(identity.description));
    drive_->sata.expect(identity);
}

std::unique_ptr<CommandPath> SimulatedAtaPath::clone() const {
    return std::make_unique<SimulatedAtaPath>(*this);
}

bool SimulatedAtaPath::isSupported(const AttributeList&) const {
    return pathExists(folder_ + "/" + simulator::FILE_DESCRIPTION);
}

CommandResult SimulatedAtaPath::send(const Command& command, const Payload& payload, const AttributeList&) {
    CommandResult result;
    result.command = command.clone();
    result.outputPayload = payload;
    result.startTime = utcNow();
    if (const auto* ataCommand = dynamic_cast<const AtaCommand*>(&command)) {
        const auto start = std::chrono::steady_clock::now();
        result.status = hostStatus(sendAta(*ataCommand, payload, result));
        logCommand(folder_, *ataCommand, result.status, result.protocolResult.get(),
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

Result<Completion> SimulatedAtaPath::execute(const AtaCommand& command, std::vector<uint8_t>& data) {
    const std::lock_guard<std::mutex> lock(drive_->mutex);
    const auto check = command.needsSelectedDrive() ? identityCheck() : SataDrive::Check();
    return drive_->sata.execute(toTaskFile(command), data, check);
}

/// Sends the command again as long as the drive is busy with another one; then waits for the registers. Without them
/// at the end of the command's time it is 1/4.
Result<Completion> SimulatedAtaPath::answerInTime(const AtaCommand& command, std::vector<uint8_t>& data) {
    const std::vector<uint8_t> toDrive = data;
    uint64_t leftMs = command.timeoutMs != 0 ? command.timeoutMs : getTimeoutNanoseconds() / 1000000;
    for (;;) {
        data = toDrive;
        TRY(Completion completion, execute(command, data));
        if (completion.delivery == Delivery::GONE) return hostStatus(ENODEV, folder_);
        const bool isAnswered = completion.delivery == Delivery::COMPLETED;
        const bool isInTime = completion.delivery != Delivery::NEVER && completion.delayMs < leftMs;
        const uint64_t waitMs = isInTime ? completion.delayMs : leftMs;
        if (waitMs != 0) wait_(std::chrono::milliseconds(waitMs));
        if (!isInTime) return hostStatus(EINTR, folder_);
        if (isAnswered) return completion;
        leftMs -= waitMs;
    }
}

Status SimulatedAtaPath::sendAta(const AtaCommand& command, const Payload& payload, CommandResult& result) {
    // The kernel would not take it either.
    if (!command.isEncodable()) return hostStatus(EINVAL, folder_);
    std::vector<uint8_t> data;
    if (!reads(command) && payload.getSize() != 0)
        data.assign(payload.getData(), payload.getData() + payload.getSize());
    TRY(const Completion completion, answerInTime(command, data));
    result.protocolResult = std::make_unique<AtaResult>(resultOf(command, completion));
    if (reads(command)) {
        data.resize(command.dataLength);
        result.inputPayload = copyOf(data.data(), data.size());
    }
    return Status();
}

SataDrive::Check SimulatedAtaPath::identityCheck() const {
    return [this](const simulator::Description& description) {
        const auto& selected = drive_->selected;
        if (!selected) return unknownIdentity(folder_);
        const nvme::ControllerIdentity found = identityOf(description);
        return selected->isThatOf(found) ? Status() : anotherDrive(folder_, selected->text(), found.text());
    };
}

/// The whole drive is its only namespace. The system does not see it: it is unused.
Result<HostNamespace> SimulatedAtaPath::disk() {
    HostNamespace part;
    part.nsid = 1;
    part.node = simulator::controllerNode(folder_);
    part.blockBytes = simulator::sata::SECTOR_BYTES;
    TRY(const uint64_t sectors, drive_->sata.sectors());
    part.sizeBytes = sectors * part.blockBytes;
    return part;
}

Status SimulatedAtaPath::sendHost(const HostCommand& command, CommandResult& result) {
    const std::lock_guard<std::mutex> lock(drive_->mutex);
    switch (command.request) {
        case HostRequest::NAMESPACES:
        case HostRequest::SIZES:
        case HostRequest::USES: {
            TRY(const HostNamespace part, disk());
            result.protocolResult = std::make_unique<HostResult>(std::vector<HostNamespace>{part});
            return Status();
        }
        case HostRequest::LOCATION:  // it sits nowhere
            result.protocolResult = std::make_unique<HostResult>(HostLocation());
            return Status();
        case HostRequest::RESCAN:
            return Status();
        case HostRequest::LOCK_DRIVE:
            return drive_->selected ? drive_->lock.acquire(drive_->selected->driveName()) : unknownIdentity(folder_);
        case HostRequest::UNLOCK_DRIVE:
            drive_->lock.release();
            return Status();
        case HostRequest::RESET_CONTROLLER:
        case HostRequest::RESET_SUBSYSTEM:
            break;
    }
    return statuses::featureNotSupported();
}

}  // namespace features::transport
