#pragma once

#include <cstddef>
#include <cstdint>

#include "features/nvme/structures/Fields.h"

namespace features::nvme {

/// Log page 02h, NVMe Base Specification 1.4, section 5.14.1.2. Temperatures in Kelvin; those that are 0 are not
/// reported.
struct SmartHealthLog {
    uint8_t criticalWarning;
    Le16 compositeTemperature;
    uint8_t availableSpare;           ///< per cent
    uint8_t availableSpareThreshold;  ///< per cent
    uint8_t percentageUsed;
    uint8_t enduranceGroupWarnings;  ///< Endurance Group Critical Warning Summary
    ByteArray<25> reserved7;
    Le128 dataUnitsRead;     ///< units of 512,000 bytes
    Le128 dataUnitsWritten;  ///< the same
    Le128 hostReadCommands;
    Le128 hostWriteCommands;
    Le128 controllerBusyTime;  ///< minutes
    Le128 powerCycles;
    Le128 powerOnHours;
    Le128 unsafeShutdowns;
    Le128 mediaErrors;
    Le128 errorLogEntries;
    Le32 warningTemperatureTime;   ///< minutes
    Le32 criticalTemperatureTime;  ///< minutes
    Le16 temperatureSensor[8];
    Le32 thermalTransitions[2];  ///< Thermal Management Temperature 1 and 2
    Le32 thermalTime[2];         ///< the same, in seconds
    Le64 lifetimeEnergy;         ///< Operational Lifetime Energy Consumed; 0: not reported
    Le32 intervalPower;          ///< Interval Power Measurement: value 15:0, scale 17:16; 0: not reported
    ByteArray<268> reserved244;
};
static_assert(sizeof(SmartHealthLog) == 512 && alignof(SmartHealthLog) == 1);
static_assert(offsetof(SmartHealthLog, dataUnitsRead) == 32 && offsetof(SmartHealthLog, thermalTime) == 224 &&
              offsetof(SmartHealthLog, lifetimeEnergy) == 232 && offsetof(SmartHealthLog, intervalPower) == 240);

}  // namespace features::nvme
