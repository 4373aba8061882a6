#include "features/ata/Drive.h"

#include <algorithm>
#include <cstring>

#include "features/ata/LogAddresses.h"
#include "features/ata/PageList.h"
#include "features/ata/structures/SmartData.h"
#include "features/errors/DriveName.h"
#include "features/errors/HalvedPieces.h"
#include "features/nvme/Bytes.h"
#include "features/nvme/FieldTree.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/CommandResult.h"
#include "ostrel/core/StatusCatalogue.h"

namespace features::ata {

using namespace ostrel::core;
using nvme::hexText;

namespace {

/// 128 KiB in one command passes with nearly every kernel and translator.
constexpr uint32_t MAX_PAGES_AT_ONCE = 256;

/// Of log 07h: those whose entries, 19 a page, its index can name.
constexpr uint16_t MAX_SELF_TEST_PAGES = UINT16_MAX / 19 + 1;

// LBA 23:8 after SMART RETURN STATUS.
constexpr uint64_t SMART_GOOD = 0xC24F;
constexpr uint64_t SMART_EXCEEDED = 0x2CF4;

// Bits of COUNT after SANITIZE STATUS EXT.
constexpr unsigned SANITIZE_COMPLETED = 15;
constexpr unsigned SANITIZE_RUNNING = 14;
constexpr unsigned SANITIZE_FROZEN = 13;

}  // namespace

std::string Drive::serialNumber() const {
    return device_.getAttribute(attributes::device::serialNumber()).getText();
}

std::string Drive::name() const {
    return driveName(device_);
}

Result<Answer, AtaError> Drive::send(const AtaCommand& command, const Payload& toDrive) {
    if (!command.isEncodable()) return statuses::requestOutOfBounds();
    AtaCommand sent = command;
    sent.onlySelectedDrive = command.onlySelectedDrive || isOnlySelected_;
    CommandResult answer;
    device_.sendCommand(sent, answer, toDrive);
    // Not after a rule that forbids the command whichever drive it is.
    const bool wasTried = answer.status.getCategory() != CATEGORY_FEATURE;
    isOnlySelected_ = isOnlySelected_ || (command.needsSelectedDrive() && wasTried);
    RETURN_IF_FAILED(answer.status);
    const auto* result = dynamic_cast<const AtaResult*>(answer.protocolResult.get());
    if (result == nullptr) return noData(command);
    if (!result->succeeded) return AtaError(failure(command, *result), *result);
    // The caller that reads the data counts on its length.
    if (command.readsData() && answer.inputPayload.getSize() < command.dataLength) return noData(command);
    return Answer{*result, answer.inputPayload};
}

Result<Registers, AtaError> Drive::sendForRegisters(const AtaCommand& command, const Payload& toDrive) {
    AtaCommand asking = command;
    asking.wantsRegisters = true;
    TRY(const Answer answer, send(asking, toDrive));
    if (const Registers* const registers = answer.result.whole()) return *registers;
    Status status = answer.result.missingStatus();
    status.setMessage(status.getMessage() + " (" + command.getName() + " on drive " + name() + ")");
    return AtaError(status, answer.result);
}

Result<Payload, AtaError> Drive::identifyData() {
    RETURN_IF_FAILED(identify());
    return identifyData_;
}

Result<const Identity*, AtaError> Drive::identify() {
    if (!identity_) RETURN_IF_FAILED(identifyAgain());
    return &*identity_;
}

Result<const Identity*, AtaError> Drive::identifyAgain() {
    identity_.reset();
    AtaCommand command(commands::identifyDevice);
    command.count = 1;
    command.dataLength = sizeof(IdentifyDevice);
    TRY(const Answer answer, send(command));
    const Identity identity(answer.data.getData());
    if (!identity.isAta()) return notAta();
    identifyData_ = answer.data;
    identity_ = identity;
    return &*identity_;
}

Status Drive::notAta() const {
    Status status = statuses::deviceDataRetrievalFailed();
    status.setMessage("What drive " + name() + " returned for IDENTIFY DEVICE is not the identity of an ATA drive.");
    return status;
}

Result<uint16_t, AtaError> Drive::pagesOfLog(uint8_t address) {
    if (!directory_) {
        TRY(const Identity* const identity, identify());
        if (identity->has(identify::GENERAL_PURPOSE_LOGS)) {
            TRY(directory_, readLogPage(LOG_DIRECTORY, 0));
        } else {
            directory_ = Payload();
        }
    }
    return directory_->getSize() == 0 ? uint16_t{0} : nvme::le16(directory_->getData() + size_t{2} * address);
}

Result<Payload, AtaError> Drive::readLogPage(uint8_t address, uint16_t page, uint16_t feature) {
    return readLogPages(address, page, 1, feature);
}

Result<Payload, AtaError> Drive::readLogPages(uint8_t address, uint16_t page, uint32_t count, uint16_t feature) {
    AtaCommand command(commands::readLogExt);
    command.feature = feature;
    command.count = static_cast<uint16_t>(count);
    command.lba = address | (uint64_t{page} & 0xFF) << 8 | (uint64_t{page} >> 8) << 32;
    command.dataLength = count * LOG_PAGE_BYTES;
    TRY(const Answer answer, send(command));
    return answer.data;
}

Result<Payload, AtaError> Drive::readLog(uint8_t address, uint16_t first, uint32_t count) {
    if (count == 0 || first + count > uint32_t{UINT16_MAX} + 1) return statuses::requestOutOfBounds();
    Payload whole(uint64_t{count} * LOG_PAGE_BYTES);
    if (whole.getSize() == 0) return statuses::mallocFailed();
    uint32_t atOnce = MAX_PAGES_AT_ONCE;
    for (uint32_t done = 0; done < count;) {
        uint32_t pages = 0;
        const auto readPiece = [&](uint32_t most) {
            pages = std::min(most, count - done);
            return readLogPages(address, static_cast<uint16_t>(first + done), pages, 0);
        };
        TRY(const Payload piece, sendHalvedPiece(atOnce, 1, readPiece));
        std::memcpy(whole.getData() + size_t{done} * LOG_PAGE_BYTES, piece.getData(), size_t{pages} * LOG_PAGE_BYTES);
        done += pages;
    }
    return whole;
}

Result<Payload, AtaError> Drive::readSmartLog(uint8_t address, uint8_t pages) {
    RETURN_IF_FAILED(requireSmart());
    AtaCommand command(commands::smartReadLog);
    command.count = pages;
    command.lba |= address;
    command.dataLength = pages * LOG_PAGE_BYTES;
    TRY(const Answer answer, send(command));
    return answer.data;
}

Result<std::optional<Payload>, AtaError> Drive::readListedPage(uint8_t address, uint8_t page) {
    TRY(const uint16_t pages, pagesOfLog(address));
    if (pages == 0) return std::nullopt;
    if (pageLists_.count(address) == 0) {
        TRY(pageLists_[address], readLogPage(address, 0));
    }
    if (!isPageListed(pageLists_[address], page)) return std::nullopt;
    TRY(const Payload data, readLogPage(address, page));
    return data;
}

Status Drive::requireSmart() {
    TRY(const Identity* const identity, identify());
    Status status;
    if (!identity->has(identify::SMART_SUPPORTED)) {
        status = statuses::driveDoesNotSupportFeature();
        status.setMessage("Drive " + name() + " does not support SMART.");
    } else if (!identity->has(identify::SMART_ENABLED)) {
        status = statuses::smartNotEnabled();
        status.setMessage(status.getMessage() + " (drive " + name() + ")");
    }
    return status;
}

Result<Payload, AtaError> Drive::smartData() {
    RETURN_IF_FAILED(requireSmart());
    return readSmartPage(commands::smartReadData);
}

Result<Payload, AtaError> Drive::smartThresholds() {
    RETURN_IF_FAILED(requireSmart());
    const auto thresholds = readSmartPage(commands::smartReadThresholds);
    if (!thresholds && thresholds.error().isOfDrive()) return Payload();
    return thresholds;
}

Result<Payload, AtaError> Drive::readSmartPage(const CommandRow& row) {
    AtaCommand command(row);
    command.count = 1;
    command.dataLength = sizeof(SmartData);
    TRY(const Answer answer, send(command));
    return answer.data;
}

Result<Drive::Health, AtaError> Drive::smartHealth() {
    RETURN_IF_FAILED(requireSmart());
    TRY(const Registers registers, sendForRegisters(AtaCommand(commands::smartReturnStatus)));
    const uint64_t signature = nvme::bits(registers.lba, 23, 8);
    return signature == SMART_GOOD       ? Health::GOOD
           : signature == SMART_EXCEEDED ? Health::THRESHOLD_EXCEEDED
                                         : Health::UNKNOWN;
}

Result<std::vector<SelfTestResult>, AtaError> Drive::selfTests() {
    TRY(const uint16_t pages, pagesOfLog(LOG_EXTENDED_SELF_TESTS));
    if (pages == 0) {
        TRY(const Payload log, readSmartLog(LOG_SELF_TESTS));
        return selfTestsOf(log);
    }
    TRY(const Payload log, readLog(LOG_EXTENDED_SELF_TESTS, 0, std::min(pages, MAX_SELF_TEST_PAGES)));
    return extendedSelfTestsOf(log);
}

Result<Payload, AtaError> Drive::trustedReceive(const CommandRow& row, uint32_t bytes) {
    AtaCommand command(row);
    command.count = static_cast<uint16_t>(bytes / LOG_PAGE_BYTES);
    command.dataLength = bytes;
    TRY(const Answer answer, send(command));
    return answer.data;
}

Result<SanitizeState, AtaError> Drive::sanitizeState() {
    TRY(const Registers registers, sendForRegisters(AtaCommand(commands::sanitizeStatusExt)));
    return SanitizeState{nvme::bit(registers.count, SANITIZE_COMPLETED), nvme::bit(registers.count, SANITIZE_RUNNING),
                         nvme::bit(registers.count, SANITIZE_FROZEN),
                         static_cast<uint16_t>(nvme::bits(registers.lba, 15, 0))};
}

Status Drive::failure(const AtaCommand& command, const AtaResult& result) const {
    std::string registers = "command " + hexText(command.opcode, 2) + ", FEATURE " + hexText(command.feature, 2);
    if (result.registers) {
        registers +=
            ", ERROR " + hexText(result.registers->error, 2) + ", STATUS " + hexText(result.registers->status, 2);
    }
    Status status = statuses::ataCommandProblem();
    status.setMessage(command.getName() + " failed on drive " + name() + ": " + result.meaning() + " (" + registers +
                      ").");
    return status;
}

Status Drive::noData(const AtaCommand& command) const {
    Status status = statuses::deviceDataRetrievalFailed();
    status.setMessage("Failed to retrieve data from drive " + name() + ": " + command.getName() +
                      " returned less than was asked for.");
    return status;
}

}  // namespace features::ata
