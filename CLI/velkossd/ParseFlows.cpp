#include "CLI/ToolInformation.h"
#include "CLI/velkossd/CommandCatalogue.h"
#include "CLI/velkossd/CommandTargets.h"
#include "CLI/velkossd/FlowContext.h"
#include "CLI/velkossd/JobArguments.h"
#include "CLI/velkossd/JobRendering.h"
#include "CLI/velkossd/SavedOutput.h"
#include "CLI/velkossd/SubFlows.h"
#include "ostrel/core/Status.h"
#include "ostrel/core/xml/XmlObject.h"
#include "ostrel/interfaces/cli/cliframework/Constants.h"
#include "ostrel/interfaces/cli/cliframework/ObjectResult.h"
#include "ostrel/interfaces/cli/cliframework/ParsedCommand.h"
#include "ostrel/interfaces/cli/cliframework/SimpleResult.h"
#include "ostrel/interfaces/cli/cliframework/StringHelpers.h"
#include "ostrel/interfaces/ostreli/interface/Job.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"

namespace cli::velkossd {

namespace attributes = ostrel::core::attributes::feature;
using namespace ostrel::interfaces::ostreli;  // NOLINT(google-build-using-namespace): the JOB_ constants
using framework::ObjectResult;
using framework::ParsedCommand;
using framework::stringsIEqual;
using ostrel::core::Status;
using ostrel::core::xml::XmlElement;
using ostrel::core::xml::XmlObject;

namespace {

constexpr ArgumentRule EVENT_LOG_SOURCE[] = {{attributes::pelFilePath, {}, "-source"}};
constexpr ArgumentRule NLOG_SOURCE[] = {{attributes::binaryFilePath, {}, "-source"}};
constexpr ArgumentRule TELEMETRY_SOURCE[] = {{attributes::telemetryBinaryFilePath, {}, "-source"}};
constexpr ArgumentRule TELEMETRY_TARGETS[] = {{attributes::dataArea, {}, "-dataarea"}};
constexpr ArgumentRule TELEMETRY_PROPERTIES[] = {{attributes::inputConfiguration}};

/// The drive whose log is parsed; empty where it is a log file. It must be one or the other.
FlowResult getLogSource(const FlowContext& context, const ParsedCommand& command, std::string& device) {
    if (auto error = context.getDeviceTarget(command, device, targets::OPTIONAL_VELKOSSD)) return error;
    if (device.empty() != valueOf(command.options, "-source").empty()) return nullptr;
    return makeError(framework::ERRORCODE_INVALID_VALUE,
                     "specify either -velkossd [drive index] or -source [file location], not both.");
}

/// A log file needs no scan for drives.
std::shared_ptr<XmlObject> createParseRequest(std::string_view job, const std::string& device) {
    return Job::createRequest(std::string(job), JOBTYPE_METHOD, !device.empty(), device);
}

/// Shows what was parsed, or writes it to the destination and says so. A failure that the library reported within stays
/// the exit status.
FlowResult runParse(FlowContext& context, XmlObject& request, const ParsedCommand& command, const char* logName,
                    framework::OutputType fileType) {
    std::unique_ptr<ObjectResult> parsed;
    if (auto error = context.runAndRender(request, parsed)) return error;
    const std::string& destination = valueOf(command.options, "-destination");
    if (destination.empty()) return parsed;
    parsed->setOutputType(fileType);
    const std::string what = std::string(" parsed ") + logName + " data to " + destination;
    if (!writeToFile(destination, parsed->output())) return makeError(ERRORCODE_NOT_SAVED, "Failed to write" + what);
    auto result = std::make_unique<framework::SimpleResult>("Successfully written" + what);
    result->setErrorCode(parsed->getErrorCode());
    return result;
}

FlowResult createTelemetryRequest(const ParsedCommand& command, std::string_view job, const std::string& device,
                                  std::shared_ptr<XmlObject>& request) {
    request = createParseRequest(job, device);
    Job::addProperty(*request, attributes::toolName(), version::TOOL_DISPLAY_NAME);
    Job::addProperty(*request, attributes::toolVersion(), version::TOOL_VERSION);
    if (auto error = addArguments(*request, command.targets, TELEMETRY_TARGETS)) return error;
    if (auto error = addHostInitiated(*request, command, true)) return error;
    if (auto error = addArguments(*request, command.options, TELEMETRY_SOURCE)) return error;
    return addArguments(*request, command.properties, TELEMETRY_PROPERTIES);
}

}  // namespace

FlowResult parsePersistentEventLogFlow(FlowContext& context, const CommandAction& action,
                                       const ParsedCommand& command) {
    std::string device;
    if (auto error = getLogSource(context, command, device)) return error;
    const auto request = createParseRequest(action.job, device);
    if (auto error = addArguments(*request, command.options, EVENT_LOG_SOURCE)) return error;

    std::unique_ptr<XmlElement> response;
    Status status;
    if (auto error = context.runJob(*request, response, status)) return error;
    const std::string& destination = valueOf(command.options, "-destination");
    if (destination.empty()) return render(context.getHiddenProperties(), *response);
    return saveText(context.getHiddenProperties(), *response, destination);
}

FlowResult parseNlogFlow(FlowContext& context, const CommandAction& action, const ParsedCommand& command) {
    std::string device;
    if (auto error = getLogSource(context, command, device)) return error;
    const std::string key = attributes::assertFlag().getName();
    const std::string* isAssert = findGiven(command.properties, key);
    if (isAssert != nullptr)
        if (auto error = checkValue(MUST_BE_TRUE_OR_FALSE, key, *isAssert)) return error;
    const bool isAssertLog = isAssert != nullptr && stringsIEqual(*isAssert, "true");
    const auto request = createParseRequest(isAssertLog ? std::string_view(JOB_ASSERT_NLOG_PARSE) : action.job, device);
    if (auto error = addArguments(*request, command.options, NLOG_SOURCE)) return error;
    return runParse(context, *request, command, "nlog", framework::OUTPUTTYPE_TEXT);
}

FlowResult parseTelemetryLogFlow(FlowContext& context, const CommandAction& action, const ParsedCommand& command) {
    if (!stringsIEqual(valueOf(command.options, "-output"), framework::OUTPUT_JSON))
        return makeError(framework::ERRORCODE_INVALID_VALUE, "Must specify '-output json'.");
    std::string device;
    if (auto error = getLogSource(context, command, device)) return error;
    std::shared_ptr<XmlObject> request;
    if (auto error = createTelemetryRequest(command, action.job, device, request)) return error;
    return runParse(context, *request, command, "telemetry", framework::OUTPUTTYPE_JSON);
}

}  // namespace cli::velkossd
