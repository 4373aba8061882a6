#include <gtest/gtest.h>

#include <string>

#include "CLI/velkossd/SubFlows.h"
#include "ostrel/core/xml/XmlObject.h"
#include "ostrel/interfaces/ostreli/interface/Job.h"
#include "tests/unit/velkossd/FlowTest.h"

namespace cli::velkossd {
namespace {

class MethodFlow : public FlowTest {};

TEST_F(MethodFlow, SendsAJobThatWantsNothingButADrive) {
    const struct {
        int id;
        const char* verb;
        const char* job;
    } cases[] = {
        {77, "reset", "NVMeReset"},
        {78, "reset", "EnduranceAnalyzer"},
        {81, "show", "BackgroundProcessing"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.job);
        expectRequest(c.id, makeCommand(c.verb, {{"-velkossd", "0"}}), xmlMethod(c.job, ""));
        expectRequest(c.id, makeCommand(c.verb, {}), xmlRequest(c.job, "Method", SCAN + MODULES));
    }
}

TEST_F(MethodFlow, SendsJobsThatNoCommandLineReaches) {
    const struct {
        int id;
        const char* job;
    } cases[] = {{52, "EraseAssert"}, {53, "LowLevelFormat"}, {54, "CycleReport"}, {59, "ResetCRC"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.job);
        expectRequest(c.id, makeCommand("start", {{"-velkossd", "0"}}), xmlMethod(c.job, ""));
    }
}

TEST_F(MethodFlow, ShowsWhatTheLibraryAnswers) {
    services_.responses = {
        "<Object><Object category=\"Output\"><Object category=\"status\" name=\"Drive\" key=\"VX1\">"
        "<Property name=\"Code\" value=\"0\"/><Property name=\"Message\" "
        "value=\"Reset.\"/></Object></Object></Object>"};
    expectResult(77, makeCommand("reset", {{"-velkossd", "0"}}), 0, "\n- Drive VX1 -\n\nStatus : Reset.\n");
}

// Force flush.

TEST_F(MethodFlow, StartsAndStopsThePerformanceBooster) {
    const auto flush = [](const std::string& value) {
        return xmlMethod("ForceFlush", xmlProperty("StartForceFlush", "Start Force Flush", "boolean", value));
    };
    expectRequest(72, makeCommand("start", {{"-velkossd", "0"}, {"-performancebooster", ""}}), flush("true"));
    expectRequest(72, makeCommand("stop", {{"-velkossd", "0"}, {"-performancebooster", ""}}), flush("false"));
    for (const char* verb : {"show", "set", "Start", ""})
        expectRefusal(72, makeCommand(verb, {{"-velkossd", "0"}}), BAD_VALUE, "Error: Invalid Job.");
}

// Latency statistics.

TEST_F(MethodFlow, ReadsLatencyStatistics) {
    const auto reads = [](const std::string& value) {
        return xmlProperty("LatencyStatisticsForReadCommands", "Latency Statistics For Read Commands", "boolean",
                           value);
    };
    for (const char* word : {"reads", "READS", "Reads"})
        expectRequest(40, makeCommand("show", {{"-velkossd", "0"}, {"-latencystatistics", word}}),
                      xmlMethod("LatencyTracking", reads("True")));
    for (const char* word : {"writes", "WRITES"})
        expectRequest(40, makeCommand("show", {{"-velkossd", "0"}, {"-latencystatistics", word}}),
                      xmlMethod("LatencyTracking", reads("False")));
    const struct {
        const char* typed;
        const char* value;
    } types[] = {{"0", "0"}, {"1", "1"}, {"2", "2"}, {"3", "3"}, {"03", "3"}};
    for (const auto& type : types)
        expectRequest(
            40, makeCommand("show", {{"-velkossd", "0"}, {"-latencystatistics", "reads"}}, {{"Type", type.typed}}),
            xmlRequest("LatencyTracking", "Method",
                       SCAN + reads("True") + MODULES + DRIVE_0 +
                           xmlRequested(xmlProperty("Type", "Type", "uint8", type.value, "1"))));
}

TEST_F(MethodFlow, RefusesOtherLatencyStatistics) {
    for (const char* word : {"read", "", "0"})
        expectRefusal(40, makeCommand("show", {{"-latencystatistics", word}}, {{"Type", "9"}}), BAD_VALUE,
                      "Error: Invalid latency log given. Supported values are 'reads' and 'writes'.");
    for (const char* type : {"4", "-1", "", "one", "0x1", "256", "18446744073709551616"})
        expectRefusal(40, makeCommand("show", {{"-latencystatistics", "reads"}}, {{"Type", type}}), BAD_VALUE,
                      "Error: Must specify 0-3 for the given property: Type");
}

// Assert recovery.

TEST_F(MethodFlow, RecoversFromAnAssert) {
    expectRequest(
        92, makeCommand("start", {{"-velkossd", "0"}, {"-assertrecovery", "HostDataRecovery"}}),
        xmlMethod("AssertRecovery", xmlProperty("RecoveryType", "Recovery Type", "string", "HostDataRecovery")));
    expectRequest(92, makeCommand("start", {{"-velkossd", "0"}}), xmlMethod("AssertRecovery", ""));
    expectRefusal(92, makeCommand("start", {{"-velkossd", "0"}, {"-assertrecovery", ""}}), BAD_VALUE,
                  "Error: Must specify a recovery type.");
}

// SM bus address.

TEST_F(MethodFlow, SendsAnSMBusAddressAsTyped) {
    const std::string address = xmlProperty("SMBusAddress", "SM Bus Address", "uint32", "0xD4");
    const std::string selector = xmlProperty("SMBusSelector", "SM Bus Address Selector", "uint8", "any");
    expectRequest(29, makeCommand("set", {{"-velkossd", "0"}}, {{"SMBusAddress", "0xD4"}}),
                  xmlMethod("SMBusAddress", address));
    expectRequest(29, makeCommand("set", {{"-velkossd", "0"}}, {{"SMBusSelector", "any"}, {"SMBusAddress", "0xD4"}}),
                  xmlMethod("SMBusAddress", address + selector));
    expectRequest(29, makeCommand("set", {{"-velkossd", "0"}}), xmlMethod("SMBusAddress", ""));
}

// Trim.

constexpr char TRIM_QUESTION[] =
    "WARNING! You have selected to Trim. This will make the user data on the drive inaccessible.\n"
    "Proceed with the Trim command? (Y|N): ";

TEST_F(MethodFlow, TrimsWhatTheUserAgreesTo) {
    const std::string request = xmlMethod("Trim", xmlProperty("StartLBA", "Starting LBA", "uint64", "0") +
                                                      xmlProperty("Count", "Count", "uint64", "many"));
    const Parts range = {{"StartLBA", "0"}, {"Count", "many"}};
    {
        const StandardStreams streams;
        expectRequest(57, makeCommand("start", {{"-velkossd", "0"}, {"-trim", ""}}, range, {{"-force", ""}}), request);
        EXPECT_EQ(streams.questions(), "");
        EXPECT_EQ(streams.output(), "");
    }
    {
        const StandardStreams streams("y\n");
        expectRequest(57, makeCommand("start", {{"-velkossd", "0"}, {"-trim", ""}}, range), request);
        EXPECT_EQ(streams.questions(), TRIM_QUESTION);
        EXPECT_EQ(streams.output(), "");
    }
    const StandardStreams streams("n\n");
    expectRefusal(57, makeCommand("start", {{"-velkossd", "0"}, {"-trim", ""}}, range), 0, "Cancelled");
    EXPECT_EQ(streams.questions(), TRIM_QUESTION);
}

TEST_F(MethodFlow, MissesTheRangeOfATrimOnlyAfterTheQuestion) {
    for (const Parts& range : {Parts{}, Parts{{"StartLBA", "0"}}, Parts{{"Count", "1"}}}) {
        const StandardStreams streams("y\n");
        expectRefusal(57, makeCommand("start", {{"-velkossd", "0"}, {"-trim", ""}}, range), BAD_VALUE,
                      "Error: Must provide StartLBA and Count properties.");
        EXPECT_EQ(streams.questions(), TRIM_QUESTION);
    }
}

// PSID revert.

TEST_F(MethodFlow, RevertsNoDriveOnThisSystem) {
    const StandardStreams streams("y\n");
    for (const char* psid : {"", "short", "0123456789ABCDEF0123456789ABCDEF"})
        for (const Parts& options : {Parts{}, Parts{{"-force", ""}}})
            expectRefusal(58, makeCommand("start", {{"-velkossd", "0"}, {"-psidrevert", psid}}, {}, options), 3,
                          "Error: Unsupported Operating System. This feature is only supported on Windows.");
    EXPECT_EQ(streams.questions(), "");
}

// Self-test.

TEST_F(MethodFlow, StartsASelfTest) {
    const auto type = [](const std::string& value) { return xmlProperty("TestType", "Test Type", "string", value); };
    const auto mode = [](const std::string& value) { return xmlProperty("Mode", "Mode", "string", value); };
    expectRequest(25, makeCommand("start", {{"-velkossd", "0"}, {"-selftest", ""}}),
                  xmlMethod("DriveSelfTest", type("short")));
    for (const char* word : {"short", "EXTENDED", "Conveyance"})
        expectRequest(25, makeCommand("start", {{"-velkossd", "0"}, {"-selftest", word}}),
                      xmlMethod("DriveSelfTest", type(word)));
    for (const char* word : {"captive", "OFFLINE"})
        expectRequest(25, makeCommand("start", {{"-velkossd", "0"}, {"-selftest", "short"}, {"-mode", word}}),
                      xmlMethod("DriveSelfTest", type("short") + mode(word)));
    expectRequest(25, makeCommand("start", {{"-velkossd", "0"}, {"-selftest", ""}, {"-mode", "offline"}}),
                  xmlMethod("DriveSelfTest", type("short") + mode("offline")));
}

TEST_F(MethodFlow, RefusesOtherSelfTests) {
    for (const char* word : {"long", "0", "shorter"})
        expectRefusal(25, makeCommand("start", {{"-selftest", word}, {"-mode", "bad"}}), BAD_VALUE,
                      "Error: Invalid self test given. Supported values are 'short', 'extended', and 'conveyance'. If "
                      "nothing is specified, a short test will be ran.");
    for (const char* word : {"", "online", "captive "})
        expectRefusal(
            25, makeCommand("start", {{"-selftest", "short"}, {"-mode", word}}), BAD_VALUE,
            "Error: Invalid self test mode given. Supported values are 'captive', and 'offline'. If nothing is "
            "specified, a offline test will be ran.");
}

constexpr char SELF_TEST_NOTE[] =
    "Self-test is running in offline mode. Use 'show -selftest' to query status of the self-test.";

TEST_F(MethodFlow, ShowsHowToFollowASelfTestThatWasStarted) {
    const auto command = makeCommand("start", {{"-velkossd", "0"}, {"-selftest", ""}});
    services_.responses = {
        "<Object><Object category=\"Output\"><Property name=\"Status\" value=\"of the whole\"/>"
        "<Object category=\"status\" name=\"Drive 0\" key=\"VX1\"><Property name=\"Code\" value=\"0\"/>"
        "<Property name=\"Message\" value=\"Started.\"/></Object>"
        "<Object name=\"Drive 1\"><Property name=\"Before\" value=\"1\"/><Property name=\"STATUS\" value=\"x\"/>"
        "<Property name=\"Further\" value=\"2\"/><Object category=\"status\" name=\"Below\">"
        "<Property name=\"Message\" value=\"stays\"/></Object></Object>"
        "<Object name=\"Drive 2\"><Property name=\"Model\" value=\"M\"/></Object></Object></Object>"};
    expectResult(25, command, 0,
                 "\nStatus : of the whole\n"
                 "\n- Drive 0 VX1 -\n\nStatus : " +
                     std::string(SELF_TEST_NOTE) +
                     "\n"
                     "\n- Drive 1 -\n\nBefore : 1\nSTATUS : " +
                     std::string(SELF_TEST_NOTE) +
                     "\nFurther : 2\n"
                     "\n  - Below -\n\n  Status : stays\n"
                     "\n  - Drive 2 -\n\n  Model : M\n");
}

TEST_F(MethodFlow, KeepsTheMessagesOfASelfTestThatFailed) {
    services_.responses = {
        "<Object><Object category=\"Output\"><Object category=\"status\" name=\"Drive 0\">"
        "<Property name=\"Message\" value=\"Started.\"/></Object><Object category=\"status\" name=\"Drive 1\">"
        "<Property name=\"Code\" value=\"46\"/><Property name=\"Message\" value=\"Not supported.\"/></Object>"
        "</Object></Object>"};
    expectResult(25, makeCommand("start", {{"-velkossd", "0"}, {"-selftest", ""}}), 46,
                 "\n- Drive 0 -\n\nStatus : Started.\n\n- Drive 1 -\n\nStatus : Not supported.\n");
}

TEST_F(MethodFlow, KeepsTheMessagesOfOtherJobs) {
    services_.responses = {
        "<Object><Object category=\"Output\"><Object name=\"Drive\"><Property name=\"Status\" "
        "value=\"Reset.\"/></Object></Object></Object>"};
    expectResult(77, makeCommand("reset", {{"-velkossd", "0"}}), 0, "\n- Drive -\n\nStatus : Reset.\n");
}

// Sub-flows alone.

TEST_F(MethodFlow, HandsNoSubFlowAnotherJob) {
    const struct {
        SubFlow* subFlow;
        const char* job;
    } cases[] = {
        {addTrim, "Trim"},
        {addPsidRevert, "PSIDRevert"},
        {addFirmwareUpdate, "FirmwareUpdate"},
        {addFirmwareActivation, "FirmwareActivate"},
        {addSelfTest, "DriveSelfTest"},
        {addForceFlush, "ForceFlush"},
    };
    const StandardStreams streams;
    FlowContext context(services_, [](const framework::Prompt&) -> FlowResult {
        ADD_FAILURE() << "a question";
        return nullptr;
    });
    const auto command = makeCommand("set", {{"-velkossd", "0"}}, {{"StartLBA", "0"}, {"Count", "1"}});
    for (const auto& c : cases) {
        const std::pair<const char*, const char*> requests[] = {{"Other", "Method"}, {c.job, "SetProperty"}};
        for (const auto& [job, type] : requests) {
            SCOPED_TRACE(std::string(job) + " " + type + " to " + c.job);
            const auto request = ostrel::interfaces::ostreli::Job::createRequest(job, type, true, "0");
            const auto error = c.subFlow(context, *request, command);
            ASSERT_NE(error, nullptr);
            EXPECT_EQ(error->outputText(), "Error: Invalid Job.");
            EXPECT_EQ(error->getErrorCode(), BAD_VALUE);
        }
    }
    EXPECT_EQ(services_.requests, std::vector<std::string>{});
    EXPECT_EQ(streams.output(), "");
}

}  // namespace
}  // namespace cli::velkossd
