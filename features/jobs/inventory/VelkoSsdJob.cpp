#include "features/jobs/inventory/VelkoSsdJob.h"

#include <algorithm>
#include <optional>
#include <string>
#include <utility>

#include "features/errors/Result.h"
#include "features/jobs/drive/DeviceStatus.h"
#include "features/jobs/drive/DriveFacts.h"
#include "features/jobs/drive/DriveLocking.h"
#include "features/jobs/drive/VendorDialect.h"
#include "features/jobs/inventory/ListedAttributes.h"
#include "features/jobs/inventory/LockingAttributes.h"
#include "features/jobs/inventory/NamespaceDetails.h"
#include "features/jobs/support/StatusDetails.h"
#include "features/nvme/Bytes.h"
#include "features/nvme/FieldTree.h"
#include "features/nvme/LogPages.h"
#include "features/nvme/structures/FirmwareSlotLog.h"
#include "features/nvme/structures/IdentifyController.h"
#include "features/nvme/structures/OcpSmartLog.h"
#include "features/nvme/structures/SmartHealthLog.h"
#include "features/transport/KernelDrive.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/Device.h"
#include "ostrel/core/StatusCatalogue.h"
#include "ostrel/core/Strings.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"

namespace features::jobs {

using namespace ostrel::core;
namespace device = attributes::device;

namespace {

using Text = ListedText;
/// What the list shows of a drive, and the firmware that this machine has for it. The modules must outlive it.
class ListedDrive : public DriveFacts {
public:
    ListedDrive(nvme::Drive& drive, const FirmwareModules& modules, DrivesWithoutOcp& withoutOcp)
        : DriveFacts(drive, &withoutOcp), modules_(modules) {}

