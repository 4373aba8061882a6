// Prints tables of the product for tests that compare documents and whole runs with them, a row a line with tabs
// between the fields:
//
//     command ID NAME            a row of the catalogue; NAME is empty where it has no command line
//     exit    NUMBER NAME        an exit status of the tool itself
//     log     LID NAME SHORT a log page, with its names
//     status  CATEGORY CODE TEXT a predefined status

#include <cstdio>
#include <vector>

#include "CLI/velkossd/CommandCatalogue.h"
#include "features/nvme/LogPages.h"
#include "features/nvme/OcpLogPages.h"
#include "features/nvme/VelkoLogPages.h"
#include "ostrel/interfaces/cli/cliframework/CommandSpec.h"
#include "ostrel/interfaces/cli/cliframework/ErrorCode.h"

namespace {

using namespace cli::framework;  // NOLINT(google-build-using-namespace): the ERRORCODE_ constants

/// Null where no enumerator has the number. A switch without a default: the compiler finds an enumerator without a row.
const char* nameOf(ErrorCode code) {
    switch (code) {
        case ERRORCODE_SUCCESS:
            return "SUCCESS";
        case ERRORCODE_GENERAL:
            return "GENERAL";
        case ERRORCODE_OUT_OF_MEMORY:
            return "OUT_OF_MEMORY";
        case ERRORCODE_NOT_SUPPORTED:
            return "NOT_SUPPORTED";
        case ERRORCODE_INVALID_CONFIGURATION:
            return "INVALID_CONFIGURATION";
        case ERRORCODE_FILE_NOT_WRITTEN:
            return "FILE_NOT_WRITTEN";
        case ERRORCODE_NOT_BOOLEAN:
            return "NOT_BOOLEAN";
        case ERRORCODE_INVALID_PROPERTY:
            return "INVALID_PROPERTY";
        case ERRORCODE_INVALID_VALUE:
            return "INVALID_VALUE";
        case ERRORCODE_INVALID_LOG_FILE:
            return "INVALID_LOG_FILE";
        case ERRORCODE_SYMBOLIC_LINK:
            return "SYMBOLIC_LINK";
        case ERRORCODE_CORRUPT_CONFIGURATION:
            return "CORRUPT_CONFIGURATION";
        case ERRORCODE_SYNTAX:
            return "SYNTAX";
    }
    return nullptr;
}

void printCommands() {
    // Commands that share an id differ in their names, which the grammar has.
    for (int32_t id = 0; id < 256; ++id)
        if (const auto* row = cli::velkossd::findCommand(id); row != nullptr && !row->hasCommandLine())
            std::printf("command\t%d\t\n", id);
    std::vector<CommandSpec> commands;
    cli::velkossd::appendCommandSpecs(commands);
    for (const CommandSpec& command : commands) std::printf("command\t%d\t%s\n", command.id, command.name.c_str());
}

void printLogPages() {
    const auto print = [](uint8_t lid, const char* name, const char* shortName) {
        std::printf("log\t0x%02X\t%s\t%s\n", lid, name, shortName);
    };
    for (const auto* row = features::nvme::logPagesBegin(); row != features::nvme::logPagesEnd(); ++row)
        print(row->lid, row->name, row->shortName);
    for (const auto* row = features::nvme::velkoLogPagesBegin(); row != features::nvme::velkoLogPagesEnd(); ++row)
        print(row->lid, row->name, row->shortName);
    for (const auto* row = features::nvme::ocpLogPagesBegin(); row != features::nvme::ocpLogPagesEnd(); ++row)
        print(row->page.lid, row->page.name, row->page.shortName);
}

}  // namespace

int main() {
    printCommands();
    printLogPages();
    for (int32_t number = 0; number < 256; ++number)
        if (const char* name = nameOf(static_cast<ErrorCode>(number))) std::printf("exit\t%d\t%s\n", number, name);
#define STATUS(name, category, code, text) std::printf("status\t%d\t%d\t%s\n", category, code, text);
#include "ostrel/core/StatusCatalogue.def"
}
