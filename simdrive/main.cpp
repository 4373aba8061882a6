#include <unistd.h>

#include <algorithm>
#include <exception>
#include <new>
#include <string>
#include <vector>

#include "ostrel/core/FileDescriptor.h"
#include "ostrel/core/SystemError.h"
#include "ostrel/core/WriteSignals.h"
#include "simdrive/CommandLine.h"
#include "simdrive/StoreFolder.h"

namespace {

using simdrive::CommandLine;
using simdrive::Outcome;

constexpr const char* HELP_BEGIN = R"(nimbrel-simdrive: simulated NVMe drives, for nimbrel and for the network.

)";
constexpr const char* HELP_END = R"(  nimbrel-simdrive --version

The drives are in /opt/velko/nimbrel/SimulatedDrives, which takes the root user.
nimbrel takes them by serial number, index or path:
/opt/velko/nimbrel/SimulatedDrives/NAME/dev/NAME. With --folder PATH each
command works on drives in a folder of your own, which nimbrel does not list.
Exit status: 0 done, 1 failed, 2 the command line is wrong.
)";

/// There is no further place for what cannot be said on the error stream.
void complain(const std::string& words) {
    (void)ostrel::core::writeFully(STDERR_FILENO, "nimbrel-simdrive: " + words + "\n");
}

Outcome runTool(const std::vector<std::string>& words) {
    const bool wantsHelp = std::find(words.begin(), words.end(), "--help") != words.end();
    if (wantsHelp || words.empty())
        return {words.empty() ? simdrive::EXIT_USAGE : 0, HELP_BEGIN + simdrive::commandHelp() + HELP_END, ""};
    if (words == std::vector<std::string>{"--version"}) return {0, "nimbrel-simdrive " NIMBREL_VERSION "\n", ""};
    const CommandLine line = CommandLine::parse(words);
    if (!line.error.empty()) return Outcome::misused(line.error);
    TRY(const features::simulator::DriveStore store, simdrive::chooseStore(line.folder, line.makesDrives));
    return line.run(store);
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
