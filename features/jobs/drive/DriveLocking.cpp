#include "features/jobs/drive/DriveLocking.h"

#include <string>

#include "features/ata/Commands.h"
#include "features/jobs/drive/LogReading.h"
#include "features/jobs/support/StatusDetails.h"
#include "features/nvme/ControllerCapabilities.h"
#include "features/nvme/Opcodes.h"
#include "features/nvme/StatusCodes.h"
#include "ostrel/core/StatusCatalogue.h"

namespace features::jobs {

using namespace ostrel::core;
using ata::AtaError;
using nvme::CommandError;
using nvme::Level0Discovery;

namespace {

/// What a security protocol has to say (NVMe Base Specification 1.4, section 5.23).
Result<Payload, CommandError> securityReceive(nvme::Drive& drive, uint8_t protocol, uint16_t specific, uint32_t bytes) {
    nvme::NvmeCommand command(nvme::Queue::ADMIN, nvme::OPC_SECURITY_RECEIVE, "Security Receive");
    command.cdw10 = static_cast<uint32_t>(protocol) << 24 | static_cast<uint32_t>(specific) << 8;
    command.cdw11 = bytes;
    command.dataLength = bytes;
    TRY(const nvme::Answer answer, drive.send(command));
    return answer.data;
}

Result<bool, CommandError> hasTcg(nvme::Drive& drive) {
    TRY(const uint8_t* const identify, drive.identifyController());
    if (!nvme::ControllerCapabilities(identify).supportsSecurity()) return false;
    const auto list =
        securityReceive(drive, nvme::SECURITY_PROTOCOL_INFORMATION, 0, nvme::SECURITY_PROTOCOL_LIST_BYTES);
    if (!list && isRefusal(list.error())) return false;
    if (!list) return list.error();
    return nvme::isSecurityProtocolListed(*list, nvme::SECURITY_PROTOCOL_TCG);
}

Result<bool, AtaError> hasTcg(ata::Drive& drive) {
    TRY(const ata::Identity* const identity, drive.identify());
    if (!identity->has(ata::identify::TRUSTED_COMPUTING)) return false;
    const auto list = drive.trustedReceive(ata::commands::securityProtocols, nvme::SECURITY_PROTOCOL_LIST_BYTES);
    if (!list && list.error().isOfDrive()) return false;
    if (!list) return list.error();
    return nvme::isSecurityProtocolListed(*list, nvme::SECURITY_PROTOCOL_TCG);
}

Status damaged(const std::string& drive) {
    return withDetails(statuses::deviceDataRetrievalFailed(),
                       "Drive " + drive + " returned a Level 0 Discovery that is damaged.");
}

std::string lockingText(const std::string& drive, const Level0Discovery& locking) {
    const std::string begin = "Drive " + drive + " has TCG locking enabled (" + locking.featureText() + ")";
    if (!locking.isLocked && !locking.isMbrShadowed) return begin + ": its owner may have denied the access.";
    return begin + (locking.isLocked ? ", is locked" : "") + (locking.isMbrShadowed ? ", shows a shadow MBR" : "") +
           ": unlock it with the owner's password, or revert it.";
}

/// Why a SATA drive denies access to its blocks; nothing where it is not locked.
Result<std::string, AtaError> denialOf(ata::Drive& drive) {
    TRY(const ata::Identity* const identity, drive.identify());
    if (identity->has(ata::identify::SECURITY_LOCKED))
        return "Drive " + drive.name() + " is locked by a password: unlock it first.";
    TRY(const auto locking, readDriveLocking(drive));
    return locking && locking->isLockingEnabled ? lockingText(drive.name(), *locking) : std::string();
}

bool isAborted(const AtaError& error) {
    return error.isOfDrive() && (!error.result->registers || (error.result->registers->error & ata::ERROR_ABORT) != 0);
}

}  // namespace

Result<std::optional<Level0Discovery>, CommandError> readDriveLocking(nvme::Drive& drive) {
    TRY(const bool isThere, hasTcg(drive));
    if (!isThere) return std::nullopt;
    TRY(const Payload data, securityReceive(drive, nvme::SECURITY_PROTOCOL_TCG, nvme::COMID_LEVEL_0_DISCOVERY,
                                            nvme::LEVEL_0_DISCOVERY_BYTES));
    auto discovery = nvme::decodeLevel0Discovery(data);
    if (discovery) return discovery;
    return CommandError(damaged(drive.name()));
}

Status withLocking(nvme::Drive& drive, const CommandError& refused, const Status& status) {
    const bool isDenied =
        refused.completion.is(nvme::SC_OPERATION_DENIED) || refused.completion.is(nvme::SC_ACCESS_DENIED);
    if (!isDenied) return status;
    const auto locking = readDriveLocking(drive);
    // The refusal is what counts; that its cause could not be read is said beside it.
    if (!locking) return withDetails(status, locking.error().status.getMessage());
    return *locking && (*locking)->isLockingEnabled ? withDetails(status, lockingText(drive.name(), **locking))
                                                    : status;
}

Result<std::optional<Level0Discovery>, AtaError> readDriveLocking(ata::Drive& drive) {
    TRY(const bool isThere, hasTcg(drive));
    if (!isThere) return std::nullopt;
    TRY(const Payload data, drive.trustedReceive(ata::commands::level0Discovery, nvme::LEVEL_0_DISCOVERY_BYTES));
    auto discovery = nvme::decodeLevel0Discovery(data);
    if (discovery) return discovery;
    return AtaError(damaged(drive.name()));
}

Status withLocking(ata::Drive& drive, const Status& status) {
    const auto denial = denialOf(drive);
    if (!denial) return withDetails(status, denial.error().status.getMessage());
    return denial->empty() ? status : withDetails(status, *denial);
}

Status withLocking(ata::Drive& drive, const AtaError& refused, const Status& status) {
    return isAborted(refused) ? withLocking(drive, status) : status;
}

}  // namespace features::jobs
