#include <algorithm>
#include <iterator>

#include "CLI/velkossd/CommandCatalogue.h"
#include "CLI/velkossd/CommandTargets.h"
#include "CLI/velkossd/FeatureServices.h"
#include "CLI/velkossd/FlowContext.h"
#include "CLI/velkossd/JobArguments.h"
#include "ostrel/core/xml/XmlObject.h"
#include "ostrel/interfaces/cli/cliframework/ObjectResult.h"
#include "ostrel/interfaces/cli/cliframework/ParsedCommand.h"
#include "ostrel/interfaces/cli/cliframework/StringHelpers.h"
#include "ostrel/interfaces/ostreli/interface/Job.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"

namespace cli::velkossd {

namespace attributes = ostrel::core::attributes::feature;
using ostrel::interfaces::ostreli::Job;

namespace {

constexpr struct {
    const char* word;
    ostrel::core::Attribute (*attribute)();
} SCAN_TYPES[] = {
    {"DataIntegrity", attributes::dataIntegrityScan},
    {"ReadScan", attributes::readScan},
    {"Logs", attributes::storeLogs},
    {"", attributes::storeLogs},
};

constexpr ArgumentRule SCAN_ARGUMENTS[] = {
    {attributes::fullScan, MUST_BE_TRUE_OR_FALSE},          {attributes::includeOS, MUST_BE_TRUE_OR_FALSE},
    {attributes::includeSystemInfo, MUST_BE_TRUE_OR_FALSE}, {attributes::path, MUST_HAVE_VALUE},
    {attributes::directoryPath, MUST_HAVE_VALUE},
};

FlowResult addScanType(ostrel::core::xml::XmlObject& request, const std::string& word) {
    const auto* row = std::find_if(std::begin(SCAN_TYPES), std::end(SCAN_TYPES), [&word](const auto& candidate) {
        return framework::stringsIEqual(candidate.word, word);
    });
    if (row == std::end(SCAN_TYPES))
        return makeError(framework::ERRORCODE_INVALID_VALUE, word + " is not a valid scan type");
    Job::addProperty(request, row->attribute(), "true");
    return nullptr;
}

}  // namespace

FlowResult scanFlow(FlowContext& context, const CommandAction& action, const framework::ParsedCommand& command) {
    context.getServices().disableLoggerIfOff();
    std::string device;
    if (auto error = context.getDeviceTarget(command, device, targets::VELKOSSD_OR_ALL)) return error;
    const auto request =
        Job::createRequest(std::string(action.job), ostrel::interfaces::ostreli::JOBTYPE_METHOD, true, device);
    if (auto error = addScanType(*request, valueOf(command.targets, "-scan"))) return error;
    if (auto error = addArguments(*request, command.properties, SCAN_ARGUMENTS)) return error;

    std::unique_ptr<framework::ObjectResult> result;
    if (auto error = context.runAndRender(*request, result)) return error;
    result->setRoot("Scan Results");
    return result;
}

}  // namespace cli::velkossd
