#pragma once

#include <cstdint>
#include <optional>

#include "features/errors/Result.h"
#include "features/jobs/drive/DrivesWithoutOcp.h"
#include "features/nvme/CommandError.h"
#include "features/nvme/ControllerCapabilities.h"
#include "features/nvme/Drive.h"
#include "features/nvme/NamespaceProperties.h"
#include "features/transport/HostCommand.h"

namespace features::jobs {

/// What is known of a drive, each part read when it is first needed, and at most once.
///
/// A part that the drive refuses, or that is not there, is null: a missing log page is no failure of the drive. A
/// transport error is one: it stays in failure(), and from then on nothing more is asked.
///
/// Ownership: the drive must outlive it; what is handed out belongs to it.
class DriveFacts {
public:
    /// `withoutOcp`, which must outlive it, knows drives that need not be asked for pages of OCP.
    explicit DriveFacts(nvme::Drive& drive, DrivesWithoutOcp* withoutOcp = nullptr)
        : drive_(drive), withoutOcp_(withoutOcp) {}

    nvme::Drive& drive() { return drive_; }
    const ostrel::core::Status& failure() const { return failure_; }
    /// Of a question that another asked for a fact: a transport error stays in failure(), a refusal does not.
    void noteError(const ostrel::core::Status& error);

    const nvme::ControllerCapabilities* controller();
    /// The 4,096 bytes of Identify Controller.
    const uint8_t* identifyController();
    /// The namespace that the user's path named, otherwise the first that is attached.
    const transport::HostNamespace* hostNamespace();
    const nvme::NamespaceProperties* namespaceProperties();
    /// 4,096 bytes.
    const uint8_t* identifyNamespace();
    /// The 512 bytes of the SMART / Health Information log.
    const uint8_t* smart();
    /// Why smart() is null on a controller that must have the log: its health is not known. A success otherwise.
    ostrel::core::Status smartRefusal();
    /// The 512 bytes of the Firmware Slot Information log.
    const uint8_t* firmwareSlots();
    /// The 512 bytes of the OCP SMART log, on drives that are known to have it.
    const uint8_t* ocpSmart();
    /// Where the controller sits; null when the host cannot say.
    const transport::HostLocation* location();
    /// All namespaces that are attached.
    const std::vector<transport::HostNamespace>* hostNamespaces();
    /// The same namespaces, with the sizes that the host gives them.
    const std::vector<transport::HostNamespace>* hostSizes();
    const transport::HostNamespace* hostSize();

private:
    /// A structure that was asked for: empty when the drive does not support it.
    using Part = std::optional<ostrel::core::Payload>;

    const uint8_t* logPage(Part& part, uint8_t lid);
    /// A discovery or administrative controller need not have the log.
    bool mayLackSmart();
    /// Of those that are attached: see hostNamespace().
    const transport::HostNamespace* wanted(const std::vector<transport::HostNamespace>* all) const;
    const uint8_t* bytesOf(const Part& part) const;
    bool mayAsk() const { return succeeded(failure_); }
    /// The result, or nothing; a transport error is kept.
    template <typename T, typename E>
    std::optional<T> accept(Result<T, E>&& result);

    Result<ostrel::core::Payload> readOcpSmart();

    nvme::Drive& drive_;
    DrivesWithoutOcp* withoutOcp_;
    ostrel::core::Status failure_;
    std::optional<nvme::ControllerCapabilities> controller_;
    std::optional<nvme::NamespaceProperties> namespaceProperties_;
    std::optional<std::vector<transport::HostNamespace>> host_;
    std::optional<std::vector<transport::HostNamespace>> sizes_;
    std::optional<transport::HostLocation> location_;
    Part identifyNamespace_;
    Part smart_;
    std::optional<nvme::CommandError> smartRefusal_;
    Part firmwareSlots_;
    Part ocpSmart_;
};

}  // namespace features::jobs
