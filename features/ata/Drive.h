#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "features/ata/AtaCommand.h"
#include "features/ata/AtaError.h"
#include "features/ata/AtaResult.h"
#include "features/ata/Identity.h"
#include "features/ata/SanitizeState.h"
#include "features/ata/SelfTests.h"
#include "features/errors/Result.h"
#include "ostrel/core/Device.h"
#include "ostrel/core/Payload.h"
#include "ostrel/core/Status.h"

namespace features::ata {

/// What a command brought back: the drive's result, and the data when the command reads.
struct Answer {
    AtaResult result;
    ostrel::core::Payload data;
};

/// A SATA drive as the jobs see it: the operations of the ATA standard over Device::sendCommand, and what was already
/// asked of it. Nothing is asked before a caller needs it, and IDENTIFY DEVICE and the lists of logs at most once.
///
/// Identity:  after a command for the selected drive alone (AtaCommand::needsSelectedDrive()), whether or not it came
/// to
///            the drive, every other one is, too: what is read then shows what became of a change.
/// Ownership: the device must outlive it.
/// Errors:    a transport error is reported by the transport's own status. A command that the drive failed is 0/10; its
///            message names command, drive, what ERROR and STATUS mean, and the registers, which the error holds. Less
///            data than was asked for is 10/33. Numbers that do not fit a register are 0/14, and nothing is sent.
/// Threads:   one at a time per object; different devices side by side.
class Drive {
public:
    explicit Drive(ostrel::core::Device& device) : device_(device) {}

    ostrel::core::Device& device() { return device_; }
    const ostrel::core::Device& device() const { return device_; }
    std::string serialNumber() const;
    /// "S123 (/dev/sda)": how a message names the drive.
    std::string name() const;

    /// Sends one command. `toDrive` goes with commands that write data.
    Result<Answer, AtaError> send(const AtaCommand& command, const ostrel::core::Payload& toDrive = {});
    /// Sends one command whose result is in the registers. 0/15 to 0/18, 0/91 or 0/92 where it succeeded and a register
    /// is missing.
    Result<Registers, AtaError> sendForRegisters(const AtaCommand& command, const ostrel::core::Payload& toDrive = {});

    /// IDENTIFY DEVICE, asked once. The object belongs to the drive object. 10/33 when what came is not of an ATA
    /// drive.
    Result<const Identity*, AtaError> identify();
    /// The same, asked of the drive again: right before a command that depends on its state.
    Result<const Identity*, AtaError> identifyAgain();
    /// The 512 bytes.
    Result<ostrel::core::Payload, AtaError> identifyData();

    /// Number of pages of a log in the directory of the general purpose logs; 0 for one that is not there, and for a
    /// drive without such logs.
    Result<uint16_t, AtaError> pagesOfLog(uint8_t address);
    /// `count` pages of a general purpose log from `first` on, in pieces that the system takes.
    Result<ostrel::core::Payload, AtaError> readLog(uint8_t address, uint16_t first, uint32_t count);
    /// One page, with a log specific FEATURE.
    Result<ostrel::core::Payload, AtaError> readLogPage(uint8_t address, uint16_t page, uint16_t feature = 0);
    /// A log of SMART, 512 bytes a page.
    Result<ostrel::core::Payload, AtaError> readSmartLog(uint8_t address, uint8_t pages = 1);
    /// A page of a log whose page 00h lists the others; empty for one that the drive does not list.
    Result<std::optional<ostrel::core::Payload>, AtaError> readListedPage(uint8_t address, uint8_t page);

    /// SMART READ DATA. 10/60 when SMART is not enabled, 10/3 when the drive does not support it.
    Result<ostrel::core::Payload, AtaError> smartData();
    /// SMART READ THRESHOLDS; empty on a drive that refuses this obsolete command.
    Result<ostrel::core::Payload, AtaError> smartThresholds();
    /// SMART RETURN STATUS; UNKNOWN for any value of the registers but the two of the standard.
    enum class Health : uint8_t { GOOD, THRESHOLD_EXCEEDED, UNKNOWN };
    Result<Health, AtaError> smartHealth();

    /// What the drive remembers of its self-tests, the newest first: from log 07h, or where there is none from log 06h.
    Result<std::vector<SelfTestResult>, AtaError> selfTests();

    /// TRUSTED RECEIVE of so many bytes, in blocks of 512: the list of security protocols, or TCG's Level 0 Discovery.
    Result<ostrel::core::Payload, AtaError> trustedReceive(const CommandRow& row, uint32_t bytes);

    /// SANITIZE STATUS EXT.
    Result<SanitizeState, AtaError> sanitizeState();

private:
    ostrel::core::Status requireSmart();
    Result<ostrel::core::Payload, AtaError> readLogPages(uint8_t address, uint16_t page, uint32_t count,
                                                         uint16_t feature);
    ostrel::core::Status failure(const AtaCommand& command, const AtaResult& result) const;
    Result<ostrel::core::Payload, AtaError> readSmartPage(const CommandRow& row);
    ostrel::core::Status notAta() const;
    ostrel::core::Status noData(const AtaCommand& command) const;

    ostrel::core::Device& device_;
    bool isOnlySelected_ = false;  ///< all that is sent
    std::optional<Identity> identity_;
    ostrel::core::Payload identifyData_;
    std::optional<ostrel::core::Payload> directory_;      ///< no bytes: there is none
    std::map<uint8_t, ostrel::core::Payload> pageLists_;  ///< page 00h by log
};

}  // namespace features::ata
