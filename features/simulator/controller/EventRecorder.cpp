#include "features/simulator/controller/EventRecorder.h"

#include <utility>

#include "features/nvme/Bytes.h"
#include "features/nvme/FeatureIds.h"
#include "features/nvme/PersistentEventTypes.h"
#include "features/simulator/logs/EventData.h"
#include "features/simulator/logs/HealthLog.h"
#include "features/simulator/logs/PersistentEventLog.h"
#include "features/simulator/models/ocp/OcpRecords.h"
#include "features/simulator/models/velko/VelkoRecords.h"

namespace features::simulator {

using nvme::PersistentEvent;

namespace {

void recordHardwareError(CommandContext& context, const DriveEvent& event, uint16_t code,
                         const std::vector<uint8_t>& more = {}) {
    recordPersistentEvent(context, PersistentEvent::HARDWARE_ERROR, event.timestamp, hardwareErrorData(code, more));
}

void recordWarning(CommandContext& context, const DriveEvent& event) {
    constexpr unsigned BIT_TEMPERATURE = 1;
    recordHardwareError(context, event, nvme::HARDWARE_ERROR_CRITICAL_WARNING, {criticalWarning(context), 0, 0, 0});
    if (nvme::bit(event.value, BIT_TEMPERATURE) && compositeKelvin(context) >= context.model.warningKelvin) {
        recordPersistentEvent(context, PersistentEvent::THERMAL_EXCURSION, event.timestamp,
                              thermalExcursionData(context));
    }
}

void recordFeature(CommandContext& context, const DriveEvent& event) {
    // A change of the timestamp has an event of its own.
    if ((context.command.cdw10 & 0xFF) == nvme::FID_TIMESTAMP) return;
    recordPersistentEvent(context, PersistentEvent::SET_FEATURE, event.timestamp, setFeatureData(context));
}

void recordPersistently(CommandContext& context, const DriveEvent& event) {
    using Kind = DriveEvent::Kind;
    switch (event.kind) {
        case Kind::RESET:
            return recordReset(context, event.value != 0);
        case Kind::POWER_LOSS:
            return recordHardwareError(context, event, nvme::HARDWARE_ERROR_UNSAFE_SHUTDOWN);
        case Kind::FIRMWARE_COMMIT:
            return recordPersistentEvent(context, PersistentEvent::FIRMWARE_COMMIT, event.timestamp,
                                         firmwareCommitData(event));
        case Kind::TIMESTAMP_CHANGE:
            return recordPersistentEvent(context, PersistentEvent::TIMESTAMP_CHANGE, event.timestamp,
                                         timestampChangeData(context, event));
        case Kind::NAMESPACE_CHANGE:
            return recordPersistentEvent(context, PersistentEvent::CHANGE_NAMESPACE, event.timestamp,
                                         namespaceChangeData(context, event));
        case Kind::FORMAT_START:
            return recordPersistentEvent(context, PersistentEvent::FORMAT_START, event.timestamp,
                                         formatStartData(context, event));
        case Kind::FORMAT_COMPLETION:
            return recordPersistentEvent(context, PersistentEvent::FORMAT_COMPLETION, event.timestamp,
                                         formatCompletionData(event));
        case Kind::SANITIZE_START:
            return recordPersistentEvent(context, PersistentEvent::SANITIZE_START, event.timestamp,
                                         sanitizeStartData(context));
        case Kind::SANITIZE_COMPLETION:
            return recordPersistentEvent(context, PersistentEvent::SANITIZE_COMPLETION, event.timestamp,
                                         sanitizeCompletionData(context));
        case Kind::FEATURE_SET:
            return recordFeature(context, event);
        case Kind::SELF_TEST_DONE:
            return recordPersistentEvent(context, PersistentEvent::VENDOR_SPECIFIC, event.timestamp,
                                         selfTestData(context));
        case Kind::WARNING:
            return recordWarning(context, event);
        case Kind::MEDIA_ERROR:
            return recordHardwareError(context, event, nvme::HARDWARE_ERROR_MEDIA);
    }
}

}  // namespace

void recordEvents(CommandContext& context) {
    for (const DriveEvent& event : std::exchange(context.driveEvents, {})) {
        recordForVelkoLogs(context, event);
        recordPersistently(context, event);
        recordForOcpLogs(context, event);
    }
}

}  // namespace features::simulator
