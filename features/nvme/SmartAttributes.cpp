#include "features/nvme/SmartAttributes.h"

#include "features/nvme/Bytes.h"
#include "features/nvme/FieldTable.h"
#include "features/nvme/FieldTree.h"
#include "features/nvme/Units.h"
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
    {key::criticalWarnings,                                   0, Kind::WARNINGS, NO_UNIT},
    {key::availableSpareWarning,                              0, Kind::FLAG,     NO_UNIT, 0},
    {key::temperatureWarning,                                 0, Kind::FLAG,     NO_UNIT, 1},
    {key::reliabilityWarning,                                 0, Kind::FLAG,     NO_UNIT, 2},
    {key::readOnlyWarning,                                    0, Kind::FLAG,     NO_UNIT, 3},
    {key::volatileMemoryWarning,                              0, Kind::FLAG,     NO_UNIT, 4},
    {key::temperature,                                        1, Kind::KELVIN,   "C"},
    {key::availableSpare,                                     3, Kind::UINT8,    "%"},
    {key::availableSpareThreshold,                            4, Kind::UINT8,    "%"},
    {key::percentageUsed,                                     5, Kind::UINT8,    "%"},
    {key::enduranceGroupCriticalWarningSummary,               6, Kind::WARNINGS, NO_UNIT},
    {key::enduranceGroupAvailSpareCapacityThresholdWarning,   6, Kind::FLAG,     NO_UNIT, 0},
    {key::enduranceGroupReliabilityWarning,                   6, Kind::FLAG,     NO_UNIT, 2},
    {key::enduranceGroupReadOnlyWarning,                      6, Kind::FLAG,     NO_UNIT, 3},
    {key::dataUnitsRead,                                     32, Kind::COUNTER,  DATA_UNITS},
    {key::dataUnitsWritten,                                  48, Kind::COUNTER,  DATA_UNITS},
    {key::hostReadCommands,                                  64, Kind::COUNTER,  NO_UNIT},
    {key::hostWriteCommands,                                 80, Kind::COUNTER,  NO_UNIT},
    {key::controllerBusyTime,                                96, Kind::COUNTER,  "minutes"},
    {key::powerCycles,                                      112, Kind::COUNTER,  NO_UNIT},
    {key::powerOnHours,                                     128, Kind::COUNTER,  "hours"},
    {key::unsafeShutdowns,                                  144, Kind::COUNTER,  NO_UNIT},
    {key::mediaErrors,                                      160, Kind::COUNTER,  NO_UNIT},
    {key::numErrorInfoLogEntries,                           176, Kind::COUNTER,  NO_UNIT},
    {key::warningCompositeTemperatureTime,                  192, Kind::UINT32,   "minutes"},
    {key::criticalCompositeTemperatureTime,                 196, Kind::UINT32,   "minutes"},
    {key::temperatureSensor1,                               200, Kind::KELVIN,   "C"},
    {key::temperatureSensor2,                               202, Kind::KELVIN,   "C"},
    {key::temperatureSensor3,                               204, Kind::KELVIN,   "C"},
    {key::temperatureSensor4,                               206, Kind::KELVIN,   "C"},
    {key::temperatureSensor5,                               208, Kind::KELVIN,   "C"},
    {key::temperatureSensor6,                               210, Kind::KELVIN,   "C"},
    {key::temperatureSensor7,                               212, Kind::KELVIN,   "C"},
    {key::temperatureSensor8,                               214, Kind::KELVIN,   "C"},
    {key::thermalManagementTemperature1TransitionCount,     216, Kind::UINT32,   NO_UNIT},
    {key::thermalManagementTemperature2TransitionCount,     220, Kind::UINT32,   NO_UNIT},
    {key::totalTimeForThermalManagementTemperature1,        224, Kind::UINT32,   "seconds"},
    {key::totalTimeForThermalManagementTemperature2,        228, Kind::UINT32,   "seconds"},
};

constexpr AttributeRow HEALTH[] = {
    {key::availableSpareBelowThreshold,   0, Kind::FLAG,    NO_UNIT, 0},
    {key::temperatureThresholdExceeded,   0, Kind::FLAG,    NO_UNIT, 1},
    {key::reliabilityDegraded,            0, Kind::FLAG,    NO_UNIT, 2},
    {key::readOnlyMode,                   0, Kind::FLAG,    NO_UNIT, 3},
    {key::memoryBackupDeviceFailed,       0, Kind::FLAG,    NO_UNIT, 4},
    {key::healthTemperature,              1, Kind::KELVIN,  "C"},
    {key::healthAvailableSpare,           3, Kind::UINT8,   "%"},
    {key::percentageUsed,                 5, Kind::UINT8,   "%"},
    {key::healthPowerCycles,            112, Kind::COUNTER, NO_UNIT},
    {key::healthPowerOnHours,           128, Kind::COUNTER, "hours"},
    {key::healthUnsafeShutdowns,        144, Kind::COUNTER, NO_UNIT},
    {key::healthMediaErrors,            160, Kind::COUNTER, NO_UNIT},
    {key::errorInfoLogEntries,          176, Kind::COUNTER, NO_UNIT},
};

constexpr AttributeRow OCP_HEALTH[] = {
    {key::endToEndErrorDetectionCount, 72, Kind::UINT32, NO_UNIT},
    {key::maxNandEraseCycles,          88, Kind::UINT32, NO_UNIT},
    {key::minNandEraseCycles,          92, Kind::UINT32, NO_UNIT},
    {key::thermalThrottleCount,        96, Kind::UINT8,  NO_UNIT},
    {key::thermalThrottleStatus,       97, Kind::UINT8,  NO_UNIT},
};

constexpr AttributeRow PERFORMANCE[] = {
    {key::performanceDataUnitsRead,      32, Kind::COUNTER, DATA_UNITS},
    {key::performanceDataUnitsWritten,   48, Kind::COUNTER, DATA_UNITS},
    {key::performanceHostReadCommands,   64, Kind::COUNTER, NO_UNIT},
    {key::performanceHostWriteCommands,  80, Kind::COUNTER, NO_UNIT},
    {key::performanceControllerBusyTime, 96, Kind::COUNTER, "minutes"},
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
