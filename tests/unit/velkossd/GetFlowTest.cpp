#include "tests/unit/velkossd/FlowTest.h"

namespace cli::velkossd {
namespace {

class GetFlow : public FlowTest {};

std::string getRequest(const std::string& job, const std::string& arguments, const std::string& after = "") {
    return xmlRequest(job, "GetProperties", SCAN + arguments + MODULES + DRIVE_0 + after);
}

std::string displayed(const std::string& name) {
    return "<Property category=\"attribute\" displayName=\"\" name=\"" + name +
           "\" size=\"0\" type=\"string\" value=\"\"/>";
}

std::string selected(const std::string& value) {
    return xmlProperty("Select", "Select", "uint8", value);
}

TEST_F(GetFlow, ReadsOneDrive) {
    expectRequest(
        0, makeCommand("show", {{"-velkossd", "0"}}),
        "<?xml version=\"1.0\" encoding=\"utf-8\"?><Object name=\"VelkoSSD\" type=\"GetProperties\"><Property "
        "category=\"attribute\" displayName=\"Scan\" name=\"Scan\" size=\"0\" type=\"boolean\" value=\"true\"/>"
        "<Property category=\"attribute\" displayName=\"Additional Module Directories\" "
        "name=\"AdditionalModuleDirs\" size=\"0\" type=\"vectorOfStrings\" "
        "value=\"/opt/velko/nimbrel/FirmwareModules\"/><List name=\"Devices\"><Object name=\"Device\"><Property "
        "category=\"attribute\" name=\"Index\" type=\"string\" value=\"0\"/></Object></List></Object>");
}

TEST_F(GetFlow, ReadsAllDrivesWithoutASelector) {
    const std::string request = xmlRequest("VelkoSSD", "GetProperties", SCAN + MODULES);
    expectRequest(0, makeCommand("show", {{"-velkossd", ""}}), request);
    expectRequest(0, makeCommand("show", {}), request);
}

TEST_F(GetFlow, ReportsWhatADriveIsCalled) {
    const struct {
        const char* typed;
        const char* key;
        const char* value;
        const char* why;
    } cases[] = {
        {"12", "Index", "12", "digits"},
        {"BOOTDRIVE", "BootDrive", "BOOTDRIVE", "as typed"},
        {"/dev/nvme0", "Path", "/dev/nvme0", "a path"},
        {"ABCLSI1", "Path", "ABCLSI1", "anything that holds LSI"},
        {"0x1", "SerialNumber", "0x1", "hexadecimal is no index"},
        {"VX000001", "SerialNumber", "VX000001", "anything else"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.why);
        expectRequest(0, makeCommand("show", {{"-velkossd", c.typed}}),
                      xmlRequest("VelkoSSD", "GetProperties", SCAN + MODULES + xmlDevice(c.key, c.value)));
    }
}

TEST_F(GetFlow, NamesTheJobOfEachCommand) {
    const struct {
        int id;
        const char* job;
    } cases[] = {
        {3, "EnduranceAnalyzer"},     {21, "SMART"},         {22, "HealthMetrics"},
        {23, "Performance"},          {26, "DriveSelfTest"}, {62, "LedActivity"},
        {73, "ForceFlush"},           {79, "Timestamp"},     {88, "OCPErrorInjection"},
        {94, "PartitionInformation"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.job);
        expectRequest(c.id, makeCommand("show", {{"-velkossd", "0"}}), getRequest(c.job, ""));
    }
}

TEST_F(GetFlow, AsksForEverythingOfTheJobVelkoSSDAlone) {
    expectRequest(0, makeCommand("show", {{"-velkossd", "0"}}, {}, {{"-all", ""}}),
                  getRequest("VelkoSSD", xmlProperty("ShowAll", "Show All", "boolean", "true")));
    expectRequest(22, makeCommand("show", {{"-velkossd", "0"}, {"-sensor", ""}}, {}, {{"-all", ""}}),
                  getRequest("HealthMetrics", ""));
}

TEST_F(GetFlow, AsksForThePropertiesThatAreDisplayed) {
    expectRequest(0, makeCommand("show", {{"-velkossd", "0"}}, {}, {{"-display", "A,B"}}),
                  getRequest("VelkoSSD", "", xmlRequested(displayed("A") + displayed("B"))));
    expectRequest(0, makeCommand("show", {{"-velkossd", "0"}}, {}, {{"-display", "A"}}),
                  getRequest("VelkoSSD", "", xmlRequested(displayed("A"))));
}

TEST_F(GetFlow, LetsAllWinOverDisplay) {
    expectRequest(0, makeCommand("show", {{"-velkossd", "0"}}, {}, {{"-all", ""}, {"-display", "Foo"}}),
                  getRequest("VelkoSSD", xmlProperty("ShowAll", "Show All", "boolean", "true")));
    expectRequest(22, makeCommand("show", {{"-velkossd", "0"}}, {}, {{"-all", ""}, {"-display", "Foo"}}),
                  getRequest("HealthMetrics", ""));
}

TEST_F(GetFlow, ReadsOneSmartAttribute) {
    const auto include = [](const std::string& value) {
        return xmlProperty("IncludeNVMeSmartHealthLog", "Include NVMe Smart Health Log", "boolean", value);
    };
    const std::string id = xmlProperty("ID", "ID", "string", "C5");
    expectRequest(21, makeCommand("show", {{"-velkossd", "0"}, {"-smart", "C5"}}), getRequest("SMART", id));
    for (const char* value : {"true", "FALSE"})
        expectRequest(21,
                      makeCommand("show", {{"-velkossd", "0"}, {"-smart", ""}}, {{"IncludeNVMeSmartHealthLog", value}}),
                      getRequest("SMART", include(value)));
    expectRequest(21,
                  makeCommand("show", {{"-velkossd", "0"}, {"-smart", "C5"}}, {{"IncludeNVMeSmartHealthLog", "True"}},
                              {{"-display", "A"}}),
                  getRequest("SMART", include("True") + id, xmlRequested(displayed("A"))));
    expectRequest(21, makeCommand("show", {{"-velkossd", "0"}}, {{"IncludeNVMeSmartHealthLog", "bad"}}),
                  getRequest("SMART", ""));
    for (const char* value : {"1", "", "yes"})
        expectRefusal(21, makeCommand("show", {{"-smart", ""}}, {{"IncludeNVMeSmartHealthLog", value}}), BAD_VALUE,
                      "Error: Must specify true|false for the given property: IncludeNVMeSmartHealthLog");
}

TEST_F(GetFlow, ChecksGroupAndLaneByTheirTypes) {
    const std::string group = xmlProperty("Group", "Group", "string", "A");
    const std::string lane = xmlProperty("Lane", "Lane", "uint16", "0xF");
    expectRequest(0, makeCommand("show", {{"-velkossd", "0"}}, {{"Lane", "0xF"}, {"Group", "A"}}),
                  getRequest("VelkoSSD", group + lane));
    expectRefusal(0, makeCommand("show", {{"-velkossd", "0"}}, {{"Lane", "65536"}}), BAD_VALUE,
                  "Error: Invalid Lane given 65536");
    expectRefusal(0, makeCommand("show", {{"-velkossd", "0"}}, {{"Lane", "left"}}), BAD_VALUE,
                  "Error: Invalid Lane given left");
}

TEST_F(GetFlow, ReadsTheCurrentValueOfAFeatureOrTheOneSelected) {
    const struct {
        int id;
        const char* job;
    } commands[] = {{85, "OCPReadOnlyWriteMode"}, {90, "OCPIEEESilo"}, {95, "OCPPLPCheck"}, {97, "OCPDSSDPowerState"}};
    const struct {
        const char* word;
        const char* value;
    } words[] = {{"current", "0"}, {"default", "1"}, {"SAVED", "2"}, {"Capabilities", "3"}};
    for (const auto& command : commands) {
        SCOPED_TRACE(command.job);
        expectRequest(command.id, makeCommand("show", {{"-velkossd", "0"}}), getRequest(command.job, selected("0")));
        for (const auto& word : words)
            expectRequest(command.id, makeCommand("show", {{"-velkossd", "0"}}, {{"Select", word.word}}),
                          getRequest(command.job, selected(word.value)));
        for (const char* word : {"foo", "", "0", "current "})
            expectRefusal(command.id, makeCommand("show", {{"-velkossd", "0"}}, {{"Select", word}}), BAD_VALUE,
                          "Error: select value must be 'current', 'default', 'saved' or 'capabilites'.");
    }
}

TEST_F(GetFlow, ShowsThePerformanceBoosterForTheVerbShowAlone) {
    for (const char* verb : {"start", "stop", "set"})
        expectRefusal(73, makeCommand(verb, {{"-velkossd", "0"}}), BAD_VALUE, "Error: Invalid Job.");
}

TEST_F(GetFlow, ReadsOnePartition) {
    expectRequest(94, makeCommand("show", {{"-velkossd", "0"}, {"-partition", "C"}}),
                  getRequest("PartitionInformation", xmlProperty("Path", "Path", "string", "C")));
    expectRequest(94, makeCommand("show", {{"-velkossd", "0"}, {"-partition", ""}}),
                  getRequest("PartitionInformation", ""));
    expectRequest(0, makeCommand("show", {{"-velkossd", "0"}, {"-partition", "C"}}), getRequest("VelkoSSD", ""));
}

TEST_F(GetFlow, ShowsWhatTheLibraryAnswers) {
    services_.responses = {"<Object><Object category=\"Output\"><Property name=\"A\" value=\"1\"/></Object></Object>"};
    expectResult(0, makeCommand("show", {{"-velkossd", "0"}}), 0, "\nA : 1\n");
    services_.responses = {
        "<Object><Object category=\"status\"><Property name=\"Code\" value=\"4\"/><Property "
        "name=\"Message\" value=\"No such drive.\"/></Object></Object>"};
    expectResult(0, makeCommand("show", {{"-velkossd", "9"}}), 3, "Error: No such drive.");
}

}  // namespace
}  // namespace cli::velkossd
