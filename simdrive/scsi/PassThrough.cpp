#include "simdrive/scsi/PassThrough.h"

namespace simdrive::scsi {

using features::ata::Protocol;
using features::simulator::sata::SECTOR_BYTES;
using features::simulator::sata::TaskFile;

namespace {

constexpr uint8_t PASS_THROUGH_16 = 0x85;
constexpr uint8_t CK_COND = 0x20;
constexpr uint8_t T_DIR = 0x08;
constexpr uint8_t BYTE_BLOCK = 0x04;

uint16_t word(uint8_t high, uint8_t low) {
    return static_cast<uint16_t>(high << 8 | low);
}

/// The PROTOCOL field; empty: one that this translator does not carry.
std::optional<Protocol> protocolOf(const uint8_t* cdb) {
    const bool isIn = (cdb[2] & T_DIR) != 0;
    switch (cdb[1] >> 1 & 0xF) {
        case 3:
            return Protocol::NON_DATA;
        case 4:
            return Protocol::PIO_IN;
        case 5:
            return Protocol::PIO_OUT;
        case 6:
            return isIn ? Protocol::DMA_IN : Protocol::DMA_OUT;
        case 10:
            return Protocol::DMA_IN;
        case 11:
            return Protocol::DMA_OUT;
        default:
            return std::nullopt;
    }
}

bool isIn(Protocol protocol) {
    return protocol == Protocol::PIO_IN || protocol == Protocol::DMA_IN;
}

void readRegisters16(const uint8_t* cdb, TaskFile& task) {
    task.is48Bit = (cdb[1] & 1) != 0;
    task.feature = word(task.is48Bit ? cdb[3] : uint8_t{0}, cdb[4]);
    task.count = word(task.is48Bit ? cdb[5] : uint8_t{0}, cdb[6]);
    task.lba = cdb[8] | uint64_t{cdb[10]} << 8 | uint64_t{cdb[12]} << 16;
    if (task.is48Bit) task.lba |= uint64_t{cdb[7]} << 24 | uint64_t{cdb[9]} << 32 | uint64_t{cdb[11]} << 40;
    task.device = cdb[13];
    task.command = cdb[14];
}

void readRegisters12(const uint8_t* cdb, TaskFile& task) {
    task.feature = cdb[3];
    task.count = cdb[4];
    task.lba = cdb[5] | uint64_t{cdb[6]} << 8 | uint64_t{cdb[7]} << 16;
    task.device = cdb[8];
    task.command = cdb[9];
}

/// Bytes that T_LENGTH, BYTE_BLOCK and T_TYPE name; logical sectors are of 512 bytes, too.
uint64_t lengthOf(const ScsiCommand& command, const TaskFile& task) {
    const uint64_t unit = (command.cdb[2] & BYTE_BLOCK) != 0 ? SECTOR_BYTES : 1;
    switch (command.cdb[2] & 3) {
        case 1:
            return task.feature * unit;
        case 2:
            return task.count * unit;
        case 3:
            return command.expectedBytes;
        default:
            return 0;
    }
}

/// Empty: the CDB is not one that can be carried out.
std::optional<TaskFile> taskOf(const ScsiCommand& command) {
    TaskFile task;
    const bool is16 = command.cdb[0] == PASS_THROUGH_16;
    const auto protocol = protocolOf(command.cdb);
    constexpr uint8_t MULTIPLE_COUNT = 0xE0;
    if (!protocol || (command.cdb[1] & MULTIPLE_COUNT) != 0) return std::nullopt;
    task.protocol = *protocol;
    if (is16) {
        readRegisters16(command.cdb, task);
    } else {
        readRegisters12(command.cdb, task);
    }
    if (!task.is48Bit) task.lba |= uint64_t{task.device & 0xFU} << 24;
    if (*protocol == Protocol::NON_DATA) return task;
    const uint64_t length = lengthOf(command, task);
    const bool isRightWay = isIn(*protocol) == ((command.cdb[2] & T_DIR) != 0);
    if (length == 0 || length > MAX_TRANSFER_BYTES || !isRightWay) return std::nullopt;
    if (!isIn(*protocol) && length > command.dataOut.size()) return std::nullopt;
    task.dataBytes = static_cast<uint32_t>(length);
    return task;
}

}  // namespace

Answer passThrough(const ScsiCommand& command) {
    const auto task = taskOf(command);
    if (!task) return checkCondition(command, INVALID_FIELD);
    std::vector<uint8_t> data;
    if (task->protocol != Protocol::NON_DATA && !isIn(task->protocol)) {
        data.assign(command.dataOut.begin(), command.dataOut.begin() + task->dataBytes);
    }
    const AtaEnd end = sendAta(command, *task, data);
    if (!end.isAnswered) return end.failure;
    const auto& registers = end.completion.registers;
    const bool hasFailed = isFailed(registers);
    Answer answer;
    if (isIn(task->protocol)) answer.data = std::move(data);
    answer.delayMs = end.completion.delayMs;
    if (!hasFailed && (command.cdb[2] & CK_COND) == 0) return answer;
    const SenseCode code = hasFailed ? senseOf(registers) : ATA_INFORMATION;
    answer.status = STATUS_CHECK_CONDITION;
    answer.sense = end.completion.hasRegisters ? ataSenseData(code, command.senseFormat, registers, task->is48Bit)
                                               : senseData(code, SenseFormat::FIXED);
    return answer;
}

}  // namespace simdrive::scsi
