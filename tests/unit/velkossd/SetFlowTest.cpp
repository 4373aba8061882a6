#include "tests/unit/velkossd/FlowTest.h"

namespace cli::velkossd {
namespace {

class SetFlow : public FlowTest {
protected:
    static std::string setRequest(const std::string& job, const std::string& property) {
        return xmlRequest(job, "SetProperty", SCAN + MODULES + DRIVE_0 + xmlRequested(property));
    }
};

struct SetCase {
    int id;
    const char* job;
    const char* key;
    const char* displayName;
    const char* type;
    const char* typed;
    const char* value;
    const char* size;
};

// clang-format off
constexpr SetCase SET_CASES[] = {
    {1,  "NVMeFeatures",         "AggregationThreshold",                     "Aggregation Threshold",                       "uint32",  "0x10",     "16",    "4"},
    {2,  "NVMeFeatures",         "AggregationTime",                          "Aggregation Time",                            "uint32",  "4294967295", "4294967295", "4"},
    {4,  "MaxAddress",           "MaximumLBA",                               "Maximum LBA",                                 "string",  "80%",      "80%",   "4"},
    {8,  "PowerGovernor",        "PowerGovernorMode",                        "Power Governor Mode",                         "uint32",  "2",        "2",     "4"},
    {13, "NVMeFeatures",         "TempThreshold",                            "Temperature Threshold",                       "sint32",  "75",       "75",    "4"},
    {30, "LatencyTracking",      "LatencyTrackingEnabled",                   "Latency Tracking Enabled",                    "boolean", "true",     "True",  "1"},
    {68, "NVMeFeatures",         "SMARTHealthCriticalWarningsConfiguration", "SMART Health Critical Warnings Configuration", "uint8",  "ff",       "255",   "1"},
    {69, "NVMeFeatures",         "TelemetryLogNoticesConfiguration",         "Telemetry Log Notices Configuration",         "boolean", "1",        "True",  "1"},
    {70, "NVMeFeatures",         "FirmwareActivationNoticesConfiguration",   "Firmware Activation Notices Configuration",   "boolean", "FALSE",    "False", "1"},
    {71, "NVMeFeatures",         "NamespaceAttributeNoticesConfiguration",   "Namespace Attribute Notices Configuration",   "boolean", "0",        "False", "1"},
    {84, "OCPReadOnlyWriteMode", "Mode",                                     "Read Only Write Mode",                        "string",  "1",        "1",     "2"},
    {86, "NVMeFeatures",         "ClearCounter",                             "Clear PCIeCorrectable Counter",               "boolean", "true",     "True",  "1"},
    {89, "OCPIEEESilo",          "Enable",                                   "Enable",                                      "boolean", "false",    "False", "1"},
    {96, "OCPPLPCheck",          "PLPCheckInterval",                         "PLP Health Check Interval",                   "string",  "15",       "15",    "3"},
    {98, "OCPDSSDPowerState",    "DSSDPowerState",                           "DSSD Power State In Watts",                   "string",  "20",       "20",    "3"},
};
// clang-format on

TEST_F(SetFlow, SendsTheOnePropertyOfEachCommandWithItsSize) {
    for (const auto& c : SET_CASES) {
        SCOPED_TRACE(c.key);
        const auto command = makeCommand("set", {{"-velkossd", "0"}}, {{c.key, c.typed}});
        expectRequest(c.id, command, setRequest(c.job, xmlProperty(c.key, c.displayName, c.type, c.value, c.size)));
        expectResult(c.id, command, 0, "Set " + std::string(c.key) + " successful. Completed successfully.");
    }
}

TEST_F(SetFlow, WantsADriveAPropertyAndAValue) {
    for (const auto& c : SET_CASES) {
        SCOPED_TRACE(c.key);
        const std::string key = c.key;
        expectRefusal(c.id, makeCommand("set", {{"-velkossd", ""}}, {{key, c.typed}}), BAD_VALUE,
                      "Error: Must specify an velko ssd index.");
        expectRefusal(c.id, makeCommand("set", {}, {{key, c.typed}}), BAD_VALUE, "Error: -velkossd target not found.");
        expectRefusal(c.id, makeCommand("set", {{"-velkossd", "0"}}, {{"Other", "1"}}), BAD_PROPERTY,
                      "Error: Property not found: " + key);
        expectRefusal(c.id, makeCommand("set", {{"-velkossd", "0"}}, {{key, ""}}), BAD_VALUE,
                      "Error: Must specify a value for the given property: " + key);
    }
}

TEST_F(SetFlow, RefusesAValueThatDoesNotSuitTheType) {
    const struct {
        int id;
        const char* key;
        const char* value;
        const char* why;
    } cases[] = {
        {1, "AggregationThreshold", "many", "no number"},
        {1, "AggregationThreshold", "-1", "no sign"},
        {2, "AggregationTime", "4294967296", "more than 32 bits"},
        {8, "PowerGovernorMode", "1.5", "no whole number"},
        {13, "TempThreshold", "2147483648", "more than 31 bits"},
        {30, "LatencyTrackingEnabled", "on", "no boolean"},
        {68, "SMARTHealthCriticalWarningsConfiguration", "256", "more than 8 bits"},
        {86, "ClearCounter", "2", "no boolean"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.why);
        expectRefusal(c.id, makeCommand("set", {{"-velkossd", "0"}}, {{c.key, c.value}}), BAD_VALUE,
                      "Error: Invalid value given for " + std::string(c.key));
    }
}

std::string statusResponse(const std::string& code, const std::string& message) {
    return "<Object><Object category=\"status\"><Property name=\"Category\" value=\"10\"/><Property name=\"Code\" "
           "value=\"" +
           code + "\"/><Property name=\"Message\" value=\"" + message + "\"/></Object></Object>";
}

TEST_F(SetFlow, AddsTheMessageThatTheLibrarySends) {
    const auto command = makeCommand("set", {{"-velkossd", "0"}}, {{"AggregationTime", "1"}});
    services_.responses = {statusResponse("0", "Takes effect after a reset.")};
    expectResult(2, command, 0, "Set AggregationTime successful. Takes effect after a reset.");
    services_.responses = {statusResponse("0", "")};
    expectResult(2, command, 0, "Set AggregationTime successful.");
    services_.responses = {"<Object/>"};
    expectResult(2, command, 0, "Set AggregationTime successful. Completed successfully.");
    services_.responses = {statusResponse("38", "No properties specified for this feature.")};
    expectResult(2, command, 3, "Error: No properties specified for this feature.");
    services_.responses = {statusResponse("38", "")};
    expectResult(2, command, 3, "Error: Category = 10 Code = 38");
}

class LedFlow : public SetFlow {};

TEST_F(LedFlow, SetsTheOnePropertyGiven) {
    const struct {
        const char* key;
        const char* displayName;
        const char* type;
        const char* value;
        const char* size;
    } cases[] = {
        {"Milliseconds", "Duration Base", "uint32", "25", "4"},
        {"IdleState", "Idle State", "string", "on", "3"},
        {"FormatOffMultiplier", "Format Off Multiplier", "uint32", "0", "4"},
        {"FormatOnMultiplier", "Format On Multiplier", "uint32", "15", "4"},
        {"IoOffMultiplier", "I/O Off Multiplier", "uint32", "7", "4"},
        {"IoOnMultiplier", "I/O On Multiplier", "uint32", "8", "4"},
    };
    for (const auto& c : cases) {
        const auto command = makeCommand("set", {{"-velkossd", "0"}, {"-led", ""}}, {{c.key, c.value}});
        expectRequest(63, command,
                      setRequest("LedActivity", xmlProperty(c.key, c.displayName, c.type, c.value, c.size)));
        expectResult(63, command, 0, "Set " + std::string(c.key) + " successful. Completed successfully.");
    }
}

TEST_F(LedFlow, WantsExactlyOnePropertyBeforeItLooksAtTheKey) {
    const std::string text = "Error: Must specify one (and only one property) for set LED activity feature.";
    expectRefusal(63, makeCommand("set", {{"-velkossd", "0"}}), BAD_VALUE, text);
    expectRefusal(63, makeCommand("set", {}, {{"IdleState", "on"}, {"Nonsense", "1"}}), BAD_VALUE, text);
    expectRefusal(63, makeCommand("set", {{"-velkossd", "0"}}, {{"IdleState", "on"}, {"IoOnMultiplier", "1"}}),
                  BAD_VALUE, text);
}

TEST_F(LedFlow, KnowsItsPropertiesByTheirExactKeys) {
    for (const char* key : {"idlestate", "DurationBase", "Color", ""})
        expectRefusal(63, makeCommand("set", {{"-velkossd", "0"}}, {{key, "1"}}), BAD_VALUE,
                      "Error: Failed to find supported property for LED activity.");
    expectRefusal(63, makeCommand("set", {{"-velkossd", ""}}, {{"IdleState", "on"}}), BAD_VALUE,
                  "Error: Must specify an velko ssd index.");
    expectRefusal(63, makeCommand("set", {{"-velkossd", "0"}}, {{"Milliseconds", "fast"}}), BAD_VALUE,
                  "Error: Invalid value given for Milliseconds");
}

class TimestampFlow : public SetFlow {};

TEST_F(TimestampFlow, SetsTheTimestamp) {
    const auto timestamp = [](const std::string& value) {
        return setRequest("Timestamp", xmlProperty("Timestamp", "Timestamp", "uint64", value, "8"));
    };
    expectRequest(80, makeCommand("set", {{"-velkossd", "0"}, {"-timestamp", "1700000000000"}}),
                  timestamp("1700000000000"));
    expectRequest(80, makeCommand("set", {{"-velkossd", "0"}, {"-timestamp", "0x18BCFE56800"}}),
                  timestamp("1700000000000"));
    expectResult(80, makeCommand("set", {{"-velkossd", "0"}, {"-timestamp", "0"}}), 0,
                 "Set Timestamp successful. Completed successfully.");
    services_.responses = {statusResponse("0", "Synchronised.")};
    expectResult(80, makeCommand("set", {{"-velkossd", "0"}, {"-timestamp", "0"}}), 0,
                 "Set Timestamp successful. Synchronised.");
}

TEST_F(TimestampFlow, WantsADriveAndANumber) {
    expectRefusal(80, makeCommand("set", {{"-velkossd", ""}, {"-timestamp", "bad"}}), BAD_VALUE,
                  "Error: Must specify an velko ssd index.");
    expectRefusal(80, makeCommand("set", {{"-velkossd", "0"}}), BAD_VALUE, "Error: Failed to find timestamp target.");
    for (const char* value : {"noon", "-1", "1.5", "0x1Z"})
        expectRefusal(80, makeCommand("set", {{"-velkossd", "0"}, {"-timestamp", value}}), BAD_VALUE,
                      "Error: Failed to find timestamp target.");
    for (const char* value : {"18446744073709551616", "", "0x"})
        expectRefusal(80, makeCommand("set", {{"-velkossd", "0"}, {"-timestamp", value}}), BAD_VALUE,
                      "Error: Invalid value given for Timestamp");
}

}  // namespace
}  // namespace cli::velkossd
