#include "features/simulator/sata/Replay.h"

#include <algorithm>
#include <iterator>

#include "features/simulator/store/CapturedTaskFile.h"

namespace features::simulator::sata {

namespace {

/// Reads of sectors, flushes and power modes: they change nothing that a host sees.
constexpr uint8_t OF_MODEL[] = {0x20, 0x24, 0x25, 0x40, 0x42, 0xC8, 0xE0, 0xE1, 0xE2, 0xE3, 0xE5, 0xE7, 0xEA};

ata::Registers answered(const CapturedAnswer& answer, SataContext& context) {
    constexpr uint8_t DEVICE = 0x40;
    const auto error = static_cast<uint8_t>(answer.status);
    const auto status = static_cast<uint8_t>(answer.status >> 8);
    const auto count = static_cast<uint16_t>(answer.result >> CAPTURED_LBA_BITS);
    const uint64_t lba = answer.result & ((uint64_t{1} << CAPTURED_LBA_BITS) - 1);
    const ata::Registers registers{error, status, DEVICE, count, lba};
    const bool isGood = (status & (ata::STATUS_ERROR | ata::STATUS_DEVICE_FAULT)) == 0;
    context.data.assign(isGood ? context.command.dataBytes : 0, 0);
    const uint64_t offset = capturedOffset(context.command.command, context.command.lba);
    if (offset >= answer.data.size()) return registers;
    const auto bytes = std::min<uint64_t>(context.data.size(), answer.data.size() - offset);
    std::copy_n(answer.data.begin() + static_cast<std::ptrdiff_t>(offset), bytes, context.data.begin());
    return registers;
}

}  // namespace

std::optional<ata::Registers> replay(const CapturedAnswers& capture, SataContext& context) {
    const TaskFile& command = context.command;
    const auto key = capturedCommand(command.command, command.feature, command.lba);
    const CapturedAnswer* const answer = key ? capture.find(*key) : nullptr;
    if (answer != nullptr) return answered(*answer, context);
    if (std::find(std::begin(OF_MODEL), std::end(OF_MODEL), command.command) != std::end(OF_MODEL)) return std::nullopt;
    context.data.clear();
    return aborted();
}

}  // namespace features::simulator::sata
