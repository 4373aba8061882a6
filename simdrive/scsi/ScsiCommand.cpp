#include "simdrive/scsi/ScsiCommand.h"

#include <algorithm>

namespace simdrive::scsi {

using features::simulator::sata::Delivery;
using features::simulator::sata::TaskFile;
using Bytes = std::vector<uint8_t>;

Answer checkCondition(const ScsiCommand& command, const SenseCode& code) {
    Answer answer;
    answer.status = STATUS_CHECK_CONDITION;
    answer.sense = senseData(code, command.senseFormat);
    return answer;
}

Answer parameterData(Bytes data, size_t allocationLength) {
    Answer answer;
    answer.data = std::move(data);
    answer.data.resize(std::min(answer.data.size(), allocationLength));
    return answer;
}

AtaEnd sendAta(const ScsiCommand& command, const TaskFile& task, Bytes& data) {
    AtaEnd end;
    const auto completion = command.drive.execute(task, data);
    if (!completion) {  // the drive's folder is damaged, or the disk under it is full
        end.failure = checkCondition(command, INTERNAL_FAILURE);
        return end;
    }
    switch (completion->delivery) {
        case Delivery::COMPLETED:
            end.isAnswered = true;
            end.completion = *completion;
            break;
        case Delivery::BUSY:
            end.failure.delivery = Answer::Delivery::BUSY;
            end.failure.delayMs = completion->delayMs;
            break;
        case Delivery::NEVER:
            end.failure.delivery = Answer::Delivery::NEVER;
            break;
        case Delivery::GONE:
            end.failure = checkCondition(command, NOT_READY);
            break;
    }
    return end;
}

Answer translate(const ScsiCommand& command, const TaskFile& task, Bytes data) {
    const AtaEnd end = sendAta(command, task, data);
    if (!end.isAnswered) return end.failure;
    const auto& registers = end.completion.registers;
    Answer answer = isFailed(registers) ? checkCondition(command, senseOf(registers)) : Answer();
    const bool isRead =
        task.protocol == features::ata::Protocol::DMA_IN || task.protocol == features::ata::Protocol::PIO_IN;
    if (!isFailed(registers) && isRead) {
        data.resize(task.dataBytes);  // of a success that did nothing there are fewer
        answer.data = std::move(data);
    }
    answer.delayMs = end.completion.delayMs;
    return answer;
}

uint64_t bigEndian(const uint8_t* at, size_t bytes) {
    uint64_t number = 0;
    for (size_t i = 0; i < bytes; ++i) number = number << 8 | at[i];
    return number;
}

size_t bigEndianLength(const uint8_t* at, size_t bytes) {
    return static_cast<uint32_t>(bigEndian(at, bytes));
}

void putBigEndian(uint8_t* at, uint64_t number, size_t bytes) {
    for (size_t i = 0; i < bytes; ++i) at[i] = static_cast<uint8_t>(number >> 8 * (bytes - 1 - i));
}

}  // namespace simdrive::scsi
