#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "features/errors/Result.h"
#include "features/nvme/ControllerIdentity.h"
#include "features/nvme/NvmeCommand.h"
#include "features/simulator/controller/Controller.h"
#include "features/simulator/store/Clock.h"
#include "features/simulator/store/DriveFolder.h"
#include "features/transport/HostCommand.h"
#include "ostrel/core/CommandPath.h"
#include "ostrel/core/CommandResult.h"

namespace features::transport {

/// The transport to a simulated drive: the controller's model in this process, on the drive's folder. Serves the
/// command sets "NVMe" and "Host".
///
/// Ownership: the clock must outlive it. The controller is made at the first command and shared by clones.
/// Units:     the path's time-out is that of every command that has none of its own.
/// Errors:    the Status reports transport errors, the completion the drive's answer, as with a real one: a
///            drive that is gone is 1/19 (ENODEV), one that does not answer 1/4 (EINTR) when the time-out is over.
/// Identity:  what changes the drive, or reads what a change is judged by (NvmeCommand::needsSelectedDrive(), resets),
///            is refused as a drive that is gone when by then the folder is that of another drive than was selected.
/// Threads:   any number at once; the drive carries out one command at a time.
class SimulatedNvmePath : public ostrel::core::CommandPath {
public:
    using Wait = std::function<void(std::chrono::milliseconds)>;

    /// `wait` passes the time that a drive takes not to answer; a test's returns at once.
    /// `locks` is the folder of the locks of drives.
    SimulatedNvmePath(std::string folder, const simulator::Clock& clock, Wait wait, const std::string& locks);

    /// Whose controller this is, for all clones; before the first command. Without it the drive is neither locked nor
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

    /// One command at a time of all threads. `data` as of Controller::execute().
    Result<simulator::CompletionEntry> execute(const nvme::NvmeCommand& command, std::vector<uint8_t>& data);
    ostrel::core::Status sendNvme(const nvme::NvmeCommand& command, const ostrel::core::Payload& payload,
                                  ostrel::core::CommandResult& result);
    /// Of the drive in the folder, in the transaction that is to change it. The caller holds the drive's mutex.
    simulator::Controller::Check identityCheck() const;
    ostrel::core::Status sendHost(const HostCommand& command, ostrel::core::CommandResult& result);

    std::string folder_;
    Wait wait_;
    std::shared_ptr<Drive> drive_;
};

}  // namespace features::transport
