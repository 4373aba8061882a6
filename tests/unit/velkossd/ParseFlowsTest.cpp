#include "tests/unit/velkossd/FlowTest.h"
#include "tests/unit/velkossd/InFolder.h"

namespace cli::velkossd {
namespace {

using Names = std::vector<std::string>;

constexpr char ONE_SOURCE[] = "Error: specify either -velkossd [drive index] or -source [file location], not both.";
constexpr char RESPONSE[] =
    "<Object><Object category=\"Output\" name=\"log\" key=\"VX1\"><Property name=\"Events\" "
    "value=\"1\"/></Object></Object>";
constexpr char FAILING_RESPONSE[] =
    "<Object><Object category=\"Output\"><Object category=\"status\" name=\"Part\"><Property name=\"Code\" "
    "value=\"9\"/>"
    "</Object></Object></Object>";

class ParseFlow : public FlowTest {
protected:
    /// Parsing a file: no drive, no scan.
    static std::string fileRequest(const std::string& job, const std::string& arguments) {
        return xmlRequest(job, "Method", arguments + MODULES);
    }

    const Parts file_ = {{"-source", "/tmp/log.bin"}};
    const InFolder folder_;
};

TEST_F(ParseFlow, WantsADriveOrAFileAndNotBoth) {
    const Parts json = {{"-output", "json"}};
    const Parts jsonAndFile = {{"-output", "json"}, {"-source", "/tmp/log.bin"}};
    for (const int id : {42, 49, 101}) {
        SCOPED_TRACE(id);
        expectRefusal(id, makeCommand("show", {}, {}, json), BAD_VALUE, ONE_SOURCE);
        expectRefusal(id, makeCommand("show", {{"-velkossd", "0"}}, {}, jsonAndFile), BAD_VALUE, ONE_SOURCE);
        expectRefusal(id, makeCommand("show", {{"-velkossd", ""}}, {}, jsonAndFile), BAD_VALUE,
                      "Error: Must specify an velko ssd index.");
    }
}

// Persistent event log.

TEST_F(ParseFlow, ParsesAPersistentEventLog) {
    expectRequest(49, makeCommand("show", {{"-velkossd", "0"}, {"-persistenteventlog", ""}}),
                  xmlMethod("PersistentEventLogParse", ""));
    expectRequest(
        49, makeCommand("show", {{"-persistenteventlog", ""}}, {}, file_),
        fileRequest("PersistentEventLogParse", xmlProperty("PELFilePath", "PELFilePath", "string", "/tmp/log.bin")));
    services_.responses = {RESPONSE, RESPONSE};
    expectResult(49, makeCommand("show", {}, {}, file_), 0, "\nEvents : 1\n");
    EXPECT_EQ(folder_.names(), Names{});
    Parts options = file_;
    options["-destination"] = "parsed";
    expectResult(49, makeCommand("show", {}, {}, options), 0, "Successfully written log data to parsed");
    EXPECT_EQ(readWholeFile("parsed"), "\nEvents : 1\n");
}

// Nlog.

TEST_F(ParseFlow, ParsesAnNlog) {
    const std::string path = xmlProperty("BinaryFilePath", "Binary File Path", "string", "/tmp/log.bin");
    expectRequest(101, makeCommand("show", {{"-velkossd", "0"}}), xmlMethod("NlogParse", ""));
    expectRequest(101, makeCommand("show", {}, {}, file_), fileRequest("NlogParse", path));
    for (const char* value : {"true", "TRUE"})
        expectRequest(101, makeCommand("show", {}, {{"Assert", value}}, file_), fileRequest("AssertNlogParse", path));
    expectRequest(101, makeCommand("show", {{"-velkossd", "0"}}, {{"Assert", "False"}}), xmlMethod("NlogParse", ""));
    for (const char* value : {"", "1", "yes"})
        expectRefusal(101, makeCommand("show", {}, {{"Assert", value}}, file_), BAD_VALUE,
                      "Error: Must specify true|false for the given property: Assert");
}

TEST_F(ParseFlow, WritesAParsedNlog) {
    services_.responses = {RESPONSE, RESPONSE, FAILING_RESPONSE, RESPONSE};
    expectResult(101, makeCommand("show", {}, {}, file_), 0, "\nEvents : 1\n");
    Parts options = file_;
    options["-destination"] = "parsed";
    expectResult(101, makeCommand("show", {}, {}, options), 0, "Successfully written parsed nlog data to parsed");
    EXPECT_EQ(readWholeFile("parsed"), "\nEvents : 1\n");
    expectResult(101, makeCommand("show", {}, {}, options), 9, "Successfully written parsed nlog data to parsed");
    EXPECT_EQ(readWholeFile("parsed"), "\n- Part -\n\nNo results\n");
    options["-destination"] = "missing/parsed";
    expectResult(101, makeCommand("show", {}, {}, options), 2,
                 "Out of Memory: Failed to write parsed nlog data to missing/parsed");
    EXPECT_EQ(folder_.names(), Names{"parsed"});
}

// Telemetry log.

TEST_F(ParseFlow, WantsJsonOfATelemetryLog) {
    for (const Parts& options : {Parts{}, Parts{{"-output", "text"}}, Parts{{"-output", ""}}})
        expectRefusal(42, makeCommand("show", {}, {}, options), BAD_VALUE, "Error: Must specify '-output json'.");
}

TEST_F(ParseFlow, ParsesATelemetryLog) {
    const std::string tool = xmlProperty("ToolName", "Tool Full Name", "string", "Velko(R) Nimbrel Tool") +
                             xmlProperty("ToolVersion", "Tool Version", "string", "2.2.18");
    const std::string area = xmlProperty("DataArea", "Data Area Number", "uint16", "2");
    const auto host = [](const std::string& value) {
        return xmlProperty("HostInitiated", "Host Initiated", "boolean", value);
    };
    const std::string path =
        xmlProperty("TelemetryBinaryFilePath", "Telemetry Binary File Path", "string", "/tmp/log.bin");
    const std::string configuration = xmlProperty("InputConfiguration", "Input Configuration", "string", "/tmp/c");
    const Parts json = {{"-output", "JSON"}};
    const Parts jsonAndFile = {{"-output", "json"}, {"-source", "/tmp/log.bin"}};
    expectRequest(42, makeCommand("show", {{"-velkossd", "0"}}, {}, json),
                  xmlMethod("TelemetryLogParse", tool + host("true")));
    expectRequest(42, makeCommand("show", {}, {}, jsonAndFile),
                  fileRequest("TelemetryLogParse", tool + host("true") + path));
    expectRequest(42,
                  makeCommand("show", {{"-dataarea", "2"}},
                              {{"HostInitiated", "False"}, {"InputConfiguration", "/tmp/c"}}, jsonAndFile),
                  fileRequest("TelemetryLogParse", tool + area + host("False") + path + configuration));
    expectRefusal(42, makeCommand("show", {}, {{"HostInitiated", "1"}}, jsonAndFile), BAD_VALUE,
                  "Error: Must specify true|false for the given property: HostInitiated");
}

TEST_F(ParseFlow, WritesAParsedTelemetryLogAsJson) {
    services_.responses = {RESPONSE, RESPONSE, RESPONSE};
    Parts options = {{"-output", "json"}, {"-source", "/tmp/log.bin"}};
    expectResult(42, makeCommand("show", {}, {}, options), 0, "\nEvents : 1\n");
    options["-destination"] = "parsed";
    expectResult(42, makeCommand("show", {}, {}, options), 0, "Successfully written parsed telemetry data to parsed");
    EXPECT_EQ(readWholeFile("parsed"), "{\n\t\"Events\":1\n}");
    options["-destination"] = "missing/parsed";
    expectResult(42, makeCommand("show", {}, {}, options), 2,
                 "Out of Memory: Failed to write parsed telemetry data to missing/parsed");
    EXPECT_EQ(folder_.names(), Names{"parsed"});
}

}  // namespace
}  // namespace cli::velkossd
