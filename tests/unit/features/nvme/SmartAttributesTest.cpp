#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <string>

#include "features/nvme/SmartAttributes.h"
#include "ostrel/core/XmlConverter.h"
#include "tests/unit/features/nvme/Layout.h"

namespace features::nvme {
namespace {

using namespace ostrel::core;

/// A line for each attribute in the order of their names: what the user sees, and the type on the wire.
std::string shown(const AttributeList& list) {
    std::map<std::string, const Attribute*> sorted;
    for (const auto& [name, attribute] : list) sorted[name] = &attribute;
    std::string text;
    for (const auto& [name, attribute] : sorted) {
        EXPECT_EQ(attribute->getName(), name);
        text.append(name).append(": ").append(attribute->getText());
        if (!attribute->getDescription().empty()) text.append(" ").append(attribute->getDescription());
        text.append(" <").append(attribute->getType()).append(">\n");
    }
    return text;
}

/// The list as it is received.
AttributeList received(const AttributeList& list) {
    return *XmlConverter::xmlToAttributeList(*XmlConverter::attributeListToXml(list));
}

TEST(SmartAttributes, HoldTheWholeLog) {
    const AttributeList list = smartAttributes(Layout("log_02_smart").data());
    EXPECT_EQ(shown(list),
              "AvailableSpare: 100 % <uint8>\n"
              "AvailableSpareThreshold: 10 % <uint8>\n"
              "AvailableSpareWarning: True <boolean>\n"
              "ControllerBusyTime: 1000 minutes <string>\n"
              "CriticalCompositeTemperatureTime: 4294967295 minutes <uint32>\n"
              "CriticalWarnings: 0x15 <string>\n"
              "DataUnitsRead: 123456789 units of 512000 bytes <string>\n"
              "DataUnitsWritten: 18446744073709551616 units of 512000 bytes <string>\n"
              "EnduranceGroupAvailSpareCapacityThresholdWarning: True <boolean>\n"
              "EnduranceGroupCriticalWarningSummary: 0x09 <string>\n"
              "EnduranceGroupReadOnlyWarning: True <boolean>\n"
              "EnduranceGroupReliabilityWarning: False <boolean>\n"
              "HostReadCommands: 340282366920938463463374607431768211455 <string>\n"
              "HostWriteCommands: 170141183460469231731687303715884105729 <string>\n"
              "MediaErrors: 1000000000 <string>\n"
              "NumErrorInfoLogEntries: 42 <string>\n"
              "PercentageUsed: 255 % <uint8>\n"
              "PowerCycles: 0 <string>\n"
              "PowerOnHours: 10000 hours <string>\n"
              "ReadOnlyWarning: False <boolean>\n"
              "ReliabilityWarning: True <boolean>\n"
              "Temperature: 38 C <sint32>\n"
              "TemperatureSensor1: 37 C <sint32>\n"
              "TemperatureSensor2: not reported <string>\n"
              "TemperatureSensor3: -22 C <sint32>\n"
              "TemperatureSensor4: 0 C <sint32>\n"
              "TemperatureSensor5: -272 C <sint32>\n"
              "TemperatureSensor6: not reported <string>\n"
              "TemperatureSensor7: not reported <string>\n"
              "TemperatureSensor8: 65262 C <sint32>\n"
              "TemperatureWarning: False <boolean>\n"
              "ThermalManagementTemperature1TransitionCount: 1 <uint32>\n"
              "ThermalManagementTemperature2TransitionCount: 2 <uint32>\n"
              "TotalTimeForThermalManagementTemperature1: 3 seconds <uint32>\n"
              "TotalTimeForThermalManagementTemperature2: 4 seconds <uint32>\n"
              "UnsafeShutdowns: 5 <string>\n"
              "VolatileMemoryWarning: True <boolean>\n"
              "WarningCompositeTemperatureTime: 17 minutes <uint32>\n");
    EXPECT_EQ(shown(received(list)), shown(list)) << "nothing is lost or changed on the wire";
}

TEST(SmartAttributes, HealthMetricsAreTheSensors) {
    const AttributeList list = healthMetrics(Layout("log_02_smart").data());
    EXPECT_EQ(shown(list),
              "AvailableSpare: 100 % <uint8>\n"
              "AvailableSpareBelowThreshold: True <boolean>\n"
              "ErrorInfoLogEntries: 42 <string>\n"
              "MediaErrors: 1000000000 <string>\n"
              "MemoryBackupDeviceFailed: True <boolean>\n"
              "PercentageUsed: 255 % <uint8>\n"
              "PowerCycles: 0 <string>\n"
              "PowerOnHours: 10000 hours <string>\n"
              "ReadOnlyMode: False <boolean>\n"
              "ReliabilityDegraded: True <boolean>\n"
              "Temperature: 38 C <sint32>\n"
              "TemperatureThresholdExceeded: False <boolean>\n"
              "UnsafeShutdowns: 5 <string>\n");
    EXPECT_EQ(shown(received(list)), shown(list));
}

TEST(SmartAttributes, OcpAddsSensors) {
    const AttributeList list = ocpHealthMetrics(Layout("log_c0_ocp").data());
    EXPECT_EQ(shown(list),
              "EndToEndErrorDetectionCount: 7 <uint32>\n"
              "MaxNandEraseCycles: 66536 <uint32>\n"
              "MinNandEraseCycles: 100 <uint32>\n"
              "ThermalThrottleCount: 10 <uint8>\n"
              "ThermalThrottleStatus: 2 <uint8>\n");
    EXPECT_EQ(shown(received(list)), shown(list));
}

TEST(SmartAttributes, PerformanceMetricsHaveUnits) {
    const AttributeList list = performanceMetrics(Layout("log_02_smart").data());
    EXPECT_EQ(shown(list),
              "ControllerBusyTime: 1000 minutes <string>\n"
              "DataUnitsRead: 123456789 units of 512000 bytes <string>\n"
              "DataUnitsWritten: 18446744073709551616 units of 512000 bytes <string>\n"
              "HostReadCommands: 340282366920938463463374607431768211455 <string>\n"
              "HostWriteCommands: 170141183460469231731687303715884105729 <string>\n");
    EXPECT_EQ(shown(received(list)), shown(list));
}

TEST(SmartAttributes, LeaveOutWhatIsCutOff) {
    const Layout layout("log_02_smart");
    EXPECT_EQ(shown(performanceMetrics(layout.firstBytes(79))),
              "DataUnitsRead: 123456789 units of 512000 bytes <string>\n"
              "DataUnitsWritten: 18446744073709551616 units of 512000 bytes <string>\n");
    EXPECT_EQ(shown(healthMetrics(layout.firstBytes(2))),
              "AvailableSpareBelowThreshold: True <boolean>\n"
              "MemoryBackupDeviceFailed: True <boolean>\n"
              "ReadOnlyMode: False <boolean>\n"
              "ReliabilityDegraded: True <boolean>\n"
              "TemperatureThresholdExceeded: False <boolean>\n");
    EXPECT_TRUE(smartAttributes(Payload()).empty());
    EXPECT_TRUE(ocpHealthMetrics(Payload()).empty());
}

}  // namespace
}  // namespace features::nvme
