#include "features/simulator/controller/Happenings.h"

#include "features/nvme/Bytes.h"
#include "features/nvme/Opcodes.h"
#include "features/simulator/logs/EventData.h"
#include "features/simulator/logs/HealthLog.h"
#include "features/simulator/logs/PersistentEventLog.h"
#include "features/simulator/models/ocp/OcpRecords.h"
#include "features/simulator/models/velko/VelkoRecords.h"
#include "ostrel/core/ScopeTrace.h"

namespace features::simulator {

namespace {

// Codes of the NVM subsystem hardware error event.
constexpr uint16_t ERROR_CRITICAL_WARNING = 0x06;
constexpr uint16_t ERROR_UNSAFE_SHUTDOWN = 0x08;
constexpr uint16_t ERROR_MEDIA = 0x0A;

void recordHardwareError(CommandContext& context, uint16_t code, const std::vector<uint8_t>& more = {}) {
    recordPersistentEvent(context, PersistentEvent::HARDWARE_ERROR, hardwareErrorData(code, more));
}

void recordWarning(CommandContext& context, uint8_t raised) {
    constexpr unsigned BIT_TEMPERATURE = 1;
    recordHardwareError(context, ERROR_CRITICAL_WARNING, {criticalWarning(context), 0, 0, 0});
    if (nvme::bit(raised, BIT_TEMPERATURE) && compositeKelvin(context) >= context.model.warningKelvin) {
        recordPersistentEvent(context, PersistentEvent::THERMAL_EXCURSION, thermalExcursionData(context));
    }
}

void recordFeature(CommandContext& context) {
    // A change of the timestamp has an event of its own.
    if ((context.command.cdw10 & 0xFF) == nvme::FID_TIMESTAMP) return;
    recordPersistentEvent(context, PersistentEvent::SET_FEATURE, setFeatureData(context));
}

void recordPersistently(CommandContext& context, const Happening& happening) {
    using Kind = Happening::Kind;
    switch (happening.kind) {
        case Kind::RESET:
            return recordReset(context, happening.value != 0);
        case Kind::POWER_LOSS:
            return recordHardwareError(context, ERROR_UNSAFE_SHUTDOWN);
        case Kind::FIRMWARE_COMMIT:
            return recordPersistentEvent(context, PersistentEvent::FIRMWARE_COMMIT, firmwareCommitData(happening));
        case Kind::TIMESTAMP_CHANGE:
            return recordPersistentEvent(context, PersistentEvent::TIMESTAMP_CHANGE, timestampChangeData(context));
        case Kind::NAMESPACE_CHANGE:
            return recordPersistentEvent(context, PersistentEvent::CHANGE_NAMESPACE,
                                         namespaceChangeData(context, happening));
        case Kind::FORMAT_START:
            return recordPersistentEvent(context, PersistentEvent::FORMAT_START, formatStartData(context, happening));
        case Kind::FORMAT_COMPLETION:
            return recordPersistentEvent(context, PersistentEvent::FORMAT_COMPLETION, formatCompletionData(happening));
        case Kind::SANITIZE_START:
            return recordPersistentEvent(context, PersistentEvent::SANITIZE_START, sanitizeStartData(context));
        case Kind::SANITIZE_COMPLETION:
            return recordPersistentEvent(context, PersistentEvent::SANITIZE_COMPLETION,
                                         sanitizeCompletionData(context));
        case Kind::FEATURE_SET:
            return recordFeature(context);
        case Kind::SELF_TEST_DONE:
            return recordPersistentEvent(context, PersistentEvent::VENDOR_SPECIFIC, selfTestData(context));
        case Kind::WARNING:
            return recordWarning(context, static_cast<uint8_t>(happening.value));
        case Kind::MEDIA_ERROR:
            return recordHardwareError(context, ERROR_MEDIA);
    }
}

}  // namespace

void happened(CommandContext& context, const Happening& happening) {
    OSTREL_TRACE();
    recordVelkoHappening(context, happening);
    recordPersistently(context, happening);
    recordOcpHappening(context, happening);
}

}  // namespace features::simulator
