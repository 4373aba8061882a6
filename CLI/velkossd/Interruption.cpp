#include "CLI/velkossd/Interruption.h"

#include "CLI/velkossd/CommandCatalogue.h"
#include "CLI/velkossd/JobArguments.h"
#include "ostrel/interfaces/cli/cliframework/Constants.h"
#include "ostrel/interfaces/cli/cliframework/ParsedCommand.h"

namespace cli::velkossd {
namespace {

constexpr const char* WHEN_IT_ENDS =
    "A command that the kernel is carrying out cannot be interrupted: the process ends with it.";

bool isReadOnly(const CommandRow& row) {
    return row.verb == framework::VERB_SHOW || row.verb == framework::VERB_DUMP || row.action.flow == scanFlow;
}

}  // namespace

std::string interruptionWords(const CommandRow& row, const framework::ParsedCommand& command) {
    if (isReadOnly(row)) return std::string("nimbrel ends. ") + WHEN_IT_ENDS;
    const std::string& drive = valueOf(command.targets, "-velkossd");
    std::string show = "nimbrel show -velkossd";
    if (!drive.empty()) show.append(" ").append(drive);
    if (!row.action.outcome.empty()) show.append(" ").append(row.action.outcome);
    return "nimbrel ends, the drive goes on with the commands that it has received; \"" + show +
           "\" shows the outcome. " + WHEN_IT_ENDS;
}

}  // namespace cli::velkossd
