#include "features/jobs/settings/AtaMaxAddress.h"

#include "features/ata/AtaCommand.h"
#include "features/jobs/drive/HostSide.h"
#include "features/jobs/drive/SafetyGate.h"
#include "features/jobs/support/StatusDetails.h"
#include "ostrel/core/SignalBlock.h"
#include "ostrel/core/StatusCatalogue.h"

namespace features::jobs {

using namespace ostrel::core;

namespace {

/// Of DEVICE: an address is an LBA, which old drives otherwise take for a cylinder, head and sector.
constexpr uint8_t LBA_MODE = 0x40;

/// The pair of commands by which a drive is asked for its native maximum and given another one.
struct Method {
    const ata::CommandRow& getNative;
    const ata::CommandRow& set;
    uint8_t device;
    uint16_t count;  ///< of the set: of the Host Protected Area bit 0, which keeps the value when the power goes
};
constexpr Method ACCESSIBLE_MAX_ADDRESS{ata::commands::getNativeMaxAddressExt,
                                        ata::commands::setAccessibleMaxAddressExt, 0, 0};
constexpr Method HOST_PROTECTED_AREA_EXT{ata::commands::readNativeMaxAddressExt, ata::commands::setMaxAddressExt,
                                         LBA_MODE, 1};
constexpr Method HOST_PROTECTED_AREA{ata::commands::readNativeMaxAddress, ata::commands::setMaxAddress, LBA_MODE, 1};

const Method* methodOf(const ata::Identity& identity) {
    if (identity.has(ata::identify::ACCESSIBLE_MAX_ADDRESS)) return &ACCESSIBLE_MAX_ADDRESS;
    if (!identity.has(ata::identify::HPA_SUPPORTED)) return nullptr;
    return identity.has(ata::identify::ADDRESS_48_BIT) ? &HOST_PROTECTED_AREA_EXT : &HOST_PROTECTED_AREA;
}

Result<uint64_t> readNative(ata::Drive& drive, const Method& method) {
    constexpr uint64_t LBA_23_0 = 0xFFFFFF;
    constexpr unsigned DEVICE_LBA_27_24 = 0x0F;
    ata::AtaCommand command(method.getNative);
    command.device = method.device;
    command.wantsRegisters = true;
    TRY(const ata::Registers registers, drive.sendForRegisters(command));
    if (method.getNative.addressing == ata::Addressing::BITS_48) return registers.lba;
    return (registers.lba & LBA_23_0) | uint64_t{registers.device & DEVICE_LBA_27_24} << 24;
}

/// A drive has all the blocks that it shows. A host adapter that brings other registers than the drive's, as zeros,
/// would have it cut to them by "native".
Status checkNative(const ata::Drive& drive, const ata::Identity& identity, uint64_t native) {
    if (native + 1 >= identity.sectors()) return Status();
    return withDetails(statuses::deviceDataRetrievalFailed(),
                       "The native maximum LBA of drive " + drive.name() + " is said to be " + std::to_string(native) +
                           ", and it has " + std::to_string(identity.sectors()) + " sectors.");
}

/// Nothing may come between the two commands of the Host Protected Area.
Status writeLba(ata::Drive& drive, const Method& method, uint64_t lba) {
    RETURN_IF_FAILED(readNative(drive, method));
    ata::AtaCommand command(method.set);
    command.device = method.device;
    command.count = method.count;
    command.lba = lba;
    command.wantsRegisters = true;
    const auto sent = drive.send(command);
    if (sent) return Status();
    if (!sent.error().isOfDrive()) return sent.error().status;
    return withDetails(statuses::configurationUpdateFailed(),
                       sent.error().status.getMessage() +
                           " A drive takes one change in a power cycle: switch its power off and on before another.");
}

/// Changes the size of the disk. An end between the two would leave the system with blocks that are gone.
Result<RescanStatus> resize(ata::Drive& drive, const Method& method, uint64_t lba) {
    const SignalBlock untilTheHostHasLooked;
    RETURN_IF_FAILED(writeLba(drive, method, lba));
    return RescanStatus{rescan(drive.device())};
}

std::string reportOf(uint64_t lba, uint64_t native, const Status& rescanned) {
    return "The maximum LBA is " + std::to_string(lba) + ", the native one " + std::to_string(native) + "." +
           (succeeded(rescanned) ? "" : " The system has not seen it yet: " + rescanned.getMessage());
}

}  // namespace

Result<std::string> setAtaMaximumLba(ata::Drive& drive, const MaximumLba& wanted) {
    RETURN_IF_FAILED(checkDestruction(drive.device(), {}));
    TRY(const ata::Identity* identity, drive.identifyAgain());
    const Method* const method = methodOf(*identity);
    if (method == nullptr) return statuses::maxAddressNotSupported();
    TRY(const uint64_t native, readNative(drive, *method));
    RETURN_IF_FAILED(checkNative(drive, *identity, native));
    TRY(const uint64_t lba, addressOf(wanted, native, identity->logicalSectorBytes(), drive.name()));
    RETURN_IF_FAILED(checkDestruction(drive.device(), {}));  // again: much may have happened meanwhile
    TRY(const RescanStatus rescanned, resize(drive, *method, lba));
    TRY(identity, drive.identifyAgain());
    TRY(const uint64_t nativeNow, readNative(drive, *method));
    if (identity->sectors() == lba + 1) return reportOf(lba, nativeNow, rescanned.status);
    return withDetails(statuses::configurationUpdateFailed(), "Drive " + drive.name() + " accepted the maximum LBA " +
                                                                  std::to_string(lba) + " and reports " +
                                                                  std::to_string(identity->sectors()) + " sectors.");
}

}  // namespace features::jobs
