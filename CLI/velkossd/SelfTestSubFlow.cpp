#include <algorithm>
#include <iterator>

#include "CLI/velkossd/FlowContext.h"
#include "CLI/velkossd/JobArguments.h"
#include "CLI/velkossd/SubFlows.h"
#include "ostrel/core/xml/XmlObject.h"
#include "ostrel/interfaces/cli/cliframework/ObjectResult.h"
#include "ostrel/interfaces/cli/cliframework/ParsedCommand.h"
#include "ostrel/interfaces/cli/cliframework/SimpleResult.h"
#include "ostrel/interfaces/cli/cliframework/StringHelpers.h"
#include "ostrel/interfaces/ostreli/interface/Job.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"

namespace cli::velkossd {

namespace attributes = ostrel::core::attributes::feature;
using namespace ostrel::interfaces::ostreli;  // NOLINT(google-build-using-namespace): the JOB_ constants
using framework::stringsIEqual;
using ostrel::core::xml::XmlObject;

namespace {

template <typename... Words>
bool isOneOf(std::string_view value, const Words&... words) {
    return (stringsIEqual(value, words) || ...);
}

bool isTestType(std::string_view value) {
    return isOneOf(value, "short", "extended", "conveyance");
}

bool isTestMode(std::string_view value) {
    return isOneOf(value, "captive", "offline");
}

constexpr ArgumentRule TEST_TYPE[] = {
    {attributes::testType,
     {isTestType,
      "Invalid self test given. Supported values are 'short', 'extended', and 'conveyance'. If nothing is specified, a "
      "short test will be ran."},
     "-selftest"},
};
constexpr ArgumentRule TEST_MODE[] = {
    {attributes::selfTestMode,
     {isTestMode,
      "Invalid self test mode given. Supported values are 'captive', and 'offline'. If nothing is specified, a offline "
      "test will be ran."},
     "-mode"},
};

}  // namespace

FlowResult addSelfTest(FlowContext&, XmlObject& request, const framework::ParsedCommand& command) {
    if (auto error = expectJob(request, JOB_DRIVE_SELF_TEST, JOBTYPE_METHOD)) return error;
    if (valueOf(command.targets, "-selftest").empty())
        Job::addProperty(request, attributes::testType(), "short");
    else if (auto error = addArguments(request, command.targets, TEST_TYPE))
        return error;
    return addArguments(request, command.targets, TEST_MODE);
}

void noteRunningSelfTest(framework::ObjectResult& result) {
    for (const auto& drive : result)
        for (auto property = drive->propertiesBegin(); property != drive->propertiesEnd(); ++property)
            if (stringsIEqual(property->key, "Status"))
                property->value = std::make_unique<framework::SimpleResult>(
                    "Self-test is running in offline mode. Use 'show -selftest' to query status of the self-test.");
}

}  // namespace cli::velkossd
