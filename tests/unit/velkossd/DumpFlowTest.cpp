#include "tests/unit/velkossd/FlowTest.h"
#include "tests/unit/velkossd/InFolder.h"

namespace cli::velkossd {
namespace {

using Names = std::vector<std::string>;

class DumpFlow : public FlowTest {
protected:
    static std::string hostInitiated(const std::string& value) {
        return xmlProperty("HostInitiated", "Host Initiated", "boolean", value);
    }

    const InFolder folder_;
};

TEST_F(DumpFlow, NamesTheJobOfEachLog) {
    const struct {
        int id;
        const char* target;
        const char* job;
        std::string arguments;
    } cases[] = {
        {41, "-telemetrylog", "TelemetryLog", hostInitiated("true")},
        {43, "-nlog", "Nlog", ""},
        {44, "-bridgenlog", "BridgeNlog", ""},
        {45, "-eventlog", "EventLog", ""},
        {46, "-assertlog", "AssertLog", ""},
        {91, "-SystemSnapshot", "SystemSnapshot", ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.job);
        expectRequest(c.id, makeCommand("dump", {{"-velkossd", "0"}, {c.target, ""}}), xmlMethod(c.job, c.arguments));
        expectRequest(c.id, makeCommand("dump", {{c.target, ""}}),
                      xmlRequest(c.job, "Method", SCAN + c.arguments + MODULES));
    }
}

TEST_F(DumpFlow, SendsTheArgumentsOfATelemetryLog) {
    const std::string area = xmlProperty("DataArea", "Data Area Number", "uint16", "all");
    const std::string retain = xmlProperty("RetainAsynchronousEvent", "Retain Asynchronous Event", "boolean", "FALSE");
    expectRequest(41, makeCommand("dump", {{"-velkossd", "0"}, {"-dataarea", "all"}}),
                  xmlMethod("TelemetryLog", area + hostInitiated("true")));
    for (const char* value : {"True", "false"})
        expectRequest(41, makeCommand("dump", {{"-velkossd", "0"}}, {{"HostInitiated", value}}),
                      xmlMethod("TelemetryLog", hostInitiated(value)));
    expectRequest(41, makeCommand("dump", {{"-velkossd", "0"}}, {{"RetainAsynchronousEvent", "FALSE"}}),
                  xmlMethod("TelemetryLog", hostInitiated("true") + retain));
    expectRequest(41,
                  makeCommand("dump", {{"-velkossd", "0"}, {"-dataarea", "all"}},
                              {{"RetainAsynchronousEvent", "FALSE"}, {"HostInitiated", "false"}}),
                  xmlMethod("TelemetryLog", area + hostInitiated("false") + retain));
}

TEST_F(DumpFlow, RefusesBadArguments) {
    for (const char* value : {"", "1", "0", "yes"}) {
        expectRefusal(41, makeCommand("dump", {{"-velkossd", "0"}}, {{"HostInitiated", value}}), BAD_VALUE,
                      "Error: Must specify true|false for the given property: HostInitiated");
        expectRefusal(41, makeCommand("dump", {{"-velkossd", "0"}}, {{"RetainAsynchronousEvent", value}}), BAD_VALUE,
                      "Error: Must specify a boolean for the given property: RetainAsynchronousEvent");
    }
}

TEST_F(DumpFlow, WantsOneDriveForADestination) {
    const std::string text = "Error: -destination can only be used when one -velkossd is selected.";
    for (const int id : {41, 43, 44, 45, 46, 48, 91}) {
        expectRefusal(id, makeCommand("dump", {}, {}, {{"-destination", "x"}}), BAD_VALUE, text);
        expectRefusal(id, makeCommand("dump", {{"-velkossd", ""}}, {}, {{"-destination", "x"}}), BAD_VALUE, text);
    }
    EXPECT_EQ(folder_.names(), Names{});
}

TEST_F(DumpFlow, ReadsOrReleasesThePersistentEventLog) {
    const struct {
        const char* word;
        Parts properties;
        const char* action;
    } cases[] = {
        {"read", {}, "new_context"},
        {"READ", {{"NewContext", "true"}}, "new_context"},
        {"read", {{"NewContext", "false"}}, "read"},
        {"read", {{"NewContext", "FALSE"}}, "read"},
        {"read", {{"NewContext", ""}}, "new_context"},
        {"read", {{"NewContext", "0"}}, "new_context"},
        {"release", {}, "release"},
        {"Release", {{"NewContext", "false"}}, "release"},
    };
    for (const auto& c : cases)
        expectRequest(48, makeCommand("dump", {{"-velkossd", "0"}, {"-persistenteventlog", c.word}}, c.properties),
                      xmlMethod("PersistentEventLog", xmlProperty("Action", "Action", "string", c.action)));
    for (const char* word : {"", "write", "new_context"})
        expectRefusal(48, makeCommand("dump", {{"-velkossd", "0"}, {"-persistenteventlog", word}}), BAD_VALUE,
                      "Error: Invalid persistent event log action given " + std::string(word));
}

TEST_F(DumpFlow, SavesThePayload) {
    const std::string response =
        "<Object><Object category=\"Output\" name=\"nlog\" key=\"VX1\"><Property name=\"payload\" value=\"4142\"/>"
        "</Object></Object>";
    services_.responses = {response, response};
    expectResult(43, makeCommand("dump", {{"-nlog", ""}}), 0, "Successfully written nlog data to nlog_VX1.bin");
    EXPECT_EQ(readWholeFile("nlog_VX1.bin"), "AB");
    expectResult(43, makeCommand("dump", {{"-velkossd", "0"}, {"-nlog", ""}}, {}, {{"-destination", "mine"}}), 0,
                 "Successfully written nlog data to mine");
    EXPECT_EQ(readWholeFile("mine"), "AB");
    services_.responses = {
        "<Object><Object category=\"status\"><Property name=\"Code\" value=\"5\"/><Property "
        "name=\"Message\" value=\"No drive.\"/></Object></Object>"};
    expectResult(43, makeCommand("dump", {{"-velkossd", "0"}}, {}, {{"-destination", "other"}}), 3, "Error: No drive.");
    EXPECT_EQ(folder_.names(), (Names{"mine", "nlog_VX1.bin"}));
}

}  // namespace
}  // namespace cli::velkossd
