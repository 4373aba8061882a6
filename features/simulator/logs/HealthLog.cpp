#include "features/simulator/logs/HealthLog.h"

#include <algorithm>
#include <array>

#include "features/nvme/FeatureIds.h"
#include "features/nvme/Units.h"
#include "features/nvme/structures/SmartHealthLog.h"
#include "features/simulator/context/FeatureValues.h"
#include "features/simulator/store/Extension.h"

namespace features::simulator {

using namespace nvme;

namespace {

constexpr uint16_t TRUE_KELVIN = 311;  // 38 degrees Celsius
constexpr uint64_t DATA_UNIT_BYTES = 512000;
constexpr uint64_t MS_PER_MINUTE = 60000;
constexpr uint64_t MICROSECONDS_PER_MINUTE = 60000000;
constexpr uint8_t WARNING_SPARE = 1 << 0;
constexpr uint8_t WARNING_TEMPERATURE = 1 << 1;
constexpr uint8_t TRUE_SPARE = 100;
constexpr uint8_t TRUE_SPARE_THRESHOLD = 10;

/// How long the drive has been how hot.
struct ThermalTimes {
    static constexpr const char* NAME = "thermal-times";
    uint8_t level = 0;  ///< 1: WCTEMP is reached, 2: CCTEMP
    uint64_t sinceMs = 0;
    std::array<uint64_t, 3> ms{};  ///< of each level, without the time since `sinceMs`

    template <class A>
    void fields(A& archive) {
        archive(level, sinceMs, ms);
    }
    void advanceTo(uint64_t nowMs) {
        ms[std::min<size_t>(level, 2)] += nowMs - std::min(nowMs, sinceMs);
        sinceMs = nowMs;
    }
};

uint64_t roundedUp(uint64_t number, uint64_t unit) {
    return number / unit + (number % unit != 0 ? 1 : 0);
}

uint64_t spare(const CommandContext& context) {
    return smartFaultAt(context.description.faults.smart, SMART_AVAILABLE_SPARE).value_or(TRUE_SPARE);
}

uint64_t spareThreshold(const CommandContext& context) {
    return smartFaultAt(context.description.faults.smart, SMART_SPARE_THRESHOLD).value_or(TRUE_SPARE_THRESHOLD);
}

}  // namespace

uint16_t compositeKelvin(const CommandContext& context) {
    const auto& fault = context.description.faults.temperatureCelsius;
    return fault ? static_cast<uint16_t>(*fault + nvme::KELVIN_AT_0_CELSIUS) : TRUE_KELVIN;
}

uint8_t criticalWarning(const CommandContext& context) {
    constexpr uint32_t SIDE_UNDER = 1 << 20;
    const uint16_t kelvin = compositeKelvin(context);
    const uint32_t over = currentFeature(context, nvme::FID_TEMPERATURE_THRESHOLD).dword & 0xFFFF;
    const uint32_t under = currentFeature(context, nvme::FID_TEMPERATURE_THRESHOLD, 0, SIDE_UNDER).dword & 0xFFFF;
    const bool isWarning = kelvin >= over || kelvin <= under;
    const bool isSpareLow = spare(context) < spareThreshold(context);
    return static_cast<uint8_t>(context.description.faults.criticalWarning | (isSpareLow ? WARNING_SPARE : 0) |
                                (isWarning ? WARNING_TEMPERATURE : 0));
}

uint8_t percentageUsed(const CommandContext& context) {
    if (const auto fault = smartFaultAt(context.description.faults.smart, SMART_PERCENTAGE_USED))
        return static_cast<uint8_t>(*fault);
    const uint64_t written = context.state.health.work.bytesWritten + context.work.bytesWritten;
    const uint64_t fill = context.description.sizeBytes * ENDURANCE_FILLS / 100;
    return static_cast<uint8_t>(std::min<uint64_t>(written / std::max<uint64_t>(fill, 1), 255));
}

bool noteTemperature(CommandContext& context) {
    const uint16_t kelvin = compositeKelvin(context);
    const uint8_t level = kelvin >= context.model.criticalKelvin ? 2 : kelvin >= context.model.warningKelvin ? 1 : 0;
    auto times = readExtension<ThermalTimes>(context.state);
    if (level == times.level) return false;
    times.advanceTo(context.nowMs);
    times.level = level;
    writeExtension(context.state, times);
    return true;
}

CompletionEntry buildHealthLog(CommandContext& context, const LogRequest&, std::vector<uint8_t>& page) {
    const HealthState& health = context.state.health;
    WorkCounters work = health.work;
    work += context.work;
    SmartHealthLog log{};
    log.criticalWarning = criticalWarning(context);
    log.compositeTemperature = compositeKelvin(context);
    log.availableSpare = TRUE_SPARE;
    log.availableSpareThreshold = TRUE_SPARE_THRESHOLD;
    log.percentageUsed = percentageUsed(context);
    log.dataUnitsRead = roundedUp(work.bytesRead, DATA_UNIT_BYTES);
    log.dataUnitsWritten = roundedUp(work.bytesWritten, DATA_UNIT_BYTES);
    log.hostReadCommands = work.readCommands;
    log.hostWriteCommands = work.writeCommands;
    log.controllerBusyTime = work.busyMicroseconds / MICROSECONDS_PER_MINUTE;
    log.powerCycles = health.powerCycles;
    log.powerOnHours = context.powerOnHours();
    log.unsafeShutdowns = health.unsafeShutdowns;
    log.mediaErrors = health.mediaErrors;
    log.errorLogEntries = context.state.errorCount;
    auto times = readExtension<ThermalTimes>(context.state);
    times.advanceTo(context.nowMs);
    log.warningTemperatureTime = static_cast<uint32_t>(times.ms[1] / MS_PER_MINUTE);
    log.criticalTemperatureTime = static_cast<uint32_t>(times.ms[2] / MS_PER_MINUTE);
    log.temperatureSensor[0] = compositeKelvin(context);
    page = bytesOf(log);
    putSmartFaults(context.description.faults.smart, page.data());
    return {};
}

}  // namespace features::simulator
