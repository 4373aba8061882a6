#include "features/transport/linux/AtaSense.h"

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <optional>

#include "features/nvme/FieldTree.h"
#include "features/transport/HostStatus.h"
#include "ostrel/core/StatusCatalogue.h"

namespace features::transport {

using namespace ostrel::core;
using ata::AtaCommand;
using ata::AtaResult;
using ata::Registers;
using ata::RegistersMissing;
using nvme::hexText;

namespace {

constexpr uint8_t GOOD = 0x00;
constexpr uint8_t CHECK_CONDITION = 0x02;

enum SenseKey : uint8_t {
    NO_SENSE = 0x0,
    RECOVERED_ERROR = 0x1,
    NOT_READY = 0x2,
    ILLEGAL_REQUEST = 0x5,
    UNIT_ATTENTION = 0x6,
    ABORTED_COMMAND = 0xB,
};

constexpr uint8_t STATUS_BUSY = 0x80;          // with it no other bit is valid
constexpr uint8_t STATUS_DATA_REQUEST = 0x08;  // DRQ
constexpr uint8_t STATUS_FAILED = ata::STATUS_ERROR | ata::STATUS_DEVICE_FAULT;

constexpr uint16_t HOST_TIME_OUT = 0x03;

/// The errors of the host adapter's driver (DID_... of Linux) that have a status of their own.
struct HostRow {
    uint16_t status;
    int error;
};
constexpr HostRow HOST_ERRORS[] = {
    {0x01, ENODEV},  // no connection
    {HOST_TIME_OUT, ETIME},
    {0x04, ENODEV},  // bad target
};

/// The fields of sense data that both formats have.
struct Sense {
    Sense(const uint8_t* bytes, std::size_t size) : data(bytes), size(size) {
        if (at(0) == 0) return;
        const uint8_t code = at(0) & 0x7F;
        isDescriptor = code == 0x72 || code == 0x73;
        isFixed = code == 0x70 || code == 0x71;
        isDeferred = code == 0x71 || code == 0x73;
        key = (isDescriptor ? at(1) : at(2)) & 0x0F;
        asc = at(isDescriptor ? 2 : 12);
        ascq = at(isDescriptor ? 3 : 13);
    }

    /// What the driver did not write is 0.
    uint8_t at(std::size_t offset) const { return offset < size ? data[offset] : uint8_t{0}; }
    bool isPresent() const { return isDescriptor || isFixed; }
    /// The registers of the drive are in this sense data, by its own words.
    bool isAtaInformation() const { return asc == 0x00 && ascq == 0x1D; }

