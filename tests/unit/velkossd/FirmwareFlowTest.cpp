#include "tests/unit/velkossd/FlowTest.h"

namespace cli::velkossd {
namespace {

constexpr char QUESTION[] =
    "WARNING! You have selected to update the drives firmware! \nProceed with the update? (Y|N): ";
constexpr char NOTICE[] = "Checking for firmware update...\n";

const std::string SKIP_MEMBERS = xmlProperty("SkipMembers", "Skip member Components", "boolean", "true");
const std::string FILE_ARGUMENT = xmlProperty("FirmwareFile", "Firmware File", "string", "/tmp/fw.bin");
const std::string SLOT = xmlProperty("FirmwareSlot", "Firmware Slot", "uint8", "2");
const std::string ACTION = xmlProperty("CommitAction", "Commit Action", "uint8", "1");

class FirmwareUpdate : public FlowTest {
protected:
    const Parts drive_ = {{"-velkossd", "0"}};
    const Parts force_ = {{"-force", ""}};
    const Parts file_ = {{"-source", "/tmp/fw.bin"}, {"-force", ""}};
};

TEST_F(FirmwareUpdate, LeavesTheChoiceToTheLibraryWithoutAFile) {
    const StandardStreams streams;
    expectRequest(19, makeCommand("load", drive_, {}, force_), xmlMethod("FirmwareUpdate", SKIP_MEMBERS));
    expectRequest(19, makeCommand("load", drive_, {{"FirmwareSlot", "2"}}, force_),
                  xmlMethod("FirmwareUpdate", SKIP_MEMBERS + SLOT));
    expectRequest(19, makeCommand("load", drive_, {{"FirmwareSlot", "2"}, {"CommitAction", "1"}}, force_),
                  xmlMethod("FirmwareUpdate", SKIP_MEMBERS + SLOT + ACTION));
    EXPECT_EQ(streams.questions(), "");
    EXPECT_EQ(streams.output(), std::string(NOTICE) + NOTICE + NOTICE);
}

TEST_F(FirmwareUpdate, AsksBeforeItUpdates) {
    {
        const StandardStreams streams("Y\n");
        expectRequest(19, makeCommand("load", drive_), xmlMethod("FirmwareUpdate", SKIP_MEMBERS));
        EXPECT_EQ(streams.questions(), QUESTION);
        EXPECT_EQ(streams.output(), NOTICE);
    }
    const StandardStreams streams("n\n");
    expectRefusal(19, makeCommand("load", drive_), 0, "Cancelled");
    EXPECT_EQ(streams.questions(), QUESTION);
    EXPECT_EQ(streams.output(), "") << "the notice comes after the question";
}

TEST_F(FirmwareUpdate, WantsASlotWithAnAction) {
    const StandardStreams streams("Y\n");
    expectRefusal(19, makeCommand("load", drive_, {{"CommitAction", "1"}}), BAD_PROPERTY,
                  "Error: Must specify slot number with activate action property.");
    EXPECT_EQ(streams.questions(), "");
    EXPECT_EQ(streams.output(), "");
}

// The pre-check.

std::string checkRequest(const std::string& device) {
    return xmlRequest(
        "VelkoSSD", "GetProperties",
        SCAN + MODULES + device +
            xmlRequested(xmlProperty("Index", "Index", "sint32", "-1") +
                         xmlProperty("SerialNumber", "Serial Number", "string", "") +
                         xmlProperty("MultiComponentDevice", "Multi Component Device", "boolean", "False")));
}

/// One drive as a response shows it; an empty text leaves a property out.
std::string driveOf(const std::string& index, const std::string& serialNumber, const std::string& isMultiComponent) {
    const auto property = [](const std::string& name, const std::string& type, const std::string& value) {
        return value.empty() ? "" : xmlProperty(name, "", type, value);
    };
    return "<Object category=\"attributeList\" key=\"Drive\">" + property("Index", "sint32", index) +
           property("SerialNumber", "string", serialNumber) +
           property("MultiComponentDevice", "boolean", isMultiComponent) + "</Object>";
}

std::string responseOf(const std::string& drives) {
    return "<Object><Object category=\"Output\">" + drives + "</Object></Object>";
}

std::string updateRequest(const std::string& devices) {
    return xmlRequest("FirmwareUpdate", "Method", SCAN + SKIP_MEMBERS + FILE_ARGUMENT + MODULES + devices);
}

TEST_F(FirmwareUpdate, ReachesEveryComponentOfADrive) {
    const StandardStreams streams;
    services_.responses = {
        responseOf(driveOf("0", "VX1-A", "True")),
        responseOf(driveOf("0", "VX1-A", "True") + driveOf("1", "VX1-B", "True") + driveOf("2", "VX2-A", "True") +
                   driveOf("", "VX1-C", "True") + driveOf("3", "VX1", "") + driveOf("4", "XVX1-D", "True") +
                   driveOf("5", "", "True") + "<Object name=\"Group\"><Object name=\"Sub\">" +
                   driveOf("6", "VX1-E", "True") + "</Object></Object>"),
    };
    const auto result = run(19, makeCommand("load", drive_, {}, file_));
    EXPECT_EQ(result->getErrorCode(), 0);
    EXPECT_EQ(services_.requests,
              (std::vector<std::string>{checkRequest(DRIVE_0), checkRequest(""),
                                        updateRequest(DRIVE_0 + xmlDevice("Index", "1") + xmlDevice("Index", "3") +
                                                      xmlDevice("Index", "6"))}));
    EXPECT_EQ(streams.output(), NOTICE);
}

TEST_F(FirmwareUpdate, TakesEachOutputOfTheSecondAnswer) {
    const StandardStreams streams;
    services_.responses = {
        responseOf(driveOf("0", "VX1", "True")),
        "<Object><Object category=\"Output\">" + driveOf("1", "VX1-B", "") + "</Object><Object category=\"output\">" +
            driveOf("2", "VX1-C", "") + "</Object><Object category=\"Output\">" + driveOf("3", "VX1-D", "") +
            "</Object></Object>",
    };
    run(19, makeCommand("load", drive_, {}, file_));
    ASSERT_EQ(services_.requests.size(), 3u);
    EXPECT_EQ(services_.requests[2], updateRequest(DRIVE_0 + xmlDevice("Index", "1") + xmlDevice("Index", "3")))
        << "the category is compared exactly";
}

TEST_F(FirmwareUpdate, LooksForOtherComponentsOnlyWhenTheAnswerIsClear) {
    const StandardStreams streams;
    const struct {
        std::string answer;
        const char* why;
    } cases[] = {
        {responseOf(driveOf("0", "VX1-A", "False")), "a drive of one component"},
        {responseOf(driveOf("0", "VX1-A", "true")), "compared exactly"},
        {responseOf(driveOf("0", "VX1-A", "")), "not reported"},
        {responseOf(driveOf("0", "-A", "True")), "an empty stem would reach every drive"},
        {responseOf(driveOf("0", "", "True")), "no serial number"},
        {responseOf(driveOf("", "VX1-A", "True")), "no index: the drive itself would count as another one"},
        {responseOf(driveOf("0", "VX1-A", "True") + driveOf("", "", "True")), "reported twice"},
        {responseOf(driveOf("0", "VX1-A", "True") + driveOf("", "VX1-B", "")), "two serial numbers"},
        {responseOf(""), "nothing"},
        {"<Object/>", "no output"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.why);
        services_.requests.clear();
        services_.responses = {c.answer};
        run(19, makeCommand("load", drive_, {}, file_));
        EXPECT_EQ(services_.requests, (std::vector<std::string>{checkRequest(DRIVE_0), updateRequest(DRIVE_0)}));
    }
}

std::string failure(const std::string& message) {
    return "<Object><Object category=\"status\"><Property name=\"Code\" value=\"4\"/><Property name=\"Message\" "
           "value=\"" +
           message + "\"/></Object></Object>";
}

TEST_F(FirmwareUpdate, EndsWithTheErrorOfAPreCheck) {
    const StandardStreams streams("Y\n");
    services_.responses = {failure("First.")};
    expectResult(19, makeCommand("load", drive_, {}, {{"-source", "/tmp/fw.bin"}}), 3, "Error: First.");
    EXPECT_EQ(services_.requests, std::vector<std::string>{checkRequest(DRIVE_0)});
    services_.requests.clear();
    services_.responses = {responseOf(driveOf("0", "VX1-A", "True")), failure("Second.")};
    expectResult(19, makeCommand("load", drive_, {}, {{"-source", "/tmp/fw.bin"}}), 3, "Error: Second.");
    EXPECT_EQ(services_.requests, (std::vector<std::string>{checkRequest(DRIVE_0), checkRequest("")}));
    EXPECT_EQ(streams.questions(), "");
    EXPECT_EQ(streams.output(), "");
}

TEST_F(FirmwareUpdate, PreChecksBeforeItAsks) {
    const StandardStreams streams("n\n");
    services_.responses = {responseOf(driveOf("0", "VX1-A", "True"))};
    expectResult(19, makeCommand("load", drive_, {}, {{"-source", "/tmp/fw.bin"}}), 0, "Cancelled");
    EXPECT_EQ(services_.requests, (std::vector<std::string>{checkRequest(DRIVE_0), checkRequest("")}));
    EXPECT_EQ(streams.questions(), QUESTION);
}

TEST_F(FirmwareUpdate, WantsADriveForAFile) {
    expectRefusal(19, makeCommand("load", {{"-velkossd", ""}}, {}, file_), BAD_VALUE,
                  "Error: Must specify an velko ssd index.");
    expectRefusal(19, makeCommand("load", {}, {}, file_), BAD_VALUE, "Error: -velkossd target not found.");
}

TEST_F(FirmwareUpdate, SendsTheModuleDirectoryOnceMoreWithEachJob) {
    const StandardStreams streams;
    services_.moduleDirectory = "/m";
    services_.responses = {responseOf(driveOf("0", "VX1-A", "True"))};
    run(19, makeCommand("load", drive_, {}, file_));
    const auto replaceModules = [](std::string request, const std::string& directories) {
        const std::string fixed = "/opt/velko/nimbrel/FirmwareModules";
        return request.replace(request.find(fixed), fixed.size(), fixed + directories);
    };
    EXPECT_EQ(services_.requests, (std::vector<std::string>{replaceModules(checkRequest(DRIVE_0), "~/m"),
                                                            replaceModules(checkRequest(""), "~/m~/m"),
                                                            replaceModules(updateRequest(DRIVE_0), "~/m~/m~/m")}));
}

// Activation.

class FirmwareActivation : public FlowTest {};

TEST_F(FirmwareActivation, SendsSlotAndAction) {
    const Parts targets = {{"-velkossd", "0"}, {"-firmwareactivate", ""}};
    expectRequest(20, makeCommand("load", targets, {{"FirmwareSlot", "2"}, {"CommitAction", "1"}}),
                  xmlMethod("FirmwareActivate", SLOT + ACTION));
    expectRequest(20, makeCommand("load", targets, {{"CommitAction", "1"}}), xmlMethod("FirmwareActivate", ACTION));
}

TEST_F(FirmwareActivation, RefusesOtherSlotsAndActions) {
    const Parts targets = {{"-velkossd", "0"}, {"-firmwareactivate", ""}};
    for (const char* slot : {"", "two", "0x2", "-1"})
        expectRefusal(20, makeCommand("load", targets, {{"FirmwareSlot", slot}}), BAD_PROPERTY,
                      "Error: Invalid slot number.");
    expectRefusal(20, makeCommand("load", targets, {{"FirmwareSlot", "2"}}), BAD_PROPERTY,
                  "Error: Invalid action option.");
    for (const char* action : {"", "now", "0x2"})
        expectRefusal(20, makeCommand("load", targets, {{"FirmwareSlot", "2"}, {"CommitAction", action}}), BAD_PROPERTY,
                      "Error: Invalid slot number.");
}

}  // namespace
}  // namespace cli::velkossd
