#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "features/errors/Result.h"
#include "features/jobs/base/CloneableJob.h"
#include "features/jobs/drive/HostSide.h"
#include "features/jobs/namespaces/NamespaceCreation.h"
#include "features/jobs/support/WaitClock.h"

namespace features::jobs {

/// Namespaces of one drive: "Action" is "create", "delete", "attach" or "detach".
///
/// What is taken away (delete, detach) must not be in use; partitions alone do not stop it, since the user was asked.
/// Attach and detach work on the drive's own controller unless "NVMeControllerID" names another. After each change the
/// system looks for namespaces again, and its view is waited for, so that a script finds what it has attached.
class NamespaceManagementJob : public CloneableJob<NamespaceManagementJob> {
public:
    explicit NamespaceManagementJob(std::shared_ptr<const WaitClock> clock = systemWaitClock());
    std::unique_ptr<NamespaceManagementJob> makeNew() const { return std::make_unique<NamespaceManagementJob>(clock_); }

protected:
    ostrel::core::Status checkRequest(const Arguments& arguments) override;
    ostrel::core::Status actOnDrive(nvme::Drive& drive, const Arguments& arguments, DriveOutput& out) override;

private:
    using Operation = Result<std::string> (NamespaceManagementJob::*)(nvme::Drive&, const uint8_t*);
    struct ActionRow {
        const char* word;
        bool takesAway;
        Operation operation;
    };
    static const ActionRow ACTIONS[];

    ostrel::core::Status readTarget(const Arguments& arguments);
    ostrel::core::Status checkGate(nvme::Drive& drive) const;
    ostrel::core::Status checkAllocated(nvme::Drive& drive) const;
    // What each action does. `controller`: Identify Controller. The result: what was done, in sentences.
    Result<std::string> create(nvme::Drive& drive, const uint8_t* controller);
    Result<std::string> erase(nvme::Drive& drive, const uint8_t* controller);
    Result<std::string> attach(nvme::Drive& drive, const uint8_t* controller);
    Result<std::string> detach(nvme::Drive& drive, const uint8_t* controller);
    Result<std::string> changeAttachment(nvme::Drive& drive, bool attach, uint16_t own);
    // The commands that change the host's view, and its look at the change, which no signal parts.
    Result<RescanStatus> sendDeletion(nvme::Drive& drive) const;
    Result<RescanStatus> sendAttachment(nvme::Drive& drive, bool attach, uint16_t controllerId) const;
    /// After a look: until the system has the namespace, or has it no longer. The result: its node, empty without one.
    Result<std::string> awaitView(nvme::Drive& drive, bool present) const;

    std::shared_ptr<const WaitClock> clock_;
    // Of the method that runs.
    const ActionRow* action_ = nullptr;
    NamespaceRequest request_;
    uint32_t nsid_ = 0;
    std::optional<uint64_t> controllerId_;
};

}  // namespace features::jobs
