#include <unistd.h>

#include <algorithm>
#include <exception>
#include <iterator>
#include <new>
#include <string>
#include <vector>

#include "ostrel/core/FileDescriptor.h"
#include "ostrel/core/SystemError.h"
#include "ostrel/core/WriteSignals.h"
#include "simdrive/Commands.h"
#include "simdrive/FaultText.h"
#include "simdrive/StoreFolder.h"

namespace {

using simdrive::CommandLine;
using simdrive::DriveStore;
using simdrive::Outcome;

constexpr const char* HELP_BEGIN = R"(nimbrel-simdrive: simulated NVMe drives, for nimbrel and for the network.

  nimbrel-simdrive create [NAME] [--model velko|ocp|nvme-1.4] [--size SIZE]
                          [--serial SERIAL] [--model-number TEXT]
                          [--firmware REVISION] [--controllers 1|2]
                          [--count N] [--json]
      Makes drives: NAME, or with --count or without a name NAME-1, NAME-2, ...
      SIZE: bytes, or with K, M, G, T (powers of 1000), Ki, Mi, Gi, Ti (1024);
      1 MiB to 8 TiB, by default 16 GiB. Only what is written takes room.
      Model number and firmware revision are the model's, or free texts. With
      two controllers a drive has two ports and Asymmetric Namespace Access.

  nimbrel-simdrive list [--json]
      Shows the drives.

  nimbrel-simdrive remove NAME ...
      Removes drives with all their data, without asking.

  nimbrel-simdrive snapshot NAME
  nimbrel-simdrive reset NAME
      Keeps a drive as it is, with its data, and makes it that again.

  nimbrel-simdrive fault NAME [--KIND VALUE ...] [--json]
  nimbrel-simdrive fault NAME clear [KIND ...] [--json]
      Shows what is wrong with a drive, and sets or takes off faults:
)";
constexpr const char* HELP_END = R"(      Several values of a kind: one text with commas between them.

  nimbrel-simdrive serve NAME [--address 127.0.0.1] [--port 4420]
                         [--second-port 4421] [--dhchap-secret-file FILE]
                         [--dhchap-ctrl-secret-file FILE]
      Puts a drive on the network with NVMe/TCP, until SIGTERM or SIGINT. The
      second controller has the port after the first one's, or its own. With
      a secret hosts must authenticate; the secret is one line, DHHC-1:...,
      in a file of mode 0600. The second one is what the drive answers with.

  nimbrel-simdrive --version

The drives are in /opt/velko/nimbrel/SimulatedDrives, which takes the root user.
nimbrel takes them by serial number, index or path:
/opt/velko/nimbrel/SimulatedDrives/NAME/dev/NAME. With --folder PATH each
command works on drives in a folder of your own, which nimbrel does not list.
Exit status: 0 done, 1 failed, 2 the command line is wrong.
)";

struct CommandRow {
    const char* name;
    Outcome (*run)(const DriveStore& store, const CommandLine& line);
    std::vector<std::string> options;
    bool makesDrives = false;
};

/// There is no further place for what cannot be said on the error stream.
void complain(const std::string& words) {
    (void)ostrel::core::writeFully(STDERR_FILENO, "nimbrel-simdrive: " + words + "\n");
}

std::vector<std::string> faultOptions() {
    std::vector<std::string> options = {"json!"};
    for (const auto& [key, value] : simdrive::noFaults()) options.push_back(key);
    return options;
}

std::string help() {
    return HELP_BEGIN + simdrive::faultHelp() + HELP_END;
}

Outcome runTool(const std::vector<std::string>& words) {
    const bool wantsHelp = std::find(words.begin(), words.end(), "--help") != words.end();
    if (wantsHelp || words.empty()) return {words.empty() ? simdrive::EXIT_USAGE : 0, help(), ""};
    if (words == std::vector<std::string>{"--version"}) return {0, "nimbrel-simdrive " NIMBREL_VERSION "\n", ""};
    const CommandRow commands[] = {
        {"create",
         simdrive::create,
         {"model", "size", "serial", "model-number", "firmware", "controllers", "count", "json!"},
         true},
        {"list", simdrive::list, {"json!"}},
        {"remove", simdrive::remove, {}},
        {"snapshot", simdrive::snapshot, {}},
        {"reset", simdrive::reset, {}},
        {"fault", simdrive::fault, faultOptions()},
        {"serve", simdrive::serve, {"address", "port", "second-port", "dhchap-secret-file", "dhchap-ctrl-secret-file"}},
    };
    const auto* command = std::find_if(std::begin(commands), std::end(commands),
                                       [&](const CommandRow& row) { return words[0] == row.name; });
    if (command == std::end(commands)) {
        return Outcome::misused("There is no command \"" + words[0] + "\"; nimbrel-simdrive --help lists them.");
    }
    std::vector<std::string> options = command->options;
    options.emplace_back("folder");
    const CommandLine line = CommandLine::parse({words.begin() + 1, words.end()}, options);
    if (!line.error.empty()) return Outcome::misused(line.error);
    if (line.option("folder", ".").empty()) return Outcome::misused("--folder needs a path.");
    DriveStore store;
    const ostrel::core::Status status = simdrive::chooseStore(line, command->makesDrives, store);
    return succeeded(status) ? command->run(store, line) : Outcome::failed(status);
}

/// Writes what the command says; returns the exit status.
int deliver(const Outcome& outcome) {
    const int error = ostrel::core::writeFully(STDOUT_FILENO, outcome.out);
    if (error != 0) complain("Cannot write to standard output: " + ostrel::core::systemErrorText(error) + ".");
    if (!outcome.error.empty()) complain(outcome.error);
    return error != 0 && outcome.status == 0 ? simdrive::EXIT_FAILED : outcome.status;
}

}  // namespace

int main(int argc, char** argv) {
    ostrel::core::ignoreWriteSignals();
    try {
        return deliver(runTool({argv + std::min(argc, 1), argv + argc}));
    } catch (const std::bad_alloc&) {
        (void)ostrel::core::writeFully(STDERR_FILENO, "nimbrel-simdrive: Out of memory.\n");
    } catch (const std::exception& failure) {
        (void)ostrel::core::writeFully(STDERR_FILENO, "nimbrel-simdrive: ");
        (void)ostrel::core::writeFully(STDERR_FILENO, failure.what());
        (void)ostrel::core::writeFully(STDERR_FILENO, "\n");
    }
    return simdrive::EXIT_FAILED;
}
