#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "features/library/JobTable.h"
#include "ostrel/core/Device.h"
#include "ostrel/interfaces/ostreli/interface/Job.h"

namespace features::library {
namespace {

using ostrel::core::Device;
using ostrel::core::Status;
using ostrel::interfaces::ostreli::Job;
using Names = std::set<std::string>;

/// The jobs of this library, and the properties that each of them gets or sets.
const struct {
    const char* name;
    Names properties;
} JOBS[] = {
    {"AssertLog", {}},
    {"BackgroundProcessing", {}},
    {"BridgeNlog", {}},
    {"DriveSelfTest", {}},
    {"EnduranceAnalyzer", {}},
    {"EventLog", {}},
    {"FirmwareActivate", {}},
    {"FirmwareUpdate", {}},
    {"ForceFlush", {}},
    {"Format", {}},
    {"HealthMetrics", {}},
    {"HealthScan", {}},
    {"Identify", {}},
    {"LatencyTracking", {"LatencyTrackingEnabled"}},
    {"LedActivity",
     {"DurationBase", "FormatOffMultiplier", "FormatOnMultiplier", "IdleState", "IoOffMultiplier", "IoOnMultiplier"}},
    {"MaxAddress", {"MaximumLBA"}},
    {"NamespaceManagement", {}},
    {"Nlog", {}},
    {"NVMeFeatures",
     {"AggregationThreshold", "AggregationTime", "ClearCounter", "FirmwareActivationNoticesConfiguration",
      "NamespaceAttributeNoticesConfiguration", "SMARTHealthCriticalWarningsConfiguration",
      "TelemetryLogNoticesConfiguration", "TempThreshold"}},
    {"NVMeLog", {}},
    {"NVMeReset", {}},
    {"PartitionInformation", {}},
    {"OCPDSSDPowerState", {"DSSDPowerState"}},
    {"OCPErrorInjection", {}},
    {"OCPIEEESilo", {"Enable"}},
    {"OCPPLPCheck", {"PLPCheckInterval"}},
    {"OCPReadOnlyWriteMode", {"Mode"}},
    {"Performance", {}},
    {"PersistentEventLog", {}},
    {"PersistentEventLogParse", {}},
    {"PowerGovernor", {"PowerGovernorMode"}},
    {"SMART", {}},
    {"SMBusAddress", {}},
    {"SystemSnapshot", {}},
    {"TelemetryLog", {}},
    {"TelemetryLogParse", {}},
    {"Timestamp", {"Timestamp", "TimestampOrigin", "TimestampSynch"}},
    {"Trim", {}},
};

Names propertiesOf(const Job& job) {
    Names names;
    for (const auto& [name, attribute] : job.getSupportedProperties()) {
        EXPECT_EQ(attribute.getName(), name) << job.getName();
        names.insert(name);
    }
    return names;
}

std::unique_ptr<Job> made(const std::string& name) {
    auto job = createJob(name);
    EXPECT_TRUE(job) << name;
    return job ? *std::move(job) : nullptr;
}

TEST(JobTable, EachJobKnowsItsNameAndItsProperties) {
    for (const auto& row : JOBS) {
        const auto job = made(row.name);
        EXPECT_EQ(job->getName(), row.name);
        EXPECT_EQ(propertiesOf(*job), row.properties) << row.name;
    }
}

TEST(JobTable, TheListOfDrivesHasAPropertyForEachColumn) {
    const Names names = propertiesOf(*made("VelkoSSD"));
    EXPECT_EQ(names.size(), 100U);
    for (const char* name :
         {"Bootloader", "Capacity", "DevicePath", "DeviceStatus", "Firmware", "FirmwareUpdateAvailable", "Index",
          "MaximumLBA", "ModelNumber", "NumLBAFormats", "ProductFamily", "SectorSize", "SerialNumber", "NamespaceId",
          "TrimSupported", "SecurityFrozen", "TCGLocked", "WWID"}) {
        EXPECT_EQ(names.count(name), 1U) << name;
    }
}

TEST(JobTable, ACopyOfAJobAsksTheSameDrivesForTheSame) {
    std::vector<std::string> names = {"VelkoSSD"};
    for (const auto& row : JOBS) names.emplace_back(row.name);
    const auto drive = std::make_shared<Device>();
    for (const std::string& name : names) {
        const auto job = made(name);
        job->setInput(*Job::createRequest(name, "Method", false, "7"));
        job->setDevices({drive});
        const auto copy = job->clone();
        EXPECT_NE(copy.get(), job.get());
        EXPECT_EQ(copy->getName(), name);
        EXPECT_EQ(propertiesOf(*copy), propertiesOf(*job)) << name;
        EXPECT_EQ(copy->getDevices(), std::vector<std::shared_ptr<Device>>{drive}) << name;
        ASSERT_NE(copy->getInput(), nullptr) << name;
        EXPECT_NE(copy->getInput(), job->getInput()) << name;
        EXPECT_EQ(copy->getInput()->toXmlString(), job->getInput()->toXmlString()) << name;
    }
}

TEST(JobTable, OtherNamesAreRefusedByWhetherTheyAreCommon) {
    const struct {
        const char* name;
        uint32_t category, code;
    } others[] = {
        {"PSIDRevert", 10, 34},  // of the common list, not of this library
        {"WriteSame", 10, 34},  {"Nothing", 11, 4}, {"", 11, 4}, {"smart", 11, 4},  // compared exactly
    };
    for (const auto& other : others) {
        const auto job = createJob(other.name);
        ASSERT_FALSE(job) << other.name;
        EXPECT_TRUE(job.error().is(other.category, other.code)) << other.name << ": " << job.error().getMessage();
    }
}

}  // namespace
}  // namespace features::library
