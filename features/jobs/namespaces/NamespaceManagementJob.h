#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "features/jobs/base/CloneableJob.h"
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
    using Operation = ostrel::core::Status (NamespaceManagementJob::*)(nvme::Drive&, const uint8_t*, std::string&);
    struct ActionRow {
        const char* word;
        bool takesAway;
        Operation operation;
    };
    static const ActionRow ACTIONS[];

    ostrel::core::Status readTarget(const Arguments& arguments);
    ostrel::core::Status checkGate(nvme::Drive& drive) const;
    ostrel::core::Status checkAllocated(nvme::Drive& drive) const;
    // What each action does. `controller`: Identify Controller. `report`: what was done, in sentences.
    ostrel::core::Status create(nvme::Drive& drive, const uint8_t* controller, std::string& report);
    ostrel::core::Status erase(nvme::Drive& drive, const uint8_t* controller, std::string& report);
    ostrel::core::Status attach(nvme::Drive& drive, const uint8_t* controller, std::string& report);
    ostrel::core::Status detach(nvme::Drive& drive, const uint8_t* controller, std::string& report);
    ostrel::core::Status changeAttachment(nvme::Drive& drive, bool attach, uint16_t own, std::string& report);
    // The commands that change the host's view, and its look at the change, which no signal parts. `seen`: of the look.
    ostrel::core::Status sendDeletion(nvme::Drive& drive, ostrel::core::Status& seen) const;
    ostrel::core::Status sendAttachment(nvme::Drive& drive, bool attach, uint16_t controllerId,
                                        ostrel::core::Status& seen) const;
    /// After a look: until the system has the namespace, or has it no longer; `node`: where it is.
    ostrel::core::Status awaitView(nvme::Drive& drive, bool present, std::string& node) const;

    std::shared_ptr<const WaitClock> clock_;
    // Of the method that runs.
    const ActionRow* action_ = nullptr;
    NamespaceRequest request_;
    uint32_t nsid_ = 0;
    std::optional<uint64_t> controllerId_;
};

}  // namespace features::jobs
