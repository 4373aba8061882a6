#include "CLI/velkossd/SubFlows.h"

#include <algorithm>
#include <iostream>
#include <iterator>

#include "CLI/velkossd/FlowContext.h"
#include "CLI/velkossd/JobArguments.h"
#include "ostrel/core/Strings.h"
#include "ostrel/core/System.h"
#include "ostrel/core/xml/XmlObject.h"
#include "ostrel/interfaces/cli/cliframework/Constants.h"
#include "ostrel/interfaces/cli/cliframework/ParsedCommand.h"
#include "ostrel/interfaces/cli/cliframework/Prompt.h"
#include "ostrel/interfaces/cli/cliframework/StringHelpers.h"
#include "ostrel/interfaces/ostreli/interface/Job.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"

namespace cli::velkossd {

namespace attributes = ostrel::core::attributes::feature;
using namespace ostrel::interfaces::ostreli;  // NOLINT(google-build-using-namespace): the JOB_ constants
using framework::ParsedCommand;
using framework::stringsIEqual;
using ostrel::core::xml::XmlObject;

namespace {

constexpr ArgumentRule ASSERT_RECOVERY_ARGUMENTS[] = {
    {attributes::recoveryType, {isNotEmpty, "Must specify a recovery type."}, "-assertrecovery"},
};

constexpr ArgumentRule SMBUS_ARGUMENTS[] = {{attributes::smBusAddress}, {attributes::smBusSelector}};

constexpr ArgumentRule TRIM_ARGUMENTS[] = {{attributes::startLBA}, {attributes::count}};

constexpr struct {
    const char* word;
    const char* value;
} SELECT_VALUES[] = {{"current", "0"}, {"default", "1"}, {"saved", "2"}, {"capabilities", "3"}};

}  // namespace

FlowResult expectJob(const XmlObject& request, const char* job, const char* type) {
    const bool isExpected = request.getAttribute(ostrel::core::xml::KEY_NAME) == job &&
                            request.getAttribute(ostrel::core::xml::KEY_TYPE) == type;
    return isExpected ? nullptr : makeError(framework::ERRORCODE_INVALID_VALUE, "Invalid Job.");
}

FlowResult askUnlessForced(FlowContext& context, const ParsedCommand& command, const std::string& warning,
                           const std::string& question) {
    if (findGiven(command.options, "-force") != nullptr) return nullptr;
    return context.promptUser(framework::Prompt(warning, question, true));
}

void printNotice(const std::string& notice) {
    std::cout << notice << std::endl;
}

FlowResult addSelect(FlowContext&, XmlObject& request, const ParsedCommand& command) {
    const auto attribute = attributes::select();
    const std::string* given = findGiven(command.properties, attribute.getName());
    const std::string word = given == nullptr ? "current" : *given;
    for (const auto& select : SELECT_VALUES) {
        if (!stringsIEqual(word, select.word)) continue;
        Job::addProperty(request, attribute, select.value);
        return nullptr;
    }
    // "capabilites": scripts compare this text.
    return makeError(framework::ERRORCODE_INVALID_VALUE,
                     "select value must be 'current', 'default', 'saved' or 'capabilites'.");
}

FlowResult addForceFlush(FlowContext&, XmlObject& request, const ParsedCommand& command) {
    if (!expectJob(request, JOB_FORCE_FLUSH, JOBTYPE_GET_PROPERTIES) && command.verb == framework::VERB_SHOW)
        return nullptr;
    if (auto error = expectJob(request, JOB_FORCE_FLUSH, JOBTYPE_METHOD)) return error;
    const bool isStart = command.verb == framework::VERB_START;
    if (!isStart && command.verb != "stop") return makeError(framework::ERRORCODE_INVALID_VALUE, "Invalid Job.");
    Job::addProperty(request, attributes::startForceFlush(), isStart ? "true" : "false");
    return nullptr;
}

FlowResult addLatencyTracking(FlowContext&, XmlObject& request, const ParsedCommand& command) {
    const std::string& log = valueOf(command.targets, "-latencystatistics");
    const bool isReads = stringsIEqual(log, "reads");
    if (!isReads && !stringsIEqual(log, "writes"))
        return makeError(framework::ERRORCODE_INVALID_VALUE,
                         "Invalid latency log given. Supported values are 'reads' and 'writes'.");
    Job::addProperty(request, attributes::latencyStatisticsForReadCommands(), ostrel::core::boolToText(isReads));

    auto type = attributes::latencyTrackingType();
    const std::string* value = findGiven(command.properties, type.getName());
    if (value == nullptr) return nullptr;
    const bool isType = ostrel::core::isInteger(*value) && ostrel::core::toNumber<uint64_t>(*value) < 4;
    if (!isType)
        return makeError(framework::ERRORCODE_INVALID_VALUE,
                         "Must specify 0-3 for the given property: " + type.getName());
    type.setValue(static_cast<uint8_t>(ostrel::core::toNumber<uint32_t>(*value)));
    Job::addRequestedGetProperty(request, type);
    return nullptr;
}

FlowResult addAssertRecovery(FlowContext&, XmlObject& request, const ParsedCommand& command) {
    return addArguments(request, command.targets, ASSERT_RECOVERY_ARGUMENTS);
}

FlowResult addSMBusAddress(FlowContext&, XmlObject& request, const ParsedCommand& command) {
    return addArguments(request, command.properties, SMBUS_ARGUMENTS);
}

FlowResult addTrim(FlowContext& context, XmlObject& request, const ParsedCommand& command) {
    if (auto error = expectJob(request, JOB_TRIM, JOBTYPE_METHOD)) return error;
    if (auto refusal = askUnlessForced(
            context, command,
            "WARNING! You have selected to Trim. This will make the user data on the drive inaccessible.",
            "Proceed with the Trim command?"))
        return refusal;
    for (const ArgumentRule& rule : TRIM_ARGUMENTS)
        if (findGiven(command.properties, rule.attribute().getName()) == nullptr)
            return makeError(framework::ERRORCODE_INVALID_VALUE, "Must provide StartLBA and Count properties.");
    return addArguments(request, command.properties, TRIM_ARGUMENTS);
}

FlowResult addPsidRevert(FlowContext& context, XmlObject& request, const ParsedCommand& command) {
    if (auto error = expectJob(request, JOB_PSID_REVERT, JOBTYPE_METHOD)) return error;
    if (!ostrel::core::System::isWindows())
        return makeError(framework::ERRORCODE_NOT_SUPPORTED,
                         "Unsupported Operating System. This feature is only supported on Windows.");
    const std::string psid = ostrel::core::sanitizeValue(valueOf(command.targets, "-psidrevert"));
    if (psid.size() != 32)  // the length alone, whatever the message says
        return makeError(framework::ERRORCODE_INVALID_VALUE,
                         "Invalid PSID value. PSID value must be exactly 32 characters long and only contain "
                         "alpha-numeric characters.");
    Job::addProperty(request, attributes::psid(), psid);
    return askUnlessForced(context, command,
                           "\nWARNING! The PSID revert operation will revert the drive back to its original factory "
                           "state.\n*** THIS OPERATION WILL MAKE ALL THE DATA ON YOUR DRIVE INACCESSIBLE! ***\nVelko "
                           "is not responsible for loss of data using this tool. ",
                           "Proceed with the operation?");
}

}  // namespace cli::velkossd
