#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "CLI/velkossd/Flows.h"
#include "CLI/velkossd/PartRow.h"
#include "CLI/velkossd/SubFlows.h"

namespace cli::framework {
struct CommandPart;
class CommandSpec;
}  // namespace cli::framework

namespace ostrel::core {
class Attribute;
}

namespace cli::velkossd {

/// The target of `show` that shows what became of a command that was interrupted; empty where it is the drive's
/// properties. Two where SATA drives have no such target as NVMe drives have.
struct OutcomeTarget {
    constexpr OutcomeTarget() = default;
    constexpr OutcomeTarget(const char* ofAll) : ofNvme(ofAll), ofSata(ofAll) {}  // most rows: implicit
    constexpr OutcomeTarget(const char* ofNvme, const char* ofSata) : ofNvme(ofNvme), ofSata(ofSata) {}

    std::string_view ofNvme;
    std::string_view ofSata;
};

/// How a command runs.
struct CommandAction {
    Flow* flow;
    std::string_view job;
    SubFlow* addArguments = nullptr;                   ///< What the job wants beside a drive; null where nothing.
    ostrel::core::Attribute (*attribute)() = nullptr;  ///< The one property that a setFlow command sets.
    OutcomeTarget outcome = {};
};

/// One command: what the user can type, what help says about it, and how it runs. The lists are in the order in which
/// help shows them and end at the first entry that is null or has no name; -help, which every command takes first, is
/// not repeated.
///
/// A row without a verb has no command line: no grammar holds its id, and only a caller of VelkoSSDFeature::run()
/// gets there.
struct CommandRow {
    bool hasCommandLine() const { return !verb.empty(); }

    int32_t id;
    std::string_view name;
    std::string_view verb;
    CommandAction action;
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
