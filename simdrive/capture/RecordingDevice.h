#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "features/ata/AtaCommand.h"
#include "features/ata/AtaResult.h"
#include "features/nvme/Completion.h"
#include "features/nvme/NvmeCommand.h"
#include "features/simulator/store/CapturedAnswers.h"
#include "ostrel/core/Device.h"

namespace simdrive {

/// A drive whose answers to reading commands are kept. What would change the drive is refused (0/34) and not sent:
/// a capture leaves no trace.
///
/// Ownership: `capture` must outlive it.
class RecordingDevice : public ostrel::core::Device {
public:
    RecordingDevice(const ostrel::core::Device& device, features::simulator::CapturedAnswers& capture)
        : Device(device), capture_(capture) {}

    void sendCommand(const ostrel::core::Command& command, ostrel::core::CommandResult& result) override;
    void sendCommand(const ostrel::core::Command& command, ostrel::core::CommandResult& result,
                     const ostrel::core::Payload& payload) override;

    /// Answers that the bounds of a capture left out.
    size_t leftOut() const { return leftOut_; }

private:
    void record(const features::nvme::NvmeCommand& command, const ostrel::core::CommandResult& result);
    void record(const features::ata::AtaCommand& command, const ostrel::core::CommandResult& result);
    /// Puts the bytes at their place in what is there of the answer.
    void keep(const features::simulator::CapturedCommand& command, uint16_t status, uint64_t value,
              const ostrel::core::Payload& data, uint64_t offset);

    features::simulator::CapturedAnswers& capture_;
    size_t leftOut_ = 0;
};

}  // namespace simdrive
