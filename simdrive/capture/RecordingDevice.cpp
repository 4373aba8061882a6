#include "simdrive/capture/RecordingDevice.h"

#include <algorithm>
#include <optional>

#include "features/nvme/Opcodes.h"
#include "features/simulator/store/CapturedTaskFile.h"
#include "ostrel/core/CommandResult.h"
#include "ostrel/core/Payload.h"
#include "ostrel/core/StatusCatalogue.h"

namespace simdrive {

using namespace features;
using namespace ostrel::core;
using simulator::CapturedAnswer;
using simulator::CapturedAnswers;
using simulator::CapturedCommand;

void RecordingDevice::sendCommand(const Command& command, CommandResult& result) {
    sendCommand(command, result, Payload());
}

void RecordingDevice::sendCommand(const Command& command, CommandResult& result, const Payload& payload) {
    const auto* const nvme = dynamic_cast<const nvme::NvmeCommand*>(&command);
    const auto* const ata = dynamic_cast<const ata::AtaCommand*>(&command);
    if ((nvme != nullptr && nvme->changesDrive()) || (ata != nullptr && ata->changesDrive())) {
        result = CommandResult();
        result.command = command.clone();
        result.status = statuses::featureNotSupported();
        return;
    }
    Device::sendCommand(command, result, payload);
    if (failed(result.status)) return;
    if (nvme != nullptr) record(*nvme, result);
    if (ata != nullptr) record(*ata, result);
}

void RecordingDevice::record(const nvme::NvmeCommand& command, const CommandResult& result) {
    const auto* const completion = dynamic_cast<const nvme::Completion*>(result.protocolResult.get());
    if (completion == nullptr || command.queue != nvme::Queue::ADMIN) return;
    const auto key =
        simulator::capturedCommand(command.opcode, command.nsid, command.cdw10, command.cdw11, command.cdw14);
    if (!key) return;
    const bool isLog = command.opcode == nvme::OPC_GET_LOG_PAGE;
    const uint64_t offset = isLog ? command.cdw12 | uint64_t{command.cdw13} << 32 : 0;
    if (!completion->isSuccess() && capture_.find(*key) != nullptr) return;  // a piece past the end of a log, say
    keep(*key, completion->statusField, completion->dword0, result.inputPayload, offset);
}

void RecordingDevice::record(const ata::AtaCommand& command, const CommandResult& result) {
    const auto* const end = dynamic_cast<const ata::AtaResult*>(result.protocolResult.get());
    if (end == nullptr) return;
    const auto key = simulator::capturedCommand(command.opcode, command.feature, command.lba);
    if (!key) return;
    if (!end->succeeded && capture_.find(*key) != nullptr) return;
    constexpr ata::Registers READY{0, 0x50, 0, 0, 0};
    constexpr ata::Registers ABORTED{ata::ERROR_ABORT, 0x50 | ata::STATUS_ERROR, 0, 0, 0};
    ata::Registers registers = end->registers.value_or(READY);
    const bool saysFailure = (registers.status & (ata::STATUS_ERROR | ata::STATUS_DEVICE_FAULT)) != 0;
    // Registers that were lost do not make a success of a failure.
    if (!end->succeeded && !saysFailure) registers = ABORTED;
    const auto status = static_cast<uint16_t>(registers.status << 8 | registers.error);
    const uint64_t value = registers.lba | uint64_t{registers.count} << simulator::CAPTURED_LBA_BITS;
    keep(*key, status, value, result.inputPayload, simulator::capturedOffset(command.opcode, command.lba));
}

void RecordingDevice::keep(const CapturedCommand& command, uint16_t status, uint64_t value, const Payload& data,
                           uint64_t offset) {
    const auto known = capture_.answers.find(command);
    const bool isKnown = known != capture_.answers.end();
    const uint64_t end = offset + data.getSize();
    const size_t held = isKnown ? known->second.data.size() : 0;
    const size_t more = end > held ? static_cast<size_t>(end - held) : 0;
    if (end > CapturedAnswers::MAX_ANSWER_BYTES || !capture_.hasRoom(more)) {
        ++leftOut_;
        return;
    }
    CapturedAnswer& answer = capture_.answers[command];
    answer.status = status;
    answer.result = value;
    if (more != 0) answer.data.resize(static_cast<size_t>(end));
    std::copy_n(data.getData(), data.getSize(), answer.data.begin() + static_cast<std::ptrdiff_t>(offset));
}

}  // namespace simdrive
