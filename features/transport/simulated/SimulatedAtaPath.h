#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "features/ata/AtaCommand.h"
#include "features/errors/Result.h"
#include "features/nvme/ControllerIdentity.h"
#include "features/simulator/sata/SataDrive.h"
#include "features/simulator/store/Clock.h"
#include "features/simulator/store/DriveFolder.h"
#include "features/transport/HostCommand.h"
#include "ostrel/core/CommandPath.h"
#include "ostrel/core/CommandResult.h"

namespace features::transport {

/// The transport to a simulated SATA drive: the drive in this process, on its folder. Serves the command sets "ATA" and
/// "Host".
///
/// Ownership: the clock must outlive it. The drive is made once and shared by clones.
/// Units:     the path's time-out is that of every command that has none of its own.
/// Errors:    the Status reports transport errors, the registers the drive's answer, as with a real one: a drive that
///            is gone is 1/19 (ENODEV), one that does not answer, or is busy for longer, 1/4 (EINTR) when the time-out
///            is over.
/// Identity:  what changes the drive, or reads what a change is judged by (AtaCommand::needsSelectedDrive()),
///            is refused as a drive that is gone when by then the folder is that of another drive than was selected.
/// Threads:   any number at once; the drive carries out one command at a time.
class SimulatedAtaPath : public ostrel::core::CommandPath {
public:
    using Wait = std::function<void(std::chrono::milliseconds)>;

    /// `wait` passes the time that a drive takes; a test's returns at once.
    /// `locks` is the folder of the locks of drives.
    SimulatedAtaPath(std::string folder, const simulator::Clock& clock, Wait wait, const std::string& locks);

    /// Which drive this is, for all clones; before the first command. Without it the drive is neither locked nor
    /// changed.
    void select(const nvme::ControllerIdentity& identity);
    /// The same, by what the scan read of the drive: its description is not parsed again.
    void select(const simulator::DriveFolder::Identity& identity);

    std::unique_ptr<CommandPath> clone() const override;
    ostrel::core::CommandResult send(const ostrel::core::Command& command, const ostrel::core::Payload& payload,
                                     const ostrel::core::AttributeList& attributes) override;
    bool isSupported(const ostrel::core::AttributeList& attributes) const override;

private:
    struct Drive;

    Result<simulator::sata::Completion> execute(const ata::AtaCommand& command, std::vector<uint8_t>& data);
    ostrel::core::Status sendAta(const ata::AtaCommand& command, const ostrel::core::Payload& payload,
                                 ostrel::core::CommandResult& result);
    Result<simulator::sata::Completion> answerInTime(const ata::AtaCommand& command, std::vector<uint8_t>& data);
    /// Of the drive in the folder, in the transaction that is to change it.
    simulator::sata::SataDrive::Check identityCheck() const;
    ostrel::core::Status sendHost(const HostCommand& command, ostrel::core::CommandResult& result);
    Result<HostNamespace> disk();

    std::string folder_;
    Wait wait_;
    std::shared_ptr<Drive> drive_;
};

}  // namespace features::transport
