#pragma once

#include <cstdint>
#include <iosfwd>
#include <memory>
#include <string>

#include "features/ata/Commands.h"
#include "ostrel/core/Command.h"

namespace features::ata {

/// The name of the ATA command set in a device's table of command sets.
inline constexpr const char* COMMAND_SET_ATA = "ATA";

/// One ATA command: the registers that a host writes (ACS-4 clause 7). Data to the drive is the payload given to
/// Device::sendCommand; data from the drive is returned in CommandResult's input payload, `dataLength` bytes long.
/// The protocol result is an AtaResult.
///
/// Units: dataLength in bytes, always exactly what the drive transfers; timeoutMs in milliseconds, 0: the path's own
///        time-out.
class AtaCommand : public ostrel::core::Command {
public:
    AtaCommand(uint8_t opcode, Protocol protocol, Addressing addressing, std::string name);
    /// A command of the table with the row's registers; the caller adds its parameters.
    explicit AtaCommand(const CommandRow& row);
    using Command::operator=;  // not hidden by this class's own

    std::unique_ptr<ostrel::core::Command> clone() const override;
    void toString(std::ostream& out) const override;
    std::unique_ptr<ostrel::core::xml::XmlObject> toXml() const override;

    /// Whether it may change the drive: its data, its state, or what it reports. False for what is known to read alone;
    /// reading a log with a FEATURE is not, since that makes a drive capture its internal status, or resets counters.
    bool changesDrive() const;
    /// Whether the path must know the drive as the one that was selected before it sends the command.
    bool needsSelectedDrive() const { return onlySelectedDrive || changesDrive(); }
    /// Whether each register holds no more than the command's addressing has, and DEVICE no bits of the LBA.
    bool isEncodable() const;
    /// Whether data is transferred, and which way.
    bool readsData() const { return protocol == Protocol::PIO_IN || protocol == Protocol::DMA_IN; }
    bool writesData() const { return protocol == Protocol::PIO_OUT || protocol == Protocol::DMA_OUT; }

    uint8_t opcode;
    Protocol protocol;
    Addressing addressing;
    uint16_t feature = 0;
    uint16_t count = 0;
    uint64_t lba = 0;
    uint8_t device = 0;  ///< without LBA 27:24, which are part of `lba`
    uint32_t dataLength = 0;
    /// Whether the drive's registers are wanted after a success, too. After an error they are always asked for.
    bool wantsRegisters = false;
    uint32_t timeoutMs = 0;
    /// For a command that reads what a change of the drive is judged by.
    bool onlySelectedDrive = false;
};

}  // namespace features::ata