    const uint8_t* data;
    std::size_t size;
    bool isDescriptor = false;
    bool isFixed = false;
    bool isDeferred = false;  ///< an error of an earlier command: it says nothing good of this one
    uint8_t key = NO_SENSE;
    uint8_t asc = 0;
    uint8_t ascq = 0;
};

/// What was found of the drive's registers.
struct Found {
    RegistersMissing missing = RegistersMissing::NO_DESCRIPTOR;
    std::optional<Registers> registers;
};

/// The descriptor 09h begins at `at`.
Found readDescriptor(const Sense& sense, std::size_t at) {
    constexpr uint8_t LENGTH = 12;
    if (sense.at(at + 1) < LENGTH || at + LENGTH + 2 > sense.size || sense.at(at + 13) == 0)
        return {RegistersMissing::DESCRIPTOR_TOO_SHORT, std::nullopt};
    Registers registers;
    registers.error = sense.at(at + 3);
    registers.count = static_cast<uint16_t>(sense.at(at + 4) << 8 | sense.at(at + 5));
    // Two bytes a pair, that of the higher address first.
    constexpr std::size_t LBA[] = {10, 8, 6, 11, 9, 7};
    for (const std::size_t offset : LBA) registers.lba = registers.lba << 8 | sense.at(at + offset);
    registers.device = sense.at(at + 12);
    registers.status = sense.at(at + 13);
    return {RegistersMissing::NOTHING, registers};
}

Found findDescriptor(const Sense& sense) {
    constexpr uint8_t ATA_STATUS_RETURN = 0x09;
    const std::size_t end = std::min(sense.size, std::size_t{8} + sense.at(7));
    for (std::size_t at = 8; at + 1 < end; at += std::size_t{2} + sense.at(at + 1)) {
        if (sense.at(at) == ATA_STATUS_RETURN) return readDescriptor(sense, at);
    }
    return {};
}

RegistersMissing upperRegisters(const Sense& sense) {
    constexpr uint8_t COUNT_UPPER_NONZERO = 0x40;
    constexpr uint8_t LBA_UPPER_NONZERO = 0x20;
    constexpr uint8_t LOG_INDEX = 0x0F;
    if ((sense.at(8) & (COUNT_UPPER_NONZERO | LBA_UPPER_NONZERO)) == 0) return RegistersMissing::NOTHING;
    return (sense.at(8) & LOG_INDEX) != 0 ? RegistersMissing::UPPER_IN_LOG : RegistersMissing::UPPER_LOST;
}

/// Where the SAT standard has them, with the marks that they are there.
std::optional<Found> readFixed(const Sense& sense) {
    constexpr std::size_t BYTES = 12;
    const bool isValid = (sense.at(0) & 0x80) != 0;
    if (sense.size < BYTES || sense.at(4) == 0 || !(isValid || sense.isAtaInformation())) return std::nullopt;
    Registers registers;
    registers.error = sense.at(3);
    registers.status = sense.at(4);
    registers.device = sense.at(5);
    registers.count = sense.at(6);
    registers.lba = uint64_t{sense.at(11)} << 16 | uint64_t{sense.at(10)} << 8 | sense.at(9);
    return Found{upperRegisters(sense), registers};
}

bool showsError(uint8_t status) {
    return (status & STATUS_FAILED) != 0 && (status & STATUS_BUSY) == 0;
}

/// The keys that libata makes of most errors of a drive. It makes "not ready", "illegal request" and "unit attention"
/// of bits of ERROR, although by these a translator says that it did not send the command.
bool isKeyOfError(uint8_t key) {
    return key == ABORTED_COMMAND || key == NOT_READY || key == ILLEGAL_REQUEST || key == UNIT_ATTENTION;
}

/// Where libata of Linux before 6.10 wrote them: over the bytes from 8 on, without a mark.
std::optional<Found> readMisplaced(const Sense& sense) {
    const uint8_t status = sense.at(9);
    if (!isKeyOfError(sense.key) || (sense.at(0) & 0x80) != 0 || !showsError(status)) return std::nullopt;
    Registers registers;
    registers.error = sense.at(8);
    registers.status = status;
    registers.device = sense.at(10);
    registers.count = sense.at(11);
    return Found{RegistersMissing::UNTRUSTED, registers};
}

Found findRegisters(const Sense& sense) {
    if (sense.isDescriptor) return findDescriptor(sense);
    if (const auto found = readFixed(sense)) return *found;
    return readMisplaced(sense).value_or(Found());
}

/// Whether the drive itself ended the command, whatever the sense key. In fixed format something else may be in the
/// place of registers that show no error.
bool isOfDrive(const Sense& sense, const Found& found) {
    return found.registers && (sense.isDescriptor || showsError(found.registers->status));
}

AtaResult failure(const Found& found) {
    AtaResult result;
    result.succeeded = false;
    result.missing = found.missing;
    result.registers = found.registers;
    return result;
}

AtaResult success(const Found& found) {
    AtaResult result = failure(found);
    result.succeeded = true;
    return result;
}

/// Whether sense key and STATUS agree that the command was carried out.
bool isSuccess(const AtaCommand& command, const Sense& sense, uint8_t status) {
    if ((status & (STATUS_FAILED | STATUS_BUSY)) != 0) return false;
    if (sense.key == NO_SENSE || sense.key == RECOVERED_ERROR) return true;
    // Linux 6.12 returns a good read whose registers were asked for as aborted, with DRQ still set.
    return sense.key == ABORTED_COMMAND && command.protocol == ata::Protocol::PIO_IN && command.wantsRegisters &&
           (status & STATUS_DATA_REQUEST) != 0;
}

AtaResult resultOf(const AtaCommand& command, uint8_t scsiStatus, const Sense& sense, Found found) {
    if (sense.isDeferred) return failure({RegistersMissing::UNTRUSTED, found.registers});
    if (!found.registers || found.missing == RegistersMissing::UNTRUSTED) {
        // Asked for registers, a translator ends every command that succeeded with sense data of these keys.
        const bool isGood =
            sense.key == RECOVERED_ERROR || (sense.key == NO_SENSE && (scsiStatus == GOOD || command.wantsRegisters));
        return isGood ? success(found) : failure(found);
    }
    const uint8_t status = found.registers->status;
    if (isSuccess(command, sense, status)) return success(found);
    // A failure that the registers do not show.
    if (!showsError(status)) found.missing = RegistersMissing::UNTRUSTED;
    return failure(found);
}

Status withText(Status status, const std::string& text) {
    status.setMessage(status.getMessage() + " " + text);
    return status;
}

/// The sense key, as text.
const char* keyName(uint8_t key) {
    constexpr const char* NAMES[] = {"no sense",       "recovered error", "not ready",      "medium error",
                                     "hardware error", "illegal request", "unit attention", "data protect",
                                     "blank check",    "vendor specific", "copy aborted",   "aborted command",
                                     "sense key Ch",   "volume overflow", "miscompare",     "completed"};
    return NAMES[key & 0x0F];
}

std::string senseText(const Sense& sense) {
    return std::string(keyName(sense.key)) + ", ASC/ASCQ " + hexText(sense.asc, 2) + "/" + hexText(sense.ascq, 2);
}

Status refusedStatus(const AtaCommand& command, const Sense& sense, const std::string& place) {
    return withText(statuses::scsiCommandProblem(), "The driver of " + place + " or its controller refused " +
                                                        command.getName() + ": " + senseText(sense) +
                                                        ". The command did not reach the drive.");
}

Status unavailableStatus(const Sense& sense, const std::string& place) {
    return withText(statuses::deviceUnavailable(), place + ": " + senseText(sense) + ".");
}

Status unknownStatus(const std::string& what, uint16_t number, const std::string& place) {
    return withText(statuses::completionUnavailable(), place + ": " + what + " " + hexText(number, 2) + ".");
}

Status hostErrorStatus(const ScsiEnd& end, const std::string& place) {
    for (const HostRow& row : HOST_ERRORS) {
        if (row.status == end.hostStatus) return hostStatus(row.error, place);
    }
    return unknownStatus("host status", end.hostStatus, place);
}

}  // namespace

bool isUnitAttention(const ScsiEnd& end) {
    if (end.hostStatus != 0 || end.status != CHECK_CONDITION) return false;
    const Sense sense(end.sense, end.senseBytes);
    return sense.key == UNIT_ATTENTION && !isOfDrive(sense, findRegisters(sense));
}

bool isTimeout(const ScsiEnd& end, bool isTimeOver) {
    if (end.hostStatus == HOST_TIME_OUT) return true;
    return isTimeOver && end.hostStatus == 0 && end.status == CHECK_CONDITION &&
           Sense(end.sense, end.senseBytes).key == ABORTED_COMMAND;
}

Result<AtaResult> ataResultOf(const AtaCommand& command, const ScsiEnd& end, const std::string& place) {
    if (end.hostStatus != 0) return hostErrorStatus(end, place);
    if (end.status != GOOD && end.status != CHECK_CONDITION) return unknownStatus("SCSI status", end.status, place);
    if (end.status == GOOD && !command.wantsRegisters) return success({RegistersMissing::NOT_ASKED, std::nullopt});
    const Sense sense(end.sense, end.senseBytes);
    if (!sense.isPresent()) {
        if (end.status == CHECK_CONDITION) return withText(statuses::noSenseDataForAtaReturn(), place + ".");
        return success({RegistersMissing::NO_SENSE, std::nullopt});
    }
    const Found found = findRegisters(sense);
    if (!isOfDrive(sense, found)) {
        if (sense.key == ILLEGAL_REQUEST) return refusedStatus(command, sense, place);
        if (sense.key == NOT_READY || sense.key == UNIT_ATTENTION) return unavailableStatus(sense, place);
    }
    return resultOf(command, end.status, sense, found);
}

}  // namespace features::transport
