#include <unistd.h>

#include <memory>
#include <new>
#include <string>
#include <vector>

#include "CLI/Outcome.h"
#include "CLI/StandardStreams.h"
#include "CLI/StartUp.h"
#include "CLI/ToolInformation.h"
#include "ostrel/core/FileDescriptor.h"
#include "ostrel/core/Logging.h"
#include "ostrel/core/StatusCatalogue.h"
#include "ostrel/core/WriteSignals.h"
#include "ostrel/interfaces/cli/cliframework/ErrorCode.h"
#include "ostrel/interfaces/cli/cliframework/Framework.h"
#include "ostrel/interfaces/cli/cliframework/ResultBase.h"

namespace {

using cli::framework::Framework;
using ostrel::core::LOGSEVERITY_DEBUG;

cli::Outcome refuseOrdinaryUser(const std::string& exeName) {
    const ostrel::core::Status status = ostrel::core::statuses::requiresAdminPrivileges();
    return {static_cast<int>(status.getCode()), exeName + " " + status.getMessage() + "\n"};
}

/// Every argument, followed by a blank.
std::string joined(const std::vector<std::string>& arguments) {
    std::string text;
    for (const std::string& argument : arguments) text += argument + " ";
    return text;
}

/// The whole run of a privileged user, from the start-up to the command's result.
std::unique_ptr<cli::framework::ResultBase> runTool(const std::string& exeName,
                                                    const std::vector<std::string>& arguments) {
    ostrel::core::initLogging();
    cli::runStartUpRoutine();
    ostrel::core::logMessage(LOGSEVERITY_DEBUG, "Tool Version: ", cli::version::TOOL_VERSION);
    Framework& framework = Framework::getInstance();
    framework.exeName = exeName;
    ostrel::core::logMessage(LOGSEVERITY_DEBUG, "EXE Name: ", exeName);
    ostrel::core::logMessage(LOGSEVERITY_DEBUG, "CLI Arguments: ", joined(arguments));
    return framework.execute(arguments);
}

int runProcess(int argc, char** argv) {
    const std::string exeName = argc > 0 ? argv[0] : "";
    if (geteuid() != 0) return cli::deliver(refuseOrdinaryUser(exeName), STDOUT_FILENO);

    const cli::Outcome outcome = cli::outcomeOf([&] {
        return runTool(exeName,
                       argc > 0 ? std::vector<std::string>(argv + 1, argv + argc) : std::vector<std::string>());
    });
    const int exitStatus = cli::deliver(outcome, STDOUT_FILENO);
    cli::runShutDownRoutine();
    ostrel::core::logMessage(LOGSEVERITY_DEBUG, "Exit Code: ", exitStatus);
    return cli::toProcessStatus(exitStatus);
}

}  // namespace

/// One process runs one command.
int main(int argc, char** argv) {
    if (!cli::occupyStandardStreams()) {
        (void)ostrel::core::writeFully(STDERR_FILENO, "A standard stream is closed, and /dev/null cannot be opened.\n");
        return cli::framework::ERRORCODE_GENERAL;
    }
    ostrel::core::ignoreWriteSignals();
    try {
        return runProcess(argc, argv);
    } catch (const std::bad_alloc&) {
        // There was no memory for the outcomes that outcomeOf() prepares.
        (void)ostrel::core::writeFully(STDOUT_FILENO, "Out of Memory: \n");
        return cli::framework::ERRORCODE_OUT_OF_MEMORY;
    }
}
