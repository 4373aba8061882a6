#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "CLI/velkossd/PartRow.h"

namespace cli::framework {
struct CommandPart;
class CommandSpec;
}  // namespace cli::framework

namespace ostrel::core {
class Attribute;
}

namespace cli::velkossd {

/// The way a command takes from its words to its result. Each flow receives the job name of its row.
enum Flow {
    FLOW_GET,
    FLOW_SET,  ///< Receives the row's attribute too.
    FLOW_METHOD,
    FLOW_ERASE,
    FLOW_NAMESPACE,  ///< The verb is the action.
    FLOW_IDENTIFY,
    FLOW_CONTROLLER_LIST,  ///< The identify flow where -nvmecontroller is the command and not a choice of the user.
    FLOW_DUMP,
    FLOW_PARSE_PEL,
    FLOW_PARSE_NLOG,
    FLOW_PARSE_TELEMETRY,
    FLOW_SCAN,
    FLOW_LED,
    FLOW_TIMESTAMP,
};

/// One command: what the user can type, what help says about it, and what becomes of it. The lists stand in the order
/// in which help shows them and end at the first entry that is null or has no name; -help, which every command takes
/// first, is not repeated.
///
/// A row without a verb has no command line: no grammar holds its id, and only a caller of the feature's run() gets
/// there.
struct CommandRow {
    bool hasCommandLine() const { return !verb.empty(); }

    int32_t id;
    std::string_view name;
    std::string_view verb;
    Flow flow;
    std::string_view job;
    ostrel::core::Attribute (*attribute)();  ///< The one property that a FLOW_SET command sets; null in other flows.
    const cli::framework::CommandPart* options[2];
    const PartRow* targets[6];
    std::string_view help;
    PartRow properties[6];
};

/// The row of an id, null where there is none. Two commands share an id: they differ in verb and name only, and the
/// first is returned.
const CommandRow* findCommand(int32_t id);

/// Appends the grammar of every command that has a command line, in the order of the catalogue.
void appendCommandSpecs(std::vector<cli::framework::CommandSpec>& commands);

}  // namespace cli::velkossd
