#include "CLI/velkossd/Interruption.h"

#include <algorithm>
#include <iterator>

#include "CLI/velkossd/CommandCatalogue.h"
#include "CLI/velkossd/JobArguments.h"
#include "ostrel/core/ScopeTrace.h"
#include "ostrel/interfaces/cli/cliframework/Constants.h"
#include "ostrel/interfaces/cli/cliframework/ParsedCommand.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"

namespace cli::velkossd {
namespace {

using namespace ostrel::interfaces::ostreli;  // NOLINT(google-build-using-namespace): the JOB_ constants

/// What shows the outcome, by the job of the command that was interrupted. For all others: the drive's properties.
constexpr struct {
    std::string_view job;
    const char* target;
} OUTCOMES[] = {
    // clang-format off
    {"Delete",                 " -identify -namespace 1"},  // the Format Progress Indicator is there
    {"NVMeFormat",             " -identify -namespace 1"},
    {"Sanitize",               " -backgroundprocessing"},
    {JOB_DRIVE_SELF_TEST,      " -selftest"},
    {JOB_ENDURANCE_ANALYZER,   " -enduranceanalyzer"},
    {JOB_FIRMWARE_ACTIVATE,    " -nvmelog 3"},              // the firmware slots
    {JOB_FIRMWARE_UPDATE,      " -nvmelog 3"},
    {JOB_FORCE_FLUSH,          " -performancebooster"},
    {JOB_NAMESPACE_MANAGEMENT, " -identify -namespace allocated"},
    {JOB_OCP_ERROR_INJECTION,  " -ErrorInjection"},
    {JOB_TIMESTAMP,            " -timestamp"},
    // clang-format on
};
constexpr const char* PROPERTIES = "";

constexpr const char* WHEN_IT_ENDS =
    "A command that the kernel is carrying out cannot be interrupted: the process ends with it.";

bool isReadOnly(const CommandRow& row) {
    return row.verb == framework::VERB_SHOW || row.verb == framework::VERB_DUMP || row.flow == FLOW_SCAN;
}

const char* outcomeOf(const CommandRow& row) {
    const auto* found = std::find_if(std::begin(OUTCOMES), std::end(OUTCOMES),
                                     [&row](const auto& outcome) { return outcome.job == row.job; });
    return found == std::end(OUTCOMES) ? PROPERTIES : found->target;
}

}  // namespace

std::string interruptionWords(const CommandRow& row, const framework::ParsedCommand& command) {
    OSTREL_TRACE();
    if (isReadOnly(row)) return std::string("nimbrel ends. ") + WHEN_IT_ENDS;
    const std::string& drive = valueOf(command.targets, "-velkossd");
    std::string show = "nimbrel show -velkossd";
    if (!drive.empty()) show.append(" ").append(drive);
    show += outcomeOf(row);
    return "nimbrel ends, the drive goes on with the commands that it has received; \"" + show +
           "\" shows the outcome. " + WHEN_IT_ENDS;
}

}  // namespace cli::velkossd
