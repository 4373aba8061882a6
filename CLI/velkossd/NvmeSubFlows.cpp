// What jobs of the NVMe protocol want: log pages, NVMe features, vendor commands.

#include "CLI/velkossd/FlowContext.h"
#include "CLI/velkossd/JobArguments.h"
#include "CLI/velkossd/SubFlows.h"
#include "ostrel/core/Strings.h"
#include "ostrel/core/xml/XmlObject.h"
#include "ostrel/interfaces/cli/cliframework/Constants.h"
#include "ostrel/interfaces/cli/cliframework/ParsedCommand.h"
#include "ostrel/interfaces/cli/cliframework/StringHelpers.h"
#include "ostrel/interfaces/ostreli/interface/Job.h"

namespace cli::velkossd {

namespace attributes = ostrel::core::attributes::feature;
using framework::ParsedCommand;
using framework::stringsIEqual;
using ostrel::core::isBoolean;
using ostrel::core::isHex;
using ostrel::core::isInteger;
using ostrel::core::xml::XmlObject;
using ostrel::interfaces::ostreli::Job;

namespace {

constexpr char ERROR_INJECTION_FEATURE[] = "192";
constexpr uint64_t FIRST_VENDOR_OPCODE = 0xC0;
constexpr uint64_t LAST_VENDOR_OPCODE = 0xFF;

constexpr ValueTest MUST_BE_INTEGER{isInteger, "Must specify an integer for the given property: %s"};

// clang-format off
constexpr ArgumentRule LOG_ARGUMENTS[] = {
    {attributes::namespaceSpecific,       {isBoolean, "Must specify true or false for the given property: %s"}},
    {attributes::logSpecificField,        MUST_BE_INTEGER},
    {attributes::retainAsynchronousEvent, {isBoolean, NOT_A_BOOLEAN}},
    {attributes::numDWORDs,               MUST_BE_INTEGER},
    {attributes::logPageOffset,           MUST_BE_INTEGER},
};
constexpr ArgumentRule LOG_FILE[] = {{attributes::file, {}, "-destination"}};

constexpr ArgumentRule FEATURE_NAMESPACE[] = {
    {attributes::nvmeFeatureNamespaceId,  MUST_BE_NAMESPACE_ID, "-namespace"}};
constexpr ArgumentRule SET_FEATURE_ARGUMENTS[] = {
    {attributes::dword11,                 {isHex, "DWORD11 must be a hexadecimal value."}},
    {attributes::dword12,                 {isHex, "DWORD12 must be a hexidecimal value."}},  // this one and the next
    {attributes::dword13,                 {isHex, "DWORD13 must be a hexidecimal value."}},  // stay misspelt
    {attributes::save,                    {isBoolean, "Save must be true or false.."}},
    {attributes::inputFile},
};

constexpr ArgumentRule ERROR_INJECTION_ARGUMENTS[] = {
    {attributes::errorInjectionEntries,   {isNotEmpty, "-ErrorInjectionEnties cannot be given an empty string."}},
    {attributes::errorInjectionEntryFile, {isNotEmpty, "-ErrorInjectionEntryFile cannot be given an empty string."}},
};

constexpr ArgumentRule COMMAND_NAMESPACE[] = {{attributes::passthroughNamespaceId, {}, "-namespace"}};
constexpr ArgumentRule OPCODE[] = {
    {attributes::opcode,                  {isHex, "Opcode must be a hexidecimal value.", framework::ERRORCODE_INVALID_PROPERTY}}};
constexpr ArgumentRule COMMAND_ARGUMENTS[] = {
    {attributes::dword10}, {attributes::dword11}, {attributes::dword12}, {attributes::dword13},
    {attributes::dword14}, {attributes::dword15}, {attributes::timeout}, {attributes::transferBytes},
};
// clang-format on

bool isList(const std::string& log) {
    return stringsIEqual(log, "list");
}

/// Which log page: all that there are, a number, or a name.
void addLogPage(XmlObject& request, const std::string& log) {
    if (isList(log)) {
        Job::addProperty(request, attributes::list(), "True");
    } else if (isInteger(log)) {
        Job::addProperty(request, attributes::logId(), log);
    } else if (isHex(log)) {
        // No value at all comes here too and reads as 0.
        Job::addProperty(request, attributes::logId(), std::to_string(ostrel::core::hexToInt64(log)));
    } else {
        Job::addProperty(request, attributes::logName(), log);
    }
}

FlowResult addFeatureId(XmlObject& request, const ParsedCommand& command, const char* target) {
    const std::string* id = findGiven(command.targets, target);
    if (id == nullptr || !isIntegerOrHex(*id))
        return makeError(framework::ERRORCODE_INVALID_VALUE, "Feature id must be a valid decimal or hex value.");
    Job::addProperty(request, attributes::featureId(), *id);
    return nullptr;
}

FlowResult addGetFeature(FlowContext& context, XmlObject& request, const ParsedCommand& command) {
    Job::addProperty(request, attributes::setGetType(), "get");
    if (auto error = addSelect(context, request, command)) return error;
    return addFeatureId(request, command, "-getfeature");
}

FlowResult addSetFeature(XmlObject& request, const ParsedCommand& command) {
    Job::addProperty(request, attributes::setGetType(), "set");
    if (auto error = addFeatureId(request, command, "-setfeature")) return error;
    return addArguments(request, command.properties, SET_FEATURE_ARGUMENTS);
}

FlowResult addOpcode(XmlObject& request, const ParsedCommand& command) {
    const std::string* opcode = findGiven(command.properties, attributes::opcode().getName());
    if (opcode == nullptr) return makeError(framework::ERRORCODE_INVALID_PROPERTY, "No Opcode specified.");
    if (auto error = addArguments(request, command.properties, OPCODE)) return error;
    const uint64_t number = ostrel::core::hexToInt64(*opcode);
    if (number >= FIRST_VENDOR_OPCODE && number <= LAST_VENDOR_OPCODE) return nullptr;
    return makeError(framework::ERRORCODE_INVALID_PROPERTY,
                     "Opcode must be a VU (vendor unique) opcode value, from 0xC0 to 0xFF inclusive.");
}

}  // namespace

FlowResult addNvmeLog(FlowContext&, XmlObject& request, const ParsedCommand& command) {
    const std::string& log = valueOf(command.targets, "-nvmelog");
    addLogPage(request, log);
    const bool needsFile = command.verb == framework::VERB_DUMP && !isList(log);
    if (needsFile && findGiven(command.options, "-destination") == nullptr)
        return makeError(framework::ERRORCODE_INVALID_VALUE, "Must specify -destination with dump command");
    if (auto error = addArguments(request, command.properties, LOG_ARGUMENTS)) return error;
    return addArguments(request, command.options, LOG_FILE);
}

FlowResult addNvmeFeature(FlowContext& context, XmlObject& request, const ParsedCommand& command) {
    if (auto error = addArguments(request, command.targets, FEATURE_NAMESPACE)) return error;
    if (command.verb == framework::VERB_SHOW) return addGetFeature(context, request, command);
    if (command.verb == framework::VERB_SET) return addSetFeature(request, command);
    return nullptr;
}

FlowResult addErrorInjection(FlowContext&, XmlObject& request, const ParsedCommand& command) {
    Job::addProperty(request, attributes::featureId(), ERROR_INJECTION_FEATURE);
    if (command.verb == framework::VERB_SHOW) Job::addProperty(request, attributes::setGetType(), "get");
    if (command.verb != framework::VERB_SET) return nullptr;
    Job::addProperty(request, attributes::setGetType(), "set");
    const auto isGiven = [&command](const ArgumentRule& rule) {
        return findGiven(command.properties, rule.attribute().getName()) != nullptr;
    };
    if (isGiven(ERROR_INJECTION_ARGUMENTS[0]) == isGiven(ERROR_INJECTION_ARGUMENTS[1]))
        return makeError(framework::ERRORCODE_INVALID_VALUE,
                         "specify either -ErrorInjectionEntries or -ErrorInjectionEntryFile, not both.");
    return addArguments(request, command.properties, ERROR_INJECTION_ARGUMENTS);
}

FlowResult addAdminCommand(FlowContext&, XmlObject& request, const ParsedCommand& command) {
    if (auto error = addArguments(request, command.targets, COMMAND_NAMESPACE)) return error;
    if (auto error = addOpcode(request, command)) return error;
    const std::string& direction = valueOf(command.properties, attributes::dataDirection().getName());
    const bool isOut = stringsIEqual(direction, "out");
    if (stringsIEqual(direction, "in")) Job::addProperty(request, attributes::dataIn(), "true");
    if (isOut) Job::addProperty(request, attributes::dataOut(), "true");
    if (auto error = addArguments(request, command.properties, COMMAND_ARGUMENTS)) return error;

    const auto inputFile = attributes::inputDataFile();
    const std::string* path = findGiven(command.properties, inputFile.getName());
    if (path == nullptr) return nullptr;
    if (!isOut)
        return makeError(framework::ERRORCODE_INVALID_PROPERTY,
                         "DataDirection must be set to 'out' to use an input file.");
    Job::addProperty(request, inputFile, *path);
    return nullptr;
}

}  // namespace cli::velkossd
