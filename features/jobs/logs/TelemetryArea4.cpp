#include "features/jobs/logs/TelemetryArea4.h"

#include <cerrno>
#include <vector>

#include "features/errors/PayloadCopy.h"
#include "features/jobs/drive/LogReading.h"
#include "features/jobs/support/StatusDetails.h"
#include "features/nvme/ControllerCapabilities.h"
#include "features/nvme/FeatureIds.h"
#include "features/nvme/structures/FeatureData.h"
#include "ostrel/core/Payload.h"
#include "ostrel/core/SignalBlock.h"
#include "ostrel/core/StatusCatalogue.h"

namespace features::jobs {

using namespace ostrel::core;
using nvme::CommandError;
using nvme::HostBehaviorSupport;

namespace {

constexpr uint8_t ETDAS_SUPPORTED = 1;

/// Passes a log on until a signal wants the process to end.
class StoppingSink : public LogSink {
public:
    StoppingSink(LogSink& log, const SignalBlock& block) : log_(log), block_(block) {}

    Status begin(uint64_t bytes) override { return log_.begin(bytes); }
    Status add(const uint8_t* data, size_t bytes) override {
        if (block_.isEndPending()) return Status(CATEGORY_OS, EINTR, "Interrupted by a signal.");
        return log_.add(data, bytes);
    }

private:
    LogSink& log_;
    const SignalBlock& block_;
};

Status requireArea4(nvme::Drive& drive) {
    TRY(const uint8_t* const identify, drive.identifyController());
    if (nvme::ControllerCapabilities(identify).supportsTelemetryArea4()) return Status();
    return withDetails(statuses::driveDoesNotSupportFeature(),
                       "Drive " + drive.name() + " has no telemetry data area 4.");
}

nvme::FeatureRequest hostBehavior() {
    nvme::FeatureRequest request;
    request.fid = nvme::FID_HOST_BEHAVIOR_SUPPORT;
    request.dataLength = sizeof(HostBehaviorSupport);
    return request;
}

Result<HostBehaviorSupport, CommandError> readHostBehavior(nvme::Drive& drive) {
    TRY(const nvme::Answer answer, drive.getFeature(hostBehavior(), nvme::Select::CURRENT));
    return nvme::structureAt<HostBehaviorSupport>(answer.data.getData());
}

Result<void, CommandError> writeEtdas(nvme::Drive& drive, HostBehaviorSupport behavior, uint8_t value) {
    behavior.etdas = value;
    const std::vector<uint8_t> bytes = nvme::bytesOf(behavior);
    RETURN_IF_FAILED(drive.setFeature(hostBehavior(), false, copyOf(bytes.data(), bytes.size())));
    return {};
}

/// Linux sets the feature itself, without Extended Telemetry Data Area 4 Supported, after each Set Features of a drive
/// that reports (log page 05h) that the command changes the capabilities of the controller. The drive would hand out a
/// log without data area 4 then.
Result<void, CommandError> checkKept(nvme::Drive& drive) {
    TRY(const HostBehaviorSupport now, readHostBehavior(drive));
    if (now.etdas == ETDAS_SUPPORTED) return {};
    return withDetails(statuses::telemetryRetrievalFailed(),
                       "Drive " + drive.name() +
                           " does not keep Extended Telemetry Data Area 4 Supported (feature 0x16): the operating "
                           "system sets that feature itself, or the drive was reset.");
}

/// The other fields of the feature are another program's affair, and stay as the drive has them now.
Result<void, CommandError> putBack(nvme::Drive& drive, uint8_t value) {
    TRY(const HostBehaviorSupport now, readHostBehavior(drive));
    if (now.etdas != ETDAS_SUPPORTED) return {};  // the drive was reset meanwhile
    return writeEtdas(drive, now, value);
}

Status notPutBack(const nvme::Drive& drive, const CommandError& error) {
    return withDetails(error.status, "Host Behavior Support (feature 0x16) of drive " + drive.name() +
                                         " keeps Extended Telemetry Data Area 4 Supported until its next reset.");
}

}  // namespace

Result<void, CommandError> withTelemetryArea4(nvme::Drive& drive, LogSink& log,
                                              const std::function<Result<void, CommandError>(LogSink&)>& read) {
    RETURN_IF_FAILED(requireArea4(drive));
    const SignalBlock untilItIsPutBack;
    StoppingSink sink(log, untilItIsPutBack);
    TRY(const HostBehaviorSupport before, readHostBehavior(drive));
    if (before.etdas == ETDAS_SUPPORTED) return read(sink);
    const auto set = writeEtdas(drive, before, ETDAS_SUPPORTED);
    // Where the drive refused it nothing is set; after any other error it may be.
    if (!set && isRefusal(set.error().status)) return set;
    const auto kept = set ? checkKept(drive) : set;
    const auto result = kept ? read(sink) : kept;
    const auto restored = putBack(drive, before.etdas);
    if (restored) return result;
    if (result) return CommandError(notPutBack(drive, restored.error()), restored.error().completion);
    return CommandError(withDetails(result.error().status, notPutBack(drive, restored.error()).getMessage()),
                        result.error().completion);
}

}  // namespace features::jobs
