#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "features/library/JobTable.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"
#include "tests/support/fakedrive/FakeDrive.h"
#include "tests/unit/features/jobs/JobRun.h"

namespace features::library {
namespace {

using namespace ostrel::interfaces::ostreli;
using Arguments = std::vector<std::pair<const char*, const char*>>;

/// What a job answers for a SATA drive that it does not serve. The drive's script is empty: one command fails the test.
struct RefusalCase {
    const char* job;
    const char* type;
    Arguments arguments;
    unsigned category, code;
    const char* text;
};
const RefusalCase REFUSALS[] = {
    {"AssertLog", JOBTYPE_METHOD, {}, 10, 3, "The selected drive does not support this feature."},
    {"BridgeNlog",
     JOBTYPE_METHOD,
     {},
     10,
     246,
     "Drive does not support pulling Nlogs directly. Use telemetry instead."},
    {"EventLog", JOBTYPE_METHOD, {}, 10, 217, "Drive does not support Event Logging."},
    {"Nlog", JOBTYPE_METHOD, {}, 10, 246, "Drive does not support pulling Nlogs directly. Use telemetry instead."},
    {"SystemSnapshot", JOBTYPE_METHOD, {}, 10, 3, "The selected drive does not support this feature."},
    {"PersistentEventLog", JOBTYPE_METHOD, {}, 10, 251, "Drive Does Not Support Persistent Event Log."},
    {"ForceFlush", JOBTYPE_METHOD, {{"StartForceFlush", "True"}}, 10, 34, "Feature is not supported."},
    {"ForceFlush", JOBTYPE_GET_PROPERTIES, {}, 10, 34, "Feature is not supported."},
    {"LatencyTracking",
     JOBTYPE_METHOD,
     {{"LatencyStatisticsForReadCommands", "True"}},
     10,
     34,
     "Feature is not supported."},
    {"NVMeReset", JOBTYPE_METHOD, {{"ResetType", "Controller"}}, 10, 34, "Feature is not supported."},
    {"NVMeLog", JOBTYPE_METHOD, {{"LogID", "2"}}, 0, 35, "Device does not support this command set."},
    {"NVMeFeatures",
     JOBTYPE_METHOD,
     {{"SetGetType", "get"}, {"FeatureId", "4"}},
     0,
     35,
     "Device does not support this command set."},
    {"OCPErrorInjection",
     JOBTYPE_METHOD,
     {{"SetGetType", "get"}},
     10,
     254,
     "Open Compute Project NVMe Cloud SSD Specification not supported on this drive."},
    {"OCPPLPCheck",
     JOBTYPE_GET_PROPERTIES,
     {},
     10,
     254,
     "Open Compute Project NVMe Cloud SSD Specification not supported on this drive."},
    {"OCPDSSDPowerState",
     JOBTYPE_GET_PROPERTIES,
     {},
     10,
     254,
     "Open Compute Project NVMe Cloud SSD Specification not supported on this drive."},
    {"OCPIEEESilo",
     JOBTYPE_GET_PROPERTIES,
     {},
     10,
     254,
     "Open Compute Project NVMe Cloud SSD Specification not supported on this drive."},
    {"OCPReadOnlyWriteMode",
     JOBTYPE_GET_PROPERTIES,
     {},
     10,
     254,
     "Open Compute Project NVMe Cloud SSD Specification not supported on this drive."},
    {"NVMeFeatures",
     JOBTYPE_METHOD,
     {{"SetGetType", "set"}, {"FeatureId", "4"}, {"DWORD11", "1"}},
     0,
     35,
     "Device does not support this command set."},
    {"Identify",
     JOBTYPE_METHOD,
     {{"ControllerNamespaceStructure", "0"}, {"NamespaceId", "1"}},
     0,
     35,
     "Device does not support this command set."},
    {"Identify",
     JOBTYPE_METHOD,
     {{"ControllerNamespaceStructure", "19"}},
     0,
     35,
     "Device does not support this command set."},
    {"Format", JOBTYPE_METHOD, {{"Type", "NVMeFormat"}}, 0, 35, "Device does not support this command set."},
    {"NamespaceManagement",
     JOBTYPE_METHOD,
     {{"Action", "create"}, {"Size", "100"}},
     10,
     34,
     "Feature is not supported."},
    {"NamespaceManagement",
     JOBTYPE_METHOD,
     {{"Action", "delete"}, {"NamespaceId", "1"}},
     10,
     34,
     "Feature is not supported."},
    {"NamespaceManagement",
     JOBTYPE_METHOD,
     {{"Action", "attach"}, {"NamespaceId", "1"}},
     10,
     34,
     "Feature is not supported."},
    {"NamespaceManagement",
     JOBTYPE_METHOD,
     {{"Action", "detach"}, {"NamespaceId", "1"}},
     10,
     34,
     "Feature is not supported."},
    {"LedActivity", JOBTYPE_GET_PROPERTIES, {}, 10, 34, "Feature is not supported."},
    {"PowerGovernor", JOBTYPE_GET_PROPERTIES, {}, 10, 34, "Feature is not supported."},
    {"SMBusAddress", JOBTYPE_GET_PROPERTIES, {{"SMBusAddress", "29"}}, 10, 34, "Feature is not supported."},
};

/// The settings of NVMe drives.
struct SettingCase {
    const char* job;
    ostrel::core::Attribute (*attribute)();
    const char* value;
    const char* status;
};
constexpr const char* NOT_SUPPORTED = "10/34 Feature is not supported.";
constexpr const char* NO_OCP = "10/254 Open Compute Project NVMe Cloud SSD Specification not supported on this drive.";
namespace keys = ostrel::core::attributes::feature;
constexpr SettingCase SETTINGS[] = {
    {"NVMeFeatures", keys::aggregationThreshold, "1", NOT_SUPPORTED},
    {"NVMeFeatures", keys::aggregationTime, "1", NOT_SUPPORTED},
    {"NVMeFeatures", keys::tempThreshold, "70", NOT_SUPPORTED},
    {"NVMeFeatures", keys::smartHealthCriticalWarningsConfiguration, "1", NOT_SUPPORTED},
    {"NVMeFeatures", keys::telemetryLogNoticesConfiguration, "1", NOT_SUPPORTED},
    {"NVMeFeatures", keys::firmwareActivationNoticesConfiguration, "1", NOT_SUPPORTED},
    {"NVMeFeatures", keys::namespaceAttributeNoticesConfiguration, "1", NOT_SUPPORTED},
    {"NVMeFeatures", keys::clearCounter, "true", NOT_SUPPORTED},
    {"PowerGovernor", keys::powerGovernorMode, "1", NOT_SUPPORTED},
    {"LatencyTracking", keys::latencyTrackingEnabled, "true", NOT_SUPPORTED},
    {"OCPReadOnlyWriteMode", keys::mode, "1", NO_OCP},
    {"OCPIEEESilo", keys::enable, "true", NO_OCP},
    {"OCPPLPCheck", keys::plpCheckInterval, "1", NO_OCP},
    {"OCPDSSDPowerState", keys::dssdPowerState, "1", NO_OCP},
};

TEST(SataRefusals, ASettingOfNvmeDrivesIsRefusedBeforeAnyCommand) {
    for (const SettingCase& row : SETTINGS) {
        fakedrive::FakeSataDrive drive("S1", "/dev/sda");
        const auto job = createJob(row.job);
        ASSERT_TRUE(job) << row.job;
        EXPECT_EQ(jobs::JobRun(**job, JOBTYPE_SET_PROPERTY).setting(row.attribute(), row.value).on({&drive}),
                  std::string(row.status) + " S1 (/dev/sda) is a SATA drive.")
            << row.job << ' ' << row.attribute().getName();
    }
}

TEST(SataRefusals, AJobForNvmeDrivesSendsASataDriveNothingAndNamesIt) {
    for (const RefusalCase& row : REFUSALS) {
        fakedrive::FakeSataDrive drive("S1", "/dev/sda");
        const auto job = createJob(row.job);
        ASSERT_TRUE(job) << row.job;
        jobs::JobRun run(**job, row.type);
        for (const auto& [key, value] : row.arguments) run.with(key, value);
        const std::string status = "<Property name=\"Category\" value=\"" + std::to_string(row.category) +
                                   "\"/>\n<Property name=\"Code\" value=\"" + std::to_string(row.code) +
                                   "\"/>\n<Property name=\"Message\" value=\"" + row.text +
                                   " S1 (/dev/sda) is a SATA drive.\"/>\n";
        const std::string answer = run.on({&drive});
        EXPECT_NE(answer.find(status), std::string::npos) << row.job << ' ' << row.type << ":\n" << answer;
    }
}

}  // namespace
}  // namespace features::library
