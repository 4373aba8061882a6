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

std::string showCommand(const std::string& drive, std::string_view target) {
    std::string show = "\"nimbrel show -velkossd";
    if (!drive.empty()) show.append(" ").append(drive);
    if (!target.empty()) show.append(" ").append(target);
    return show + '"';
}

}  // namespace

std::string interruptionWords(const CommandRow& row, const framework::ParsedCommand& command) {
    if (isReadOnly(row)) return std::string("nimbrel ends. ") + WHEN_IT_ENDS;
    const std::string& drive = valueOf(command.targets, "-velkossd");
    const OutcomeTarget& outcome = row.action.outcome;
    std::string words = "nimbrel ends, the drive goes on with the commands that it has received; " +
                        showCommand(drive, outcome.ofNvme) + " shows the outcome";
    // Which of the two the drive is only the library knows.
    if (outcome.ofSata != outcome.ofNvme) words += ", of a SATA drive " + showCommand(drive, outcome.ofSata);
    return words + ". " + WHEN_IT_ENDS;
}

}  // namespace cli::velkossd
