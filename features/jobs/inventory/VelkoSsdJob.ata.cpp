// The list's attributes of SATA drives.

#include "features/jobs/inventory/VelkoSsdJob.h"

#include <cinttypes>
#include <cstdio>
#include <optional>
#include <string>
#include <utility>

#include "features/ata/Commands.h"
#include "features/ata/LogAddresses.h"
#include "features/jobs/drive/AtaHealth.h"
#include "features/jobs/drive/DriveLocking.h"
#include "features/jobs/drive/HostSide.h"
#include "features/jobs/inventory/ListedAttributes.h"
#include "features/jobs/inventory/LockingAttributes.h"
#include "features/jobs/support/StatusDetails.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/StatusCatalogue.h"
#include "ostrel/core/Strings.h"

namespace features::jobs {

using namespace ostrel::core;
using ata::Identity;
using Text = ListedText;
namespace device = attributes::device;
namespace bits = ata::identify;

namespace {

/// What the list knows of a SATA drive. A transport error stays in failure(), and from then on nothing more is asked.
class ListedSataDrive {
public:
    ListedSataDrive(ata::Drive& drive, const FirmwareModules& modules) : drive_(drive), modules_(modules) {}

    ata::Drive& drive() { return drive_; }
    const FirmwareModules& modules() const { return modules_; }
    const Status& failure() const { return failure_; }
    /// Why the drive's health is not known; a success otherwise.
    const Status& healthRefusal() const { return healthRefusal_; }

