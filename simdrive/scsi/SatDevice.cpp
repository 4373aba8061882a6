#include "simdrive/scsi/SatDevice.h"

#include <algorithm>
#include <iterator>
#include <optional>

#include "features/nvme/Bytes.h"
#include "simdrive/scsi/Inquiry.h"
#include "simdrive/scsi/ModePages.h"
#include "simdrive/scsi/PassThrough.h"
#include "simdrive/scsi/SecurityProtocol.h"

namespace simdrive::scsi {

using features::ata::Protocol;
using features::simulator::sata::SECTOR_BYTES;
using features::simulator::sata::TaskFile;
using Bytes = std::vector<uint8_t>;

namespace {

constexpr uint8_t READ_DMA_EXT = 0x25;
constexpr uint8_t WRITE_DMA_EXT = 0x35;
constexpr uint8_t READ_VERIFY_EXT = 0x42;
constexpr uint8_t FLUSH_CACHE_EXT = 0xEA;
constexpr uint8_t CHECK_POWER_MODE = 0xE5;
constexpr uint8_t STANDBY_IMMEDIATE = 0xE0;
constexpr uint8_t IDLE_IMMEDIATE = 0xE1;
constexpr uint8_t DATA_SET_MANAGEMENT = 0x06;
constexpr uint64_t MAX_SECTORS = MAX_TRANSFER_BYTES / SECTOR_BYTES;

struct Extent {
    uint64_t lba;
    uint64_t sectors;
};

/// LBA and length of READ, WRITE and VERIFY, by the group of the opcode: 6, 10, 12 or 16 bytes.
Extent extentOf(const uint8_t* cdb) {
    switch (cdb[0] >> 5) {
        case 0:
            return {bigEndian(cdb + 1, 3) & 0x1FFFFF, cdb[4] == 0 ? 256U : cdb[4]};
        case 4:
            return {bigEndian(cdb + 2, 8), bigEndian(cdb + 10, 4)};
        case 5:
            return {bigEndian(cdb + 2, 4), bigEndian(cdb + 6, 4)};
        default:
            return {bigEndian(cdb + 2, 4), bigEndian(cdb + 7, 2)};
    }
}

bool isForcedToMedia(const uint8_t* cdb) {
    return cdb[0] >> 5 != 0 && (cdb[1] & 0x08) != 0;
}

/// Why an extent cannot be transferred; empty: it can, and has sectors.
std::optional<Answer> extentFault(const ScsiCommand& command, const Extent& extent) {
    if (extent.lba >> 48 != 0) return checkCondition(command, OUT_OF_RANGE);
    if (extent.sectors > MAX_SECTORS) return checkCondition(command, INVALID_FIELD);
    return std::nullopt;
}

TaskFile taskOf(uint8_t opcode, Protocol protocol, const Extent& extent) {
    const bool hasData = protocol != Protocol::NON_DATA;
    return {opcode,
            protocol,
            true,
            0,
            static_cast<uint16_t>(extent.sectors),
            extent.lba,
            0x40,
            hasData ? static_cast<uint32_t>(extent.sectors * SECTOR_BYTES) : 0U};
}

Answer flush(const ScsiCommand& command) {
    return translate(command, {FLUSH_CACHE_EXT, Protocol::NON_DATA, true, 0, 0, 0, 0, 0});
}

Answer read(const ScsiCommand& command) {
    const Extent extent = extentOf(command.cdb);
    if (auto fault = extentFault(command, extent)) return *fault;
    if (extent.sectors == 0) return Answer();
    return translate(command, taskOf(READ_DMA_EXT, Protocol::DMA_IN, extent));
}

Answer write(const ScsiCommand& command) {
    const Extent extent = extentOf(command.cdb);
    if (auto fault = extentFault(command, extent)) return *fault;
    if (extent.sectors == 0) return Answer();
    const auto bytes = static_cast<size_t>(extent.sectors * SECTOR_BYTES);
    if (command.dataOut.size() < bytes) return checkCondition(command, INVALID_FIELD);
    const auto end = command.dataOut.begin() + static_cast<std::ptrdiff_t>(bytes);
    Answer answer =
        translate(command, taskOf(WRITE_DMA_EXT, Protocol::DMA_OUT, extent), {command.dataOut.begin(), end});
    const bool isWritten = answer.delivery == Answer::Delivery::COMPLETED && answer.status == STATUS_GOOD;
    return isWritten && isForcedToMedia(command.cdb) ? flush(command) : answer;
}

Answer verify(const ScsiCommand& command) {
    constexpr uint8_t BYTCHK = 0x06;
    const Extent extent = extentOf(command.cdb);
    if ((command.cdb[1] & BYTCHK) != 0) return checkCondition(command, INVALID_FIELD);
    if (auto fault = extentFault(command, extent)) return *fault;
    if (extent.sectors == 0) return Answer();
    return translate(command, taskOf(READ_VERIFY_EXT, Protocol::NON_DATA, extent));
}

/// Each block descriptor becomes entries of DATA SET MANAGEMENT of 65,535 sectors at most.
Answer unmap(const ScsiCommand& command) {
    constexpr size_t HEAD_BYTES = 8;
    constexpr size_t DESCRIPTOR_BYTES = 16;
    constexpr uint64_t MAX_ENTRY_SECTORS = 65535;
    constexpr size_t MAX_ENTRIES = 512;
    const Bytes& list = command.dataOut;
    if (bigEndian(command.cdb + 7, 2) == 0) return Answer();
    if (list.size() < HEAD_BYTES) return checkCondition(command, INVALID_PARAMETER);
    const size_t described = std::min(bigEndianLength(list.data() + 2, 2), list.size() - HEAD_BYTES);
    Bytes entries;
    for (size_t at = HEAD_BYTES; at + DESCRIPTOR_BYTES <= HEAD_BYTES + described; at += DESCRIPTOR_BYTES) {
        uint64_t lba = bigEndian(list.data() + at, 8);
        uint64_t left = bigEndian(list.data() + at + 8, 4);
        if (lba >> 48 != 0 || (lba + left) >> 48 != 0) return checkCondition(command, OUT_OF_RANGE);
        while (left != 0) {
            const uint64_t sectors = std::min(left, MAX_ENTRY_SECTORS);
            entries.resize(entries.size() + 8);
            features::nvme::putLe64(entries.data() + entries.size() - 8, lba | sectors << 48);
            lba += sectors;
            left -= sectors;
            if (entries.size() > MAX_ENTRIES * 8) return checkCondition(command, INVALID_PARAMETER);
        }
    }
    if (entries.empty()) return Answer();
    const size_t sectors = (entries.size() + SECTOR_BYTES - 1) / SECTOR_BYTES;
    entries.resize(sectors * SECTOR_BYTES);
    const auto bytes = static_cast<uint32_t>(entries.size());
    return translate(command,
                     {DATA_SET_MANAGEMENT, Protocol::DMA_OUT, true, 1, static_cast<uint16_t>(sectors), 0, 0x40, bytes},
                     entries);
}

Answer testUnitReady(const ScsiCommand& command) {
    return translate(command, {CHECK_POWER_MODE, Protocol::NON_DATA, false, 0, 0, 0, 0, 0});
}

Answer startStop(const ScsiCommand& command) {
    const bool isStart = (command.cdb[4] & 1) != 0;
    return translate(command, {isStart ? IDLE_IMMEDIATE : STANDBY_IMMEDIATE, Protocol::NON_DATA, false, 0, 0, 0, 0, 0});
}

/// The drive reports every error with the command that it is of: there is nothing more to report.
Answer requestSense(const ScsiCommand& command) {
    const bool wantsDescriptor = (command.cdb[1] & 1) != 0;
    const SenseFormat format = wantsDescriptor ? SenseFormat::DESCRIPTOR : SenseFormat::FIXED;
    return parameterData(senseData({0, 0, 0}, format), command.cdb[4]);
}

Answer reportLuns(const ScsiCommand& command) {
    Bytes data(16);  // LUN 0 is 8 zeros
    data[3] = 8;
    return parameterData(std::move(data), bigEndianLength(command.cdb + 6, 4));
}

/// The number of the last sector that the host reaches.
Answer readCapacity10(const ScsiCommand& command) {
    const auto sectors = command.drive.sectors();
    if (!sectors) return checkCondition(command, INTERNAL_FAILURE);
    Answer answer;
    answer.data.resize(8);
    putBigEndian(answer.data.data(), std::min<uint64_t>(*sectors - 1, 0xFFFFFFFF), 4);
    putBigEndian(answer.data.data() + 4, SECTOR_BYTES, 4);
    return answer;
}

Answer readCapacity16(const ScsiCommand& command) {
    constexpr uint8_t READ_CAPACITY = 0x10;
    if ((command.cdb[1] & 0x1F) != READ_CAPACITY) return checkCondition(command, INVALID_FIELD);
    const auto sectors = command.drive.sectors();
    if (!sectors) return checkCondition(command, INTERNAL_FAILURE);
    Bytes data(32);
    putBigEndian(data.data(), *sectors - 1, 8);
    putBigEndian(data.data() + 8, SECTOR_BYTES, 4);
    data[13] = 3;     // 8 logical sectors in a physical one
    data[14] = 0xC0;  // can be unmapped, and reads as zeros then
    return parameterData(std::move(data), bigEndianLength(command.cdb + 10, 4));
}

struct Row {
    uint8_t opcode;
    Answer (*run)(const ScsiCommand& command);
};
constexpr Row ROWS[] = {
    {0x00, testUnitReady},
    {0x03, requestSense},
    {0x08, read},
    {0x0A, write},
    {0x12, inquiry},
    {0x15, modeSelect},
    {0x1A, modeSense},
    {0x1B, startStop},
    {0x25, readCapacity10},
    {0x28, read},
    {0x2A, write},
    {0x2F, verify},
    {0x35, flush},
    {0x42, unmap},
    {0x55, modeSelect},
    {0x5A, modeSense},
    {0x85, passThrough},
    {0x88, read},
    {0x8A, write},
    {0x8F, verify},
    {0x91, flush},
    {0x9E, readCapacity16},
    {0xA0, reportLuns},
    {0xA1, passThrough},
    {0xA2, securityProtocolIn},
    {0xA8, read},
    {0xAA, write},
};

/// What a logical unit that is not there answers.
std::optional<Answer> answerOfNothing(const ScsiCommand& command) {
    constexpr uint8_t INQUIRY = 0x12;
    constexpr uint8_t REPORT_LUNS = 0xA0;
    if (command.cdb[0] == REPORT_LUNS) return std::nullopt;
    return command.cdb[0] == INQUIRY ? inquiryOfNothing(command) : checkCondition(command, NO_LOGICAL_UNIT);
}

}  // namespace

Answer SatDevice::execute(uint64_t lun, const uint8_t* cdb, const Bytes& dataOut, uint32_t expectedBytes) {
    const ScsiCommand command{cdb, dataOut, expectedBytes, drive_, senseFormat_};
    if (lun != 0) {
        if (auto answer = answerOfNothing(command)) return *std::move(answer);
    }
    const auto* row =
        std::find_if(std::begin(ROWS), std::end(ROWS), [cdb](const Row& each) { return each.opcode == cdb[0]; });
    return row == std::end(ROWS) ? checkCondition(command, INVALID_OPCODE) : row->run(command);
}

Answer SatDevice::refuseTransfer(const uint8_t* cdb) {
    const Bytes none;
    return checkCondition({cdb, none, 0, drive_, senseFormat_}, INVALID_FIELD);
}

}  // namespace simdrive::scsi
