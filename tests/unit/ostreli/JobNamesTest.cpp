#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ostrel/interfaces/ostreli/interface/JobNames.h"

namespace ostrel::interfaces::ostreli {
namespace {

// Kept apart from the table on purpose: a name changed there by accident fails here.
TEST(JobNames, AreTheSeventySevenOfTheWire) {
    const std::vector<std::string> expected = {
        "AssertLog",
        "AssertLogParse",
        "AssertNlogParse",
        "AssertRecovery",
        "BackgroundProcessing",
        "BridgeNlog",
        "ClearAssert",
        "DIPM",
        "Directives",
        "DriveSelfTest",
        "EnduranceAnalyzer",
        "EnduranceManager",
        "EraseAssert",
        "ErrorRecoveryControl",
        "EventLog",
        "EyeDiagram",
        "FirmwareActivate",
        "FirmwareUpdate",
        "ForceFlush",
        "Format",
        "GetFeature",
        "GPL",
        "HDATemperature",
        "HealthMetrics",
        "HealthScan",
        "Identify",
        "EnableEdrive",
        "VelkoSSD",
        "LatencyTracking",
        "LedActivity",
        "LowLevelFormat",
        "MaxAddress",
        "NamespaceManagement",
        "NCQSupport",
        "Nlog",
        "NlogParse",
        "NVMeAdminCommand",
        "NVMeFeatures",
        "NVMeLog",
        "NVMeReset",
        "OCPErrorInjection",
        "OCPIEEESilo",
        "OCPPLPCheck",
        "OCPDSSDPowerState",
        "OCPReadOnlyWriteMode",
        "Optimizer",
        "CycleReport",
        "InputVoltage",
        "RegionProvisioning",
        "PartitionInformation",
        "Performance",
        "PersistentEventLog",
        "PersistentEventLogParse",
        "PhyConfig",
        "PhyCounters",
        "PhySpeed",
        "PowerGovernor",
        "PSIDRevert",
        "ResetCRC",
        "SCTFeatureControl",
        "SecurityInformation",
        "SMBusAddress",
        "SMART",
        "SpreadSpectrumClocking",
        "StandbyImmediate",
        "SystemParser",
        "SystemSnapshot",
        "TelemetryLog",
        "TelemetryLogParse",
        "ThermalThrottle",
        "Timestamp",
        "TimeToReady",
        "Trim",
        "WriteCache",
        "WriteSame",
        "VTHisto",
        "HostMemoryCache",
    };
    EXPECT_EQ(std::vector<std::string>(std::begin(JOB_NAMES), std::end(JOB_NAMES)), expected);
}

TEST(JobNames, ConstantsCarryTheirText) {
    EXPECT_STREQ(JOB_VELKOSSD, "VelkoSSD");
    EXPECT_STREQ(JOB_OCP_DSSD_POWER_STATE, "OCPDSSDPowerState");
    EXPECT_STREQ(JOB_VT_HISTO, "VTHisto");
}

TEST(JobTypes, AreTheWordsOfTheWire) {
    EXPECT_STREQ(JOBTYPE_GET_PROPERTIES, "GetProperties");
    EXPECT_STREQ(JOBTYPE_SET_PROPERTY, "SetProperty");
    EXPECT_STREQ(JOBTYPE_METHOD, "Method");
    EXPECT_STREQ(JOBTYPE_PARSER, "Parser");
}

}  // namespace
}  // namespace ostrel::interfaces::ostreli
