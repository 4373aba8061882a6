#include "CLI/velkossd/CommandTargets.h"
#include "CLI/velkossd/FlowContext.h"
#include "CLI/velkossd/Flows.h"
#include "CLI/velkossd/JobArguments.h"
#include "CLI/velkossd/SubFlows.h"
#include "ostrel/core/ScopeTrace.h"
#include "ostrel/core/Strings.h"
#include "ostrel/interfaces/cli/cliframework/ParsedCommand.h"
#include "ostrel/interfaces/ostreli/interface/Job.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"

namespace cli::velkossd {
namespace {

namespace attributes = ostrel::core::attributes::feature;
using namespace ostrel::interfaces::ostreli;  // NOLINT(google-build-using-namespace): the JOB_ constants
using framework::ParsedCommand;
using ostrel::core::Attribute;
using ostrel::core::xml::XmlObject;

template <Attribute (*attribute)()>
bool suits(std::string_view value) {
    return attribute().fromText(std::string(value)).is(0, 0);
}

constexpr char INVALID_VALUE[] = "Invalid %s given %s";
constexpr ArgumentRule PHY_ARGUMENTS[] = {
    {attributes::group, {suits<attributes::group>, INVALID_VALUE}},
    {attributes::lane, {suits<attributes::lane>, INVALID_VALUE}},
};
constexpr ArgumentRule SMART_ARGUMENTS[] = {{attributes::includeNVMeSmartHealthLog, MUST_BE_TRUE_OR_FALSE}};

/// -all wins over -display, whose names are then not sent.
void addDisplayed(XmlObject& request, const std::string& job, const ParsedCommand& command) {
    if (findGiven(command.options, "-all") != nullptr) {
        if (job == JOB_VELKOSSD) Job::addProperty(request, attributes::showAllFlag(), "true");
        return;
    }
    const std::string* names = findGiven(command.options, "-display");
    if (names == nullptr) return;
    for (const std::string& name : ostrel::core::split(*names, ','))
        Job::addRequestedGetProperty(request, Attribute(name, "", ostrel::core::typeString()));
}

FlowResult addSmart(XmlObject& request, const ParsedCommand& command) {
    const std::string* id = findGiven(command.targets, "-smart");
    if (id == nullptr) return nullptr;
    if (auto error = addArguments(request, command.properties, SMART_ARGUMENTS)) return error;
    if (!id->empty()) Job::addProperty(request, attributes::id(), *id);
    return nullptr;
}

/// These read a feature, of which the drive keeps several values.
bool hasSelect(const std::string& job) {
    return job == JOB_NVME_FEATURES || job == JOB_OCP_PLP_CHECK || job == JOB_OCP_IEEE_SILO ||
           job == JOB_OCP_DSSD_POWER_STATE || job == JOB_OCP_READ_ONLY_WRITE_MODE;
}

FlowResult addJobArguments(FlowContext& context, XmlObject& request, const std::string& job,
                           const ParsedCommand& command) {
    if (job == JOB_FORCE_FLUSH) return addForceFlush(context, request, command);
    if (hasSelect(job)) return addSelect(context, request, command);
    const std::string& partition = valueOf(command.targets, "-partition");
    if (job == JOB_PARTITION_INFORMATION && !partition.empty())
        Job::addProperty(request, attributes::path(), partition);
    return nullptr;
}

}  // namespace

FlowResult getFlow(FlowContext& context, const std::string& job, const ParsedCommand& command) {
    OSTREL_TRACE();
    std::string device;
    if (auto error = context.getDeviceTarget(command, device, targets::OPTIONAL_VELKOSSD_OR_ALL)) return error;
    const auto request = Job::createRequest(job, JOBTYPE_GET_PROPERTIES, true, device);
    addDisplayed(*request, job, command);
    if (auto error = addSmart(*request, command)) return error;
    if (auto error = addArguments(*request, command.properties, PHY_ARGUMENTS)) return error;
    if (auto error = addJobArguments(context, *request, job, command)) return error;
    return context.runAndRender(*request);
}

}  // namespace cli::velkossd
