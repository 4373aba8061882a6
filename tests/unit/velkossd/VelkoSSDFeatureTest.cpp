#include "CLI/velkossd/CommandTargets.h"
#include "ostrel/interfaces/cli/cliframework/ErrorResult.h"
#include "ostrel/interfaces/cli/cliframework/Framework.h"
#include "tests/unit/velkossd/FlowTest.h"

namespace cli::velkossd {
namespace {

class VelkoSSDFeatureTest : public FlowTest {};

TEST_F(VelkoSSDFeatureTest, ReportsALibraryThatDidNotLoadAndOfNothingElse) {
    const auto bad = makeCommand("set", {{"-velkossd", ""}}, {{"AggregationTime", "bad"}});
    services_.loadError = std::make_unique<framework::ErrorResult>(1, "No library.", "");
    expectRefusal(2, bad, 1, "Error: No library.");
    expectRefusal(2, bad, BAD_VALUE, "Error: Must specify an velko ssd index.");
    services_.loadError = std::make_unique<framework::ErrorResult>(1, "No library.", "");
    expectRefusal(5, bad, 1, "Error: No library.");
}

TEST_F(VelkoSSDFeatureTest, KnowsNoOtherIds) {
    for (const int id : {5, 6, 27, 47, 82, 102, -1, 1000000})
        expectRefusal(id, makeCommand("show", {{"-velkossd", "0"}}), 3,
                      "Error: CommandSpecId " + std::to_string(id) +
                          " of Feature VelkoSSD is not supported in the current context.");
}

TEST_F(VelkoSSDFeatureTest, IndentsWhatItShows) {
    framework::ObjectResult::setTab(false);
    services_.responses = {
        "<Object><Object category=\"Output\"><Object name=\"A\"><Object name=\"B\"/></Object></Object>"
        "</Object>"};
    expectResult(0, makeCommand("show", {{"-velkossd", "0"}}), 0, "\n- A -\n\n  - B -\n\n  No results\n");
}

TEST_F(VelkoSSDFeatureTest, LetsAnAnswerThatIsNoMessageThrough) {
    services_.responses = {"no XML"};
    EXPECT_THROW(run(0, makeCommand("show", {{"-velkossd", "0"}})), std::runtime_error);
}

TEST_F(VelkoSSDFeatureTest, IsRegisteredUnderItsName) {
    EXPECT_FALSE(framework::Framework::getInstance().registerFeature("VelkoSSD", &feature_));
}

TEST_F(VelkoSSDFeatureTest, HidesWhatIsNotForTheUser) {
    services_.responses = {
        "<Object><Object category=\"Output\"><Property name=\"VendorUniqueIdentifyPayload\" "
        "value=\"00\"/><Property name=\"A\" value=\"1\"/></Object></Object>"};
    expectResult(35, makeCommand("show", {{"-velkossd", "0"}}), 0, "\nA : 1\n");
}

// The drive that -velkossd names.

TEST_F(VelkoSSDFeatureTest, FindsTheDriveInEachFormOfTheTarget) {
    const FlowContext context(services_, nullptr);
    const char* const missing = "Error: -velkossd target not found.";
    const char* const empty = "Error: Must specify an velko ssd index.";
    const struct {
        const PartRow& part;
        const char* whenMissing;
        const char* whenEmpty;
    } cases[] = {
        {targets::VELKOSSD, missing, empty},
        {targets::VELKOSSD_OR_ALL, missing, ""},
        {targets::OPTIONAL_VELKOSSD, "", empty},
        {targets::OPTIONAL_VELKOSSD_OR_ALL, "", ""},
    };
    for (const auto& c : cases) {
        const auto textOf = [&context, &c](const Parts& targets, const std::string& expectedDrive) {
            std::string drive = "old";
            const auto error = context.getDeviceTarget(makeCommand("show", targets), drive, c.part);
            EXPECT_EQ(drive, expectedDrive);
            if (error == nullptr) return std::string();
            EXPECT_EQ(error->getErrorCode(), BAD_VALUE);
            return error->outputText();
        };
        EXPECT_EQ(textOf({}, ""), c.whenMissing);
        EXPECT_EQ(textOf({{"-velkossd", ""}}, ""), c.whenEmpty);
        EXPECT_EQ(textOf({{"-velkossd", "VX1"}}, "VX1"), "");
    }
}

TEST_F(VelkoSSDFeatureTest, SendsTheModuleDirectoriesWithEveryJob) {
    const auto command = makeCommand("reset", {{"-velkossd", "0"}});
    const auto resetRequest = [](const std::string& directories) {
        return xmlRequest(
            "NVMeReset", "Method",
            SCAN +
                xmlProperty("AdditionalModuleDirs", "Additional Module Directories", "vectorOfStrings", directories) +
                DRIVE_0);
    };
    expectRequest(77, command, resetRequest("/opt/velko/nimbrel/FirmwareModules"));
    services_.moduleDirectory = "/a";
    expectRequest(77, command, resetRequest("/opt/velko/nimbrel/FirmwareModules~/a"));
    expectRequest(77, command, resetRequest("/opt/velko/nimbrel/FirmwareModules~/a~/a"));
}

}  // namespace
}  // namespace cli::velkossd
