#include "features/nvme/SmartAttributes.h"

#include "features/nvme/Bytes.h"
#include "features/nvme/FieldTable.h"
#include "features/nvme/FieldTree.h"
#include "features/nvme/Units.h"
#include "features/nvme/structures/OcpSmartLog.h"
#include "features/nvme/structures/SmartHealthLog.h"
#include "ostrel/core/AttributeVocabulary.h"

namespace features::nvme {

using namespace ostrel::core;
namespace key = ostrel::core::attributes::feature;

namespace {

/// What is in the log, and so how the value goes out.
enum class Kind : uint8_t { FLAG, WARNINGS, UINT8, UINT32, COUNTER, KELVIN };

struct AttributeRow {
    Attribute (*key)();
    uint16_t offset;
    Kind kind;
    const char* unit;
    uint8_t bit = 0;  ///< of a FLAG
};

// clang-format off
constexpr const char* NO_UNIT = "";
constexpr const char* DATA_UNITS = "units of 512000 bytes";

constexpr AttributeRow SMART[] = {
    {key::criticalWarnings,
     offsetof(SmartHealthLog, criticalWarning), Kind::WARNINGS, NO_UNIT},
    {key::availableSpareWarning,
     offsetof(SmartHealthLog, criticalWarning), Kind::FLAG, NO_UNIT, 0},
    {key::temperatureWarning,
     offsetof(SmartHealthLog, criticalWarning), Kind::FLAG, NO_UNIT, 1},
    {key::reliabilityWarning,
     offsetof(SmartHealthLog, criticalWarning), Kind::FLAG, NO_UNIT, 2},
    {key::readOnlyWarning,
     offsetof(SmartHealthLog, criticalWarning), Kind::FLAG, NO_UNIT, 3},
    {key::volatileMemoryWarning,
     offsetof(SmartHealthLog, criticalWarning), Kind::FLAG, NO_UNIT, 4},
    {key::temperature,
     offsetof(SmartHealthLog, compositeTemperature), Kind::KELVIN, "C"},
    {key::availableSpare,                                   offsetof(SmartHealthLog, availableSpare), Kind::UINT8, "%"},
    {key::availableSpareThreshold,
     offsetof(SmartHealthLog, availableSpareThreshold), Kind::UINT8, "%"},
    {key::percentageUsed,                                   offsetof(SmartHealthLog, percentageUsed), Kind::UINT8, "%"},
    {key::enduranceGroupCriticalWarningSummary,
     offsetof(SmartHealthLog, enduranceGroupWarnings), Kind::WARNINGS, NO_UNIT},
    {key::enduranceGroupAvailSpareCapacityThresholdWarning,
     offsetof(SmartHealthLog, enduranceGroupWarnings), Kind::FLAG, NO_UNIT, 0},
    {key::enduranceGroupReliabilityWarning,
     offsetof(SmartHealthLog, enduranceGroupWarnings), Kind::FLAG, NO_UNIT, 2},
    {key::enduranceGroupReadOnlyWarning,
     offsetof(SmartHealthLog, enduranceGroupWarnings), Kind::FLAG, NO_UNIT, 3},
    {key::dataUnitsRead,
     offsetof(SmartHealthLog, dataUnitsRead), Kind::COUNTER, DATA_UNITS},
    {key::dataUnitsWritten,
     offsetof(SmartHealthLog, dataUnitsWritten), Kind::COUNTER, DATA_UNITS},
    {key::hostReadCommands,
     offsetof(SmartHealthLog, hostReadCommands), Kind::COUNTER, NO_UNIT},
    {key::hostWriteCommands,
     offsetof(SmartHealthLog, hostWriteCommands), Kind::COUNTER, NO_UNIT},
    {key::controllerBusyTime,
     offsetof(SmartHealthLog, controllerBusyTime), Kind::COUNTER, "minutes"},
    {key::powerCycles,
     offsetof(SmartHealthLog, powerCycles), Kind::COUNTER, NO_UNIT},
    {key::powerOnHours,
     offsetof(SmartHealthLog, powerOnHours), Kind::COUNTER, "hours"},
    {key::unsafeShutdowns,
     offsetof(SmartHealthLog, unsafeShutdowns), Kind::COUNTER, NO_UNIT},
    {key::mediaErrors,
     offsetof(SmartHealthLog, mediaErrors), Kind::COUNTER, NO_UNIT},
    {key::numErrorInfoLogEntries,
     offsetof(SmartHealthLog, errorLogEntries), Kind::COUNTER, NO_UNIT},
    {key::warningCompositeTemperatureTime,
     offsetof(SmartHealthLog, warningTemperatureTime), Kind::UINT32, "minutes"},
    {key::criticalCompositeTemperatureTime,
     offsetof(SmartHealthLog, criticalTemperatureTime), Kind::UINT32, "minutes"},
    {key::temperatureSensor1,
     offsetof(SmartHealthLog, temperatureSensor[0]), Kind::KELVIN, "C"},
    {key::temperatureSensor2,
     offsetof(SmartHealthLog, temperatureSensor[1]), Kind::KELVIN, "C"},
    {key::temperatureSensor3,
     offsetof(SmartHealthLog, temperatureSensor[2]), Kind::KELVIN, "C"},
    {key::temperatureSensor4,
     offsetof(SmartHealthLog, temperatureSensor[3]), Kind::KELVIN, "C"},
    {key::temperatureSensor5,
     offsetof(SmartHealthLog, temperatureSensor[4]), Kind::KELVIN, "C"},
    {key::temperatureSensor6,
     offsetof(SmartHealthLog, temperatureSensor[5]), Kind::KELVIN, "C"},
    {key::temperatureSensor7,
     offsetof(SmartHealthLog, temperatureSensor[6]), Kind::KELVIN, "C"},
    {key::temperatureSensor8,
     offsetof(SmartHealthLog, temperatureSensor[7]), Kind::KELVIN, "C"},
    {key::thermalManagementTemperature1TransitionCount,
     offsetof(SmartHealthLog, thermalTransitions[0]), Kind::UINT32, NO_UNIT},
    {key::thermalManagementTemperature2TransitionCount,
     offsetof(SmartHealthLog, thermalTransitions[1]), Kind::UINT32, NO_UNIT},
    {key::totalTimeForThermalManagementTemperature1,
     offsetof(SmartHealthLog, thermalTime[0]), Kind::UINT32, "seconds"},
    {key::totalTimeForThermalManagementTemperature2,
     offsetof(SmartHealthLog, thermalTime[1]), Kind::UINT32, "seconds"},
};

constexpr AttributeRow HEALTH[] = {
    {key::availableSpareBelowThreshold, offsetof(SmartHealthLog, criticalWarning), Kind::FLAG, NO_UNIT, 0},
    {key::temperatureThresholdExceeded, offsetof(SmartHealthLog, criticalWarning), Kind::FLAG, NO_UNIT, 1},
    {key::reliabilityDegraded,          offsetof(SmartHealthLog, criticalWarning), Kind::FLAG, NO_UNIT, 2},
    {key::readOnlyMode,                 offsetof(SmartHealthLog, criticalWarning), Kind::FLAG, NO_UNIT, 3},
    {key::memoryBackupDeviceFailed,     offsetof(SmartHealthLog, criticalWarning), Kind::FLAG, NO_UNIT, 4},
    {key::healthTemperature,            offsetof(SmartHealthLog, compositeTemperature), Kind::KELVIN, "C"},
    {key::healthAvailableSpare,         offsetof(SmartHealthLog, availableSpare), Kind::UINT8, "%"},
    {key::percentageUsed,               offsetof(SmartHealthLog, percentageUsed), Kind::UINT8, "%"},
    {key::healthPowerCycles,            offsetof(SmartHealthLog, powerCycles), Kind::COUNTER, NO_UNIT},
    {key::healthPowerOnHours,           offsetof(SmartHealthLog, powerOnHours), Kind::COUNTER, "hours"},
    {key::healthUnsafeShutdowns,        offsetof(SmartHealthLog, unsafeShutdowns), Kind::COUNTER, NO_UNIT},
    {key::healthMediaErrors,            offsetof(SmartHealthLog, mediaErrors), Kind::COUNTER, NO_UNIT},
    {key::errorInfoLogEntries,          offsetof(SmartHealthLog, errorLogEntries), Kind::COUNTER, NO_UNIT},
};

constexpr AttributeRow OCP_HEALTH[] = {
    {key::endToEndErrorDetectionCount, offsetof(OcpSmartLog, endToEndDetected), Kind::UINT32, NO_UNIT},
    {key::maxNandEraseCycles,          offsetof(OcpSmartLog, maximumEraseCount), Kind::UINT32, NO_UNIT},
    {key::minNandEraseCycles,          offsetof(OcpSmartLog, minimumEraseCount), Kind::UINT32, NO_UNIT},
    {key::thermalThrottleCount,        offsetof(OcpSmartLog, throttlingEvents), Kind::UINT8, NO_UNIT},
    {key::thermalThrottleStatus,       offsetof(OcpSmartLog, throttlingStatus), Kind::UINT8, NO_UNIT},
};

constexpr AttributeRow PERFORMANCE[] = {
    {key::performanceDataUnitsRead,      offsetof(SmartHealthLog, dataUnitsRead), Kind::COUNTER, DATA_UNITS},
    {key::performanceDataUnitsWritten,   offsetof(SmartHealthLog, dataUnitsWritten), Kind::COUNTER, DATA_UNITS},
    {key::performanceHostReadCommands,   offsetof(SmartHealthLog, hostReadCommands), Kind::COUNTER, NO_UNIT},
    {key::performanceHostWriteCommands,  offsetof(SmartHealthLog, hostWriteCommands), Kind::COUNTER, NO_UNIT},
    {key::performanceControllerBusyTime, offsetof(SmartHealthLog, controllerBusyTime), Kind::COUNTER, "minutes"},
};
// clang-format on

constexpr size_t widthOf(Kind kind) {
    switch (kind) {
        case Kind::COUNTER:
            return 16;
        case Kind::UINT32:
            return 4;
        case Kind::KELVIN:
            return 2;
        default:
            return 1;
    }
}

/// The reader of the wire would take a text in a numeric type for a number, and cut a number that its type does not
/// hold: each value goes out with the type that holds it, whatever the vocabulary's was.
template <typename Value>
void setValue(Attribute& attribute, const char* type, const Value& value) {
    attribute.setType(type);
    attribute.setValue(value);
}

void setTemperature(Attribute& attribute, uint16_t kelvin) {
    if (kelvin == 0) {
        attribute.setDescription("");
        setValue(attribute, typeString(), NOT_REPORTED);
    } else {
        setValue(attribute, typeSint32(), int32_t{kelvin} - KELVIN_AT_0_CELSIUS);
    }
}

Attribute toAttribute(const AttributeRow& row, const uint8_t* at) {
    Attribute attribute = row.key();
    attribute.setDescription(row.unit);
    switch (row.kind) {
        case Kind::FLAG:
            setValue(attribute, typeBoolean(), bit(*at, row.bit));
            break;
        case Kind::WARNINGS:
            setValue(attribute, typeString(), hexText(*at, 2));
            break;
        case Kind::UINT8:
            setValue(attribute, typeUint8(), *at);
            break;
        case Kind::UINT32:
            setValue(attribute, typeUint32(), le32(at));
            break;
        case Kind::COUNTER:
            setValue(attribute, typeString(), decimal128(at));
            break;
        case Kind::KELVIN:
            setTemperature(attribute, le16(at));
            break;
    }
    return attribute;
}

template <size_t COUNT>
AttributeList attributesOf(const AttributeRow (&rows)[COUNT], const Payload& log) {
    AttributeList list;
    for (const AttributeRow& row : rows) {
        if (row.offset + widthOf(row.kind) > log.getSize()) continue;
        Attribute attribute = toAttribute(row, log.getData() + row.offset);
        list[attribute.getName()] = std::move(attribute);
    }
    return list;
}

}  // namespace

AttributeList smartAttributes(const Payload& smartLog) {
    return attributesOf(SMART, smartLog);
}

AttributeList healthMetrics(const Payload& smartLog) {
    return attributesOf(HEALTH, smartLog);
}

AttributeList ocpHealthMetrics(const Payload& ocpSmartLog) {
    return attributesOf(OCP_HEALTH, ocpSmartLog);
}

AttributeList performanceMetrics(const Payload& smartLog) {
    return attributesOf(PERFORMANCE, smartLog);
}

}  // namespace features::nvme
