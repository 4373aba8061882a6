#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "features/errors/Result.h"
#include "features/jobs/base/Arguments.h"
#include "features/jobs/drive/HostSide.h"
#include "features/jobs/erase/Erasure.h"
#include "features/jobs/support/ProgressLine.h"
#include "features/jobs/support/WaitClock.h"
#include "features/nvme/ControllerCapabilities.h"
#include "features/nvme/Drive.h"
#include "features/nvme/NamespaceIds.h"
#include "features/nvme/NamespaceProperties.h"
#include "ostrel/core/SignalBlock.h"
#include "ostrel/core/Status.h"

namespace features::jobs {

/// What is asked of Format NVM. What is not given stays on each namespace as it is.
struct FormatRequest {
    /// Absent: the namespace that the path names, otherwise all.
    std::optional<uint32_t> nsid;
    bool partitionsCount = true;
    uint8_t secureErase = 0;  ///< 0 none, 1 user data erase, 2 cryptographic erase
    std::optional<uint8_t> lbaFormat;
    std::optional<uint8_t> protectionType;
    std::optional<uint8_t> protectionFirst;   ///< 1: in the first eight bytes of the metadata
    std::optional<uint8_t> metadataExtended;  ///< 1: after the data of each block
};

/// Reads the arguments of the type "NVMeFormat". A number that its field cannot hold is refused by the catalogue's
/// status for that field.
Result<FormatRequest> readFormatRequest(const Arguments& arguments);

/// Formats one namespace or all, and waits until the drive has done it (NVMe Base Specification 1.4, section 5.23).
///
///   - What is asked for is checked against the drive's limits for every namespace before the first is touched.
///   - A drive that formats or erases all its namespaces together gets one command, and none when only one of several
///     namespaces was asked for (10/242): nothing goes that was not named.
///   - A drive that reports the end of the command before that of the format is watched until it has ended.
///   - At the end the namespaces are read again, and one that is not as it was asked for is a failure.
///   - A signal that ends the process waits until the host has looked at each namespace that was formatted, unless the
///     drive goes on formatting after its command.
///
/// A format may take long, and a command whose time runs out makes the system reset the drive in the middle of it: it
/// gets an hour, and the time of writing all that is to be formatted at 1 GB/s.
class FormatNvm {
public:
    FormatNvm(nvme::Drive& drive, const WaitClock& clock, Erasure& erasure)
        : drive_(drive), clock_(clock), erasure_(erasure) {}

    /// What became of each namespace, in sentences.
    Result<std::string> run(const FormatRequest& request);

private:
    /// A namespace, and what it is to become.
    struct Target {
        uint32_t nsid;
        nvme::NamespaceProperties before;
        uint8_t lbaFormat;
        uint8_t protectionType;
        bool protectionFirst;
        bool metadataExtended;

        const nvme::NamespaceProperties::LbaFormat& format() const { return before.formats[lbaFormat]; }
        /// Whether a namespace with these properties is as it was asked for.
        bool isReachedIn(const nvme::NamespaceProperties& now) const;
        uint32_t commandDword(uint8_t secureErase) const;
    };
    /// One command.
    struct Step {
        uint32_t nsid;
        uint32_t gate;                ///< what it may reach
        std::vector<size_t> targets;  ///< whose end it is
    };

    ostrel::core::Status checkGate(uint32_t nsid) const;
    ostrel::core::Status checkController(const nvme::ControllerCapabilities& controller) const;
    ostrel::core::Status findTargets(const nvme::ControllerCapabilities& controller);
    Result<Target> resolve(uint32_t nsid, const nvme::NamespaceProperties& before) const;
    ostrel::core::Status checkProtection(const Target& target) const;
    Result<std::vector<Step>> plan(const nvme::ControllerCapabilities& controller) const;
    ostrel::core::Status checkTogether(const nvme::ControllerCapabilities& controller, bool formatsAll) const;
    Result<RescanStatus> perform(const nvme::ControllerCapabilities& controller, const Step& step);
    /// Releases `block` where the end does not come with the command.
    ostrel::core::Status awaitEnd(const nvme::ControllerCapabilities& controller, const Target& target,
                                  uint64_t deadline, std::optional<ostrel::core::SignalBlock>& block,
                                  ProgressLine& line);
    ostrel::core::Status checkReached(const Target& target, const nvme::NamespaceProperties& now) const;
    uint32_t timeoutMs() const;
    std::string name(const Target& target) const;
    std::string outcome(const Target& target) const;

    nvme::Drive& drive_;
    const WaitClock& clock_;
    Erasure& erasure_;
    FormatRequest request_;
    uint32_t nsid_ = nvme::NSID_ALL;
    std::vector<Target> targets_;
};

}  // namespace features::jobs