    const FirmwareModules& modules() const { return modules_; }
    /// Null: the drive does not support it.
    const nvme::Level0Discovery* locking() {
        return succeeded(failure()) ? locking_.get([this] { return readDriveLocking(drive()); }) : nullptr;
    }
    /// Why it is not known whether the drive is locked; a success otherwise.
    const Status& lockingFailure() const { return locking_.failure(); }

private:
    const FirmwareModules& modules_;
    ListedLocking locking_;
};

// The identity of a drive as its finder reported it.
template <Attribute (*ATTRIBUTE)()>
Text found(ListedDrive& facts) {
    return foundText(facts.drive().device(), ATTRIBUTE());
}

// A number or bit of Identify Controller.
template <typename Field, Field nvme::ControllerCapabilities::* FIELD>
Text controllerNumber(ListedDrive& facts) {
    const auto* controller = facts.controller();
    return controller == nullptr ? Text() : std::to_string(controller->*FIELD);
}
template <bool (nvme::ControllerCapabilities::*TEST)() const>
Text controllerTest(ListedDrive& facts) {
    const auto* controller = facts.controller();
    return controller == nullptr ? Text() : boolToText((controller->*TEST)());
}
template <typename Field, Field nvme::ControllerCapabilities::* FIELD, unsigned BIT>
Text controllerBit(ListedDrive& facts) {
    const auto* controller = facts.controller();
    return controller == nullptr ? Text() : boolToText(nvme::bit(controller->*FIELD, BIT));
}
template <uint32_t VERSION>
Text versionAtLeast(ListedDrive& facts) {
    const auto* controller = facts.controller();
    return controller == nullptr ? Text() : boolToText(controller->version >= VERSION);
}
template <unsigned SHIFT, unsigned MASK>
Text versionPart(ListedDrive& facts) {
    const auto* controller = facts.controller();
    return controller == nullptr ? Text() : std::to_string(controller->version >> SHIFT & MASK);
}

constexpr size_t OFFSET_TNVMCAP = offsetof(nvme::IdentifyController, tnvmcap);
constexpr size_t OFFSET_UNVMCAP = offsetof(nvme::IdentifyController, unvmcap);

/// A capacity of 16 bytes in Identify Controller. One that does not report its total, which is not 0, reports none.
template <size_t OFFSET>
Text controllerCapacity(ListedDrive& facts) {
    const uint8_t* data = facts.identifyController();
    if (data == nullptr || nvme::decimal128(data + OFFSET_TNVMCAP) == "0") return std::nullopt;
    return nvme::decimal128(data + OFFSET);
}

/// A drive without namespaces has no less capacity for that: it shows what they could be made of.
Text capacityToAllocate(ListedDrive& facts) {
    const uint8_t* data = facts.identifyController();
    if (!controllerCapacity<OFFSET_TNVMCAP>(facts)) return std::nullopt;
    return sizeToText(nvme::le64(data + OFFSET_TNVMCAP), true);
}

/// The size of a block as the drive says it, which costs no look of its own: the namespace is identified for its last
/// address. None where the drive does not say it.
std::optional<uint32_t> identifiedBlock(ListedDrive& facts) {
    const auto* properties = facts.namespaceProperties();
    if (properties == nullptr || properties->format().dataBytes() == 0) return std::nullopt;
    return properties->format().dataBytes();
}

/// That of the namespace, in bytes.
std::optional<uint64_t> identifiedSize(ListedDrive& facts) {
    const auto block = identifiedBlock(facts);
    const uint64_t blocks = block ? facts.namespaceProperties()->sizeBlocks : 0;
    if (blocks == 0 || blocks > UINT64_MAX / *block) return std::nullopt;
    return blocks * *block;
}

Text capacity(ListedDrive& facts) {
    const auto* namespaces = facts.hostNamespaces();
    if (namespaces == nullptr) return std::nullopt;
    if (namespaces->empty()) return capacityToAllocate(facts);
    if (namespaces->size() == 1) {
        if (const auto bytes = identifiedSize(facts)) return sizeToText(*bytes, true);
    }
    const auto* sizes = facts.hostSizes();
    if (sizes == nullptr) return std::nullopt;
    uint64_t bytes = 0;
    for (const auto& part : *sizes) bytes += part.sizeBytes;
    return sizeToText(bytes, true);
}

Text physicalSize(ListedDrive& facts) {
    if (const auto bytes = identifiedSize(facts)) return std::to_string(*bytes);
    const auto* host = facts.hostSize();
    return host == nullptr ? Text() : std::to_string(host->sizeBytes);
}

Text sectorSize(ListedDrive& facts) {
    if (const auto block = identifiedBlock(facts)) return std::to_string(*block);
    const auto* host = facts.hostSize();
    return host == nullptr ? Text() : std::to_string(host->blockBytes);
}

Text namespaceId(ListedDrive& facts) {
    const auto* host = facts.hostNamespace();
    return host == nullptr ? Text() : std::to_string(host->nsid);
}

/// The last address, not the number of blocks.
Text maximumLba(ListedDrive& facts) {
    const auto* properties = facts.namespaceProperties();
    if (properties == nullptr || properties->sizeBlocks == 0) return std::nullopt;
    return std::to_string(properties->sizeBlocks - 1);
}

/// As the drive counts it, from 0: it is the highest format that can be given.
Text numberOfLbaFormats(ListedDrive& facts) {
    const auto* properties = facts.namespaceProperties();
    return properties == nullptr ? Text() : std::to_string(properties->numberOfFormats - 1);
}

template <typename Field, Field nvme::NamespaceProperties::* FIELD>
Text namespaceNumber(ListedDrive& facts) {
    const auto* properties = facts.namespaceProperties();
    return properties == nullptr ? Text() : std::to_string(properties->*FIELD);
}

Text lbaFormat(ListedDrive& facts) {
    const auto* properties = facts.namespaceProperties();
    return properties == nullptr ? Text() : std::to_string(properties->formatIndex());
}
Text metadataSetting(ListedDrive& facts) {
    const auto* properties = facts.namespaceProperties();
    return properties == nullptr ? Text() : std::to_string(int{properties->metadataExtended()});
}
Text metadataSize(ListedDrive& facts) {
    const auto* properties = facts.namespaceProperties();
    return properties == nullptr ? Text() : std::to_string(properties->format().metadataBytes);
}
Text sectorDataSize(ListedDrive& facts) {
    const auto* properties = facts.namespaceProperties();
    return properties == nullptr ? Text() : std::to_string(properties->format().dataBytes());
}
Text protectionInformation(ListedDrive& facts) {
    const auto* properties = facts.namespaceProperties();
    return properties == nullptr ? Text() : std::to_string(properties->protectionType());
}
Text protectionInformationLocation(ListedDrive& facts) {
    const auto* properties = facts.namespaceProperties();
    return properties == nullptr ? Text() : std::to_string(int{properties->protectionFirst()});
}

Text deviceStatus(ListedDrive& facts) {
    const uint8_t* smart = facts.smart();
    if (smart != nullptr) return readDeviceStatus(facts, smart);
    return succeeded(facts.smartRefusal()) ? Text() : "Unknown";
}

Text firmwareUpdateAvailable(ListedDrive& facts) {
    return firmwareUpdateText(facts.drive().device(), facts.modules());
}

/// The revision in the slot that the next reset activates.
Text stagedFirmware(ListedDrive& facts) {
    const uint8_t* slots = facts.firmwareSlots();
    if (slots == nullptr) return std::nullopt;
    const unsigned next = slots[offsetof(nvme::FirmwareSlotLog, afi)] >> 4 & 7;
    if (next == 0) return "None";
    return nvme::firmwareSlotRevision(slots, next);
}

Text ocpSupported(ListedDrive& facts) {
    const bool has = facts.ocpSmart() != nullptr;
    return boolToText(has);
}
std::optional<nvme::OcpSmartLog> ocpLog(ListedDrive& facts) {
    const uint8_t* ocp = facts.ocpSmart();
    if (ocp == nullptr) return std::nullopt;
    return nvme::structureAt<nvme::OcpSmartLog>(ocp);
}
Text ocpMajorVersion(ListedDrive& facts) {
    const auto ocp = ocpLog(facts);
    return ocp ? Text(std::to_string(ocp->majorVersion)) : Text();
}
Text ocpMinorVersion(ListedDrive& facts) {
    const auto ocp = ocpLog(facts);
    return ocp ? Text(std::to_string(ocp->minorVersion)) : Text();
}
Text ocp2OrGreater(ListedDrive& facts) {
    const auto ocp = ocpLog(facts);
    return ocp ? Text(boolToText(ocp->majorVersion >= 2)) : Text();
}

/// FWUG counts in 4 KiB; 255 means no restriction, 0 that the drive does not say.
Text firmwareGranularity(ListedDrive& facts) {
    const auto* controller = facts.controller();
    if (controller == nullptr || controller->fwug == 0) return std::nullopt;
    return controller->fwug == 0xFF ? "0" : std::to_string(controller->fwug * 4096);
}

Text pelSizeMax(ListedDrive& facts) {
    const auto* controller = facts.controller();
    if (controller == nullptr || !controller->supportsPersistentEventLog()) return std::nullopt;
    return std::to_string(controller->pels);
}

/// Where the controller sits: absent where the host does not know.
template <std::string transport::HostLocation::* PART>
Text located(ListedDrive& facts) {
    const transport::HostLocation* location = facts.location();
    return location == nullptr || (location->*PART).empty() ? Text() : location->*PART;
}

Text isVelko(ListedDrive& facts) {
    return boolToText(isVelkoDrive(facts.drive()));
}

using Caps = nvme::ControllerCapabilities;
using Location = transport::HostLocation;

// Keys that the vocabulary does not have.
Attribute pciAddress() {
    return Attribute("PCIAddress", "PCI Address", typeString());
}
Attribute pciSlot() {
    return Attribute("PCISlot", "PCI Slot", typeString());
}
Attribute pciLinkSpeed() {
    return Attribute("PCILinkSpeed", "PCI Link Speed", typeString());
}
Attribute pciLinkSpeedMaximum() {
    return Attribute("PCILinkSpeedMaximum", "PCI Link Speed Maximum", typeString());
}
Attribute pciLinkWidthMaximum() {
    return Attribute("PCILinkWidthMaximum", "PCI Link Width Maximum", typeUint16());
}
Attribute totalCapacity() {
    return Attribute("TotalCapacity", "Total Capacity", typeString());
}
Attribute unallocatedCapacity() {
    return Attribute("UnallocatedCapacity", "Unallocated Capacity", typeString());
}

// clang-format off
constexpr ListedRow<ListedDrive> ROWS[] = {
    {device::bootloader,                             true,  [](ListedDrive&) { return Text(); }},
    {device::capacity,                               true,  capacity},
    {device::devicePath,                             true,  found<device::devicePath>},
    {device::deviceStatus,                           true,  deviceStatus},
    {device::firmware,                               true,  found<device::firmware>},
    {attributes::feature::firmwareUpdateAvailable,   true,  firmwareUpdateAvailable},
    {device::index,                                  true,  found<device::index>},
    {device::maximumLBA,                             true,  maximumLba},
    {device::modelNumber,                            true,  found<device::modelNumber>},
    {device::numLBAFormats,                          true,  numberOfLbaFormats},
    {device::productFamily,                          true,  [](ListedDrive&) { return Text(); }},
    {device::sectorSize,                             true,  sectorSize, "bytes"},
    {device::serialNumber,                           true,  found<device::serialNumber>},
    {device::endToEndDataProtCapabilities,           false, namespaceNumber<uint8_t, &nvme::NamespaceProperties::dpc>},
    {device::firmwareUpdateGranularityRequirements,  false, firmwareGranularity, "bytes"},
    {device::formatNVMCryptoEraseSupported,          false, controllerBit<uint8_t, &Caps::fna, 2>},
    {device::formatNVMSupported,                     false, controllerTest<&Caps::supportsFormat>},
    {device::lbaFormat,                              false, lbaFormat},
    {device::maximumDataTransferSize,                false, controllerNumber<uint8_t, &Caps::mdts>},
    {device::metadataSetting,                        false, metadataSetting},
    {device::metadataSize,                           false, metadataSize, "bytes"},
    {device::namespaceId,                            false, namespaceId},
    {device::namespaceManagementSupported,           false, controllerTest<&Caps::supportsNamespaceManagement>},
    {device::numberOfNamespacesSupported,            false, controllerNumber<uint32_t, &Caps::nn>},
    {device::nvme1Point1OrGreater,                   false, versionAtLeast<0x00010100>},
    {device::nvme1Point2OrGreater,                   false, versionAtLeast<0x00010200>},
    {device::nvme1Point3OrGreater,                   false, versionAtLeast<0x00010300>},
    {device::nvme1Point4OrGreater,                   false, versionAtLeast<0x00010400>},
    {device::nvmeControllerID,                       false, controllerNumber<uint16_t, &Caps::cntlid>},
    {device::nvmeMajorVersion,                       false, versionPart<16, 0xFFFF>},
    {device::nvmeMinorVersion,                       false, versionPart<8, 0xFF>},
    {device::nvmeTertiaryVersion,                    false, versionPart<0, 0xFF>},
    {device::ocpSupported,                           false, ocpSupported},
    {device::ocp2Point0OrGreater,                    false, ocp2OrGreater},
    {device::ocpMajorVersion,                        false, ocpMajorVersion},
    {device::ocpMinorVersion,                        false, ocpMinorVersion},
    {device::optionalNVMCompareSupported,            false, controllerBit<uint16_t, &Caps::oncs, 0>},
    {device::optionalNPXMatasetMgmtSupported,        false, controllerBit<uint16_t, &Caps::oncs, 2>},
    {device::optionalNVMReservationsSupported,       false, controllerBit<uint16_t, &Caps::oncs, 5>},
    {device::optionalNVMSaveFieldSupported,          false, controllerBit<uint16_t, &Caps::oncs, 4>},
    {device::optionalNVMTimestampSupported,          false, controllerBit<uint16_t, &Caps::oncs, 6>},
    {device::optionalNVMVerifySupported,             false, controllerBit<uint16_t, &Caps::oncs, 7>},
    {device::optionalNVMWriteUncorrectableSupported, false, controllerBit<uint16_t, &Caps::oncs, 1>},
    {device::optionalNVMWriteZeroesSupported,        false, controllerBit<uint16_t, &Caps::oncs, 3>},
    {pciAddress,                                     false, located<&Location::pciAddress>},
    {pciSlot,                                        false, located<&Location::slot>},
    {pciLinkSpeed,                                   false, located<&Location::linkSpeed>},
    {pciLinkSpeedMaximum,                            false, located<&Location::maximumLinkSpeed>},
    {device::pciLinkWidth,                           false, located<&Location::linkWidth>},
    {pciLinkWidthMaximum,                            false, located<&Location::maximumLinkWidth>},
    {device::pelLogSizeMax,                          false, pelSizeMax, "units of 64 KiB"},
    {device::physicalSize,                           false, physicalSize, "bytes"},
    {device::protectionInformation,                  false, protectionInformation},
    {device::protectionInformationLocation,          false, protectionInformationLocation},
    {device::sanitizeSupported,                      false, controllerTest<&Caps::supportsSanitize>},
    {device::sanitizeBlockEraseSupported,            false, controllerBit<uint32_t, &Caps::sanicap, 1>},
    {device::sanitizeCryptoScrambleSupported,        false, controllerBit<uint32_t, &Caps::sanicap, 0>},
    {device::sanitizeOverwriteSupported,             false, controllerBit<uint32_t, &Caps::sanicap, 2>},
    {device::sectorDataSize,                         false, sectorDataSize, "bytes"},
    {device::selfTestSupported,                      false, controllerTest<&Caps::supportsSelfTest>},
    {device::stagedFirmware,                         false, stagedFirmware},
    {device::supportCommandEffectsLog,               false, controllerTest<&Caps::supportsCommandEffects>},
    {device::supportPersistentEventLog,              false, controllerTest<&Caps::supportsPersistentEventLog>},
    {tcgFeatureNames,                                false, tcgFeatures<ListedDrive>},
    {tcgLocked,                                      false, tcgFlag<ListedDrive, &nvme::Level0Discovery::isLocked>},
    {tcgLockingEnabled,                              false, tcgFlag<ListedDrive, &nvme::Level0Discovery::isLockingEnabled>},
    {tcgMbrShadowed,                                 false, tcgFlag<ListedDrive, &nvme::Level0Discovery::isMbrShadowed>},
    {device::tcgSupported,                           false, controllerTest<&Caps::supportsSecurity>},
    {device::telemetryLogSupported,                  false, controllerTest<&Caps::supportsTelemetry>},
    {totalCapacity,                                  false, controllerCapacity<OFFSET_TNVMCAP>, "bytes"},
    {device::trimSupported,                          false, controllerTest<&Caps::supportsDatasetManagement>},
    {unallocatedCapacity,                            false, controllerCapacity<OFFSET_UNVMCAP>, "bytes"},
    {device::velkoNVMe,                              false, isVelko},
    {device::writeCacheSupported,                    false, controllerBit<uint8_t, &Caps::vwc, 0>},
};
// clang-format on

}  // namespace

VelkoSsdJob::VelkoSsdJob() : CloneableJob(ostrel::interfaces::ostreli::JOB_VELKOSSD, "Velko SSD") {}

AttributeList VelkoSsdJob::getSupportedProperties() const {
    AttributeList list = supportedOf(ROWS);
    list.merge(supportedOfSata());
    return list;
}

Status VelkoSsdJob::checkRequest(const Arguments& arguments) {
    modules_ = std::make_unique<FirmwareModules>(arguments.text(attributes::feature::additionalModuleDirs().getName()));
    return Status();
}

Status VelkoSsdJob::getProperties(const std::shared_ptr<xml::XmlObject>& output) {
    const auto& devices = getDevices();
    if (std::count_if(devices.begin(), devices.end(), [](const auto& d) { return transport::isKernelNvmeDrive(*d); }) >
        1)
        withoutOcp_.load();
    Status status = DriveJob::getProperties(output);
    withoutOcp_.keep();
    return status;
}

std::size_t VelkoSsdJob::bytesOfDrive() const {
    return std::size_t{40} << 10;  // drives share most of their values
}

Status VelkoSsdJob::showDrive(nvme::Drive& drive, const Arguments& arguments, DriveOutput& out) {
    const std::string error = drive.device().getAttribute(device::errorString()).getText();
    if (!error.empty()) return withDetails(statuses::deviceDataRetrievalFailed(), error);
    ListedDrive facts(drive, *modules_, withoutOcp_);
    const bool all = arguments.flag(attributes::feature::showAllFlag().getName());
    AttributeList list;
    RETURN_IF_FAILED(listAttributes(ROWS, facts, all, out, shared_, list));
    const bool isUnknown = list.count(device::deviceStatus().getName()) != 0 && failed(facts.smartRefusal());
    out.addAttributes(title(), std::move(list));
    if (all && out.requested() == nullptr) {
        const Status status = showNamespaces(facts, out);
        if (failed(status)) out.addStatus(title() + " Namespaces", status);
    }
    // The rest is known and shown; that the drive's health is not makes it a drive that failed.
    if (isUnknown)
        out.addStatus(title() + " Health",
                      withDetails(statuses::deviceDataRetrievalFailed(), facts.smartRefusal().getMessage()));
    if (failed(facts.lockingFailure())) out.addStatus(title() + " Locking", facts.lockingFailure());
    return Status();
}

}  // namespace features::jobs
