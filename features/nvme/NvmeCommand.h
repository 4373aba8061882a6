#pragma once

#include <cstdint>
#include <iosfwd>
#include <memory>
#include <string>

#include "ostrel/core/Command.h"

namespace features::nvme {

/// The name of the NVMe command set in a device's table of command sets.
inline constexpr const char* COMMAND_SET_NVME = "NVMe";

/// The submission queue a command goes to.
enum class Queue : uint8_t { ADMIN, IO };

/// Which way the data goes. In an opcode of the NVMe Base Specification the two low bits encode it.
enum class Transfer : uint8_t { NONE, TO_CONTROLLER, FROM_CONTROLLER, BIDIRECTIONAL };

/// One NVMe command: what a host fills of a submission queue entry (NVMe Base Specification 1.4, figure 105), without
/// the data pointers, which are the transport's affair. Data to the controller is the payload given to
/// Device::sendCommand; data from the controller is returned in CommandResult's input payload, `dataLength` bytes long.
///
/// Metadata that a Read brings beside its data, in a buffer of its own, is taken and dropped: it is unused here.
///
/// Units: dataLength and metadataLength in bytes; timeoutMs in milliseconds, 0: the path's own time-out.
class NvmeCommand : public ostrel::core::Command {
public:
    NvmeCommand(Queue queue, uint8_t opcode, std::string name);
    using Command::operator=;  // not hidden by this class's own

    std::unique_ptr<ostrel::core::Command> clone() const override;
    void toString(std::ostream& out) const override;
    std::unique_ptr<ostrel::core::xml::XmlObject> toXml() const override;

    /// Whether it may change the drive: its data, its state, or what it reports. False for what is known to read alone;
    /// a Get Log Page with a Log Specific Field is not, since that makes a drive capture telemetry data or hold a
    /// persistent event log, nor a Security Receive of a session.
    bool changesDrive() const;
    /// Whether the path must know the drive as the one that was selected before it sends the command.
    bool needsSelectedDrive() const { return onlySelectedDrive || changesDrive(); }
    Transfer transfer() const { return static_cast<Transfer>(opcode & 3); }

    Queue queue;
    uint8_t opcode;
    uint32_t nsid = 0;
    uint32_t cdw2 = 0;
    uint32_t cdw3 = 0;
    uint32_t cdw10 = 0;
    uint32_t cdw11 = 0;
    uint32_t cdw12 = 0;
    uint32_t cdw13 = 0;
    uint32_t cdw14 = 0;
    uint32_t cdw15 = 0;
    uint32_t dataLength = 0;
    uint32_t metadataLength = 0;
    uint32_t timeoutMs = 0;
    /// For a command that reads what a change of the drive is judged by.
    bool onlySelectedDrive = false;
};

}  // namespace features::nvme