    const Identity* identity() {
        // The question that was before this one, for the same attribute, may have failed.
        return succeeded(failure_) ? accept(drive_.identify()).value_or(nullptr) : nullptr;
    }
    std::optional<uint16_t> pagesOfLog(uint8_t address) { return accept(drive_.pagesOfLog(address)); }
    std::optional<std::string> health() {
        const auto health = readAtaHealth(drive_);
        if (!health) healthRefusal_ = health.error();
        const auto known = accept(health);
        return known ? known->text : std::optional<std::string>();
    }
    /// The value, or nothing; a transport error is kept.
    template <typename T>
    std::optional<T> accept(const Result<T, ata::AtaError>& result) {
        if (failed(failure_)) return std::nullopt;
        if (result) return *result;
        if (!isRefusal(result.error())) failure_ = result.error();
        return std::nullopt;
    }
    /// Null: the drive does not support it.
    const nvme::Level0Discovery* locking() {
        return succeeded(failure_) ? locking_.get([this] { return readDriveLocking(drive_); }) : nullptr;
    }
    /// Why it is not known whether the drive is locked; a success otherwise.
    const Status& lockingFailure() const { return locking_.failure(); }
    /// What the host has of the drive; null when it has nothing.
    const transport::HostNamespace* disk() {
        if (!disks_ && succeeded(failure_)) {
            const auto found = readHostNamespaces(drive_.device());
            if (!found) failure_ = found.error();
            disks_ = found.value_or(std::vector<transport::HostNamespace>());
        }
        return disks_ && !disks_->empty() ? &disks_->front() : nullptr;
    }

private:
    ata::Drive& drive_;
    const FirmwareModules& modules_;
    Status failure_;
    Status healthRefusal_;
    std::optional<std::vector<transport::HostNamespace>> disks_;
    ListedLocking locking_;
};

template <Attribute (*ATTRIBUTE)()>
Text found(ListedSataDrive& facts) {
    return foundText(facts.drive().device(), ATTRIBUTE());
}

template <const ata::IdentifyBit& BIT>
Text identifyBit(ListedSataDrive& facts) {
    const Identity* const identity = facts.identity();
    return identity == nullptr ? Text() : boolToText(identity->has(BIT));
}

/// A text of IDENTIFY DEVICE; one that is not reported is absent.
template <std::string (Identity::*TEXT)() const>
Text identifyText(ListedSataDrive& facts) {
    const Identity* const identity = facts.identity();
    if (identity == nullptr || (identity->*TEXT)().empty()) return std::nullopt;
    return (identity->*TEXT)();
}

template <std::optional<ata::EraseTime> (Identity::*TIME)() const>
Text eraseMinutes(ListedSataDrive& facts) {
    const Identity* const identity = facts.identity();
    const auto time = identity == nullptr ? std::nullopt : (identity->*TIME)();
    return time ? Text(std::to_string(time->minutes)) : Text();
}

Text none(ListedSataDrive&) {
    return std::nullopt;
}

/// As the host has it; of a drive that has no disk there, what it reports itself.
Text capacity(ListedSataDrive& facts) {
    if (const auto* disk = facts.disk()) return sizeToText(disk->sizeBytes, true);
    const Identity* const identity = facts.identity();
    return identity == nullptr ? Text() : sizeToText(identity->sectors() * identity->logicalSectorBytes(), true);
}

Text physicalSize(ListedSataDrive& facts) {
    const Identity* const identity = facts.identity();
    return identity == nullptr ? Text() : std::to_string(identity->sectors() * identity->logicalSectorBytes());
}

Text sectorSize(ListedSataDrive& facts) {
    const Identity* const identity = facts.identity();
    return identity == nullptr ? Text() : std::to_string(identity->logicalSectorBytes());
}

Text physicalSectorSize(ListedSataDrive& facts) {
    const Identity* const identity = facts.identity();
    return identity == nullptr ? Text() : std::to_string(identity->physicalSectorBytes());
}

/// The last address, not the number of sectors.
Text maximumLba(ListedSataDrive& facts) {
    const Identity* const identity = facts.identity();
    return identity == nullptr || identity->sectors() == 0 ? Text() : std::to_string(identity->sectors() - 1);
}

Text nativeMaximumLba(ListedSataDrive& facts) {
    const Identity* const identity = facts.identity();
    if (identity == nullptr || !identity->has(bits::ACCESSIBLE_MAX_ADDRESS)) return std::nullopt;
    const auto native =
        facts.accept(facts.drive().sendForRegisters(ata::AtaCommand(ata::commands::getNativeMaxAddressExt)));
    return native ? Text(std::to_string(native->lba)) : Text();
}

/// Sector configurations, of which a drive without that log has one.
Text numberOfFormats(ListedSataDrive& facts) {
    constexpr uint32_t DESCRIPTOR_BYTES = 16;
    constexpr uint8_t VALID = 0x80;
    const auto pages = facts.pagesOfLog(ata::LOG_SECTOR_CONFIGURATION);
    if (!pages) return std::nullopt;
    if (*pages == 0) return "1";
    const auto log = facts.accept(facts.drive().readLogPage(ata::LOG_SECTOR_CONFIGURATION, 0));
    if (!log) return std::nullopt;
    unsigned count = 0;
    for (uint32_t at = 0; at < log->getSize(); at += DESCRIPTOR_BYTES) count += (log->getData()[at] & VALID) != 0;
    return std::to_string(count);
}

Text deviceStatus(ListedSataDrive& facts) {
    const auto health = facts.health();
    return health || failed(facts.failure()) ? health : "Unknown";
}

Text firmwareUpdateAvailable(ListedSataDrive& facts) {
    return firmwareUpdateText(facts.drive().device(), facts.modules());
}

Text isRotating(ListedSataDrive& facts) {
    const Identity* const identity = facts.identity();
    return identity == nullptr ? Text() : boolToText(identity->isRotating());
}

Text telemetrySupported(ListedSataDrive& facts) {
    const auto pages = facts.pagesOfLog(ata::LOG_CURRENT_INTERNAL_STATUS);
    return pages ? Text(boolToText(*pages != 0)) : Text();
}

/// In units of 512-byte blocks of ranges.
Text trimSize(ListedSataDrive& facts) {
    const Identity* const identity = facts.identity();
    return identity == nullptr || !identity->has(bits::TRIM) ? Text() : std::to_string(identity->maxTrimBlocks());
}

Text worldWideName(ListedSataDrive& facts) {
    const Identity* const identity = facts.identity();
    const auto name = identity == nullptr ? std::nullopt : identity->worldWideName();
    if (!name) return std::nullopt;
    // As the system names the disk (/sys/block/sda/device/wwid). A text: as a decimal number no reader would know it.
    char text[21];
    (void)std::snprintf(text, sizeof text, "naa.%016" PRIx64, *name);  // it fits
    return text;
}

Text hasExtendedEraseTime(ListedSataDrive& facts) {
    constexpr ata::IdentifyBit EXTENDED{90, 15};
    const Identity* const identity = facts.identity();
    return identity == nullptr ? Text() : boolToText(identity->has(EXTENDED));
}

/// A driver that does not pass TRUSTED RECEIVE on is no error of the drive.
Status unknownLocking(const Status& failure) {
    const Status refusal = statuses::scsiCommandProblem();
    if (!failure.is(refusal.getCategory(), refusal.getCode())) return failure;
    return Status(0, 0, "Whether the drive is locked is not known. " + failure.getMessage());
}

// clang-format off
constexpr ListedRow<ListedSataDrive> ROWS[] = {
    {device::bootloader,                             true,  none},
    {device::capacity,                               true,  capacity},
    {device::devicePath,                             true,  found<device::devicePath>},
    {device::deviceStatus,                           true,  deviceStatus},
    {device::firmware,                               true,  found<device::firmware>},
    {attributes::feature::firmwareUpdateAvailable,   true,  firmwareUpdateAvailable},
    {device::index,                                  true,  found<device::index>},
    {device::maximumLBA,                             true,  maximumLba},
    {device::modelNumber,                            true,  found<device::modelNumber>},
    {device::numLBAFormats,                          true,  numberOfFormats},
    {device::productFamily,                          true,  none},
    {device::sectorSize,                             true,  sectorSize, "bytes"},
    {device::serialNumber,                           true,  found<device::serialNumber>},
    {device::accessibleMaxAddressSupported,          false, identifyBit<bits::ACCESSIBLE_MAX_ADDRESS>},
    {device::dipmEnabled,                            false, identifyBit<bits::DIPM_ENABLED>},
    {device::dipmSupported,                          false, identifyBit<bits::DIPM_SUPPORTED>},
    {device::downloadMicrocodePossible,              false, identifyBit<bits::DOWNLOAD_MICROCODE>},
    {device::enhancedSecurityEraseReported,          false, identifyBit<bits::ENHANCED_ERASE>},
    {device::enhancedSecurityEraseUnit,              false, eraseMinutes<&Identity::enhancedEraseTime>, "minutes"},
    {device::enhancedSecurityExtendedTimeReported,   false, hasExtendedEraseTime},
    {device::formFactor,                             false, identifyText<&Identity::formFactor>},
    {device::hdd,                                    false, isRotating},
    {device::nativeMaxLBA,                           false, nativeMaximumLba},
    {device::ncq,                                    false, identifyBit<bits::NCQ>},
    {device::normalSecurityEraseUnit,                false, eraseMinutes<&Identity::eraseTime>, "minutes"},
    {attributes::feature::physicalSectorSize,        false, physicalSectorSize, "bytes"},
    {device::physicalSize,                           false, physicalSize, "bytes"},
    {device::sanitizeSupported,                      false, identifyBit<bits::SANITIZE>},
    {device::sanitizeBlockEraseSupported,            false, identifyBit<bits::SANITIZE_BLOCK>},
    {device::sanitizeCryptoScrambleSupported,        false, identifyBit<bits::SANITIZE_CRYPTO>},
    {device::sanitizeOverwriteSupported,             false, identifyBit<bits::SANITIZE_OVERWRITE>},
    {device::sataGen1,                               false, identifyBit<bits::SATA_GEN1>},
    {device::sataGen2,                               false, identifyBit<bits::SATA_GEN2>},
    {device::sataGen3,                               false, identifyBit<bits::SATA_GEN3>},
    {device::sataNegotiatedSpeed,                    false, identifyText<&Identity::negotiatedSpeed>},
    {device::securityEnabled,                        false, identifyBit<bits::SECURITY_ENABLED>},
    {device::securityFrozen,                         false, identifyBit<bits::SECURITY_FROZEN>},
    {device::securityLocked,                         false, identifyBit<bits::SECURITY_LOCKED>},
    {device::securitySupported,                      false, identifyBit<bits::SECURITY_SUPPORTED>},
    {device::smartEnabled,                           false, identifyBit<bits::SMART_ENABLED>},
    {device::smartSelfTestSupported,                 false, identifyBit<bits::SMART_SELF_TEST>},
    {tcgFeatureNames,                                false, tcgFeatures<ListedSataDrive>},
    {tcgLocked,                                      false, tcgFlag<ListedSataDrive, &nvme::Level0Discovery::isLocked>},
    {tcgLockingEnabled,                              false, tcgFlag<ListedSataDrive, &nvme::Level0Discovery::isLockingEnabled>},
    {tcgMbrShadowed,                                 false, tcgFlag<ListedSataDrive, &nvme::Level0Discovery::isMbrShadowed>},
    {device::tcgSupported,                           false, identifyBit<bits::TRUSTED_COMPUTING>},
    {device::telemetryLogSupported,                  false, telemetrySupported},
    {device::trimSize,                               false, trimSize, "blocks of 512 bytes"},
    {device::trimSupported,                          false, identifyBit<bits::TRIM>},
    {device::writeCacheEnabled,                      false, identifyBit<bits::WRITE_CACHE_ENABLED>},
    {device::writeCacheSupported,                    false, identifyBit<bits::WRITE_CACHE_SUPPORTED>},
    {device::wwid,                                   false, worldWideName},
};
// clang-format on

}  // namespace

AttributeList VelkoSsdJob::supportedOfSata() {
    return supportedOf(ROWS);
}

Status VelkoSsdJob::showAtaDrive(ata::Drive& drive, const Arguments& arguments, DriveOutput& out) {
    const std::string error = drive.device().getAttribute(device::errorString()).getText();
    if (!error.empty()) return withDetails(statuses::deviceDataRetrievalFailed(), error);
    ListedSataDrive facts(drive, *modules_);
    AttributeList list;
    const bool all = arguments.flag(attributes::feature::showAllFlag().getName());
    RETURN_IF_FAILED(listAttributes(ROWS, facts, all, out, shared_, list));
    out.addAttributes(title(), std::move(list));
    // The rest is known and shown; that the drive's health is not makes it a drive that failed.
    if (failed(facts.healthRefusal()))
        out.addStatus(title() + " Health",
                      withDetails(statuses::deviceDataRetrievalFailed(), facts.healthRefusal().getMessage()));
    if (failed(facts.lockingFailure())) out.addStatus(title() + " Locking", unknownLocking(facts.lockingFailure()));
    return Status();
}

}  // namespace features::jobs
