#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <optional>
#include <string>
#include <vector>

#include "features/simulator/controller/Controller.h"
#include "features/simulator/sata/SataDrive.h"
#include "features/simulator/store/Clock.h"
#include "features/simulator/store/DriveFolder.h"
#include "features/simulator/store/OwnFiles.h"
#include "ostrel/core/FileDescriptor.h"
#include "ostrel/core/SystemError.h"
#include "simdrive/Commands.h"
#include "simdrive/auth/Authentication.h"
#include "simdrive/iscsi/Target.h"
#include "simdrive/tcp/Target.h"

namespace simdrive {

using namespace features::simulator;
using ostrel::core::FileDescriptor;
using ostrel::core::Status;

namespace {

bool isLoopback(const std::string& address) {
    return address.compare(0, 4, "127.") == 0 || address == "::1";
}

/// Becomes readable when the process is to end.
FileDescriptor stopSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    (void)sigprocmask(SIG_BLOCK, &signals, nullptr);  // fails for a wrong first argument alone
    return FileDescriptor(signalfd(-1, &signals, SFD_CLOEXEC));
}

std::string addressOf(const tcp::Place& place) {
    return (place.isIpv6 ? "[" + place.address + "]" : place.address) + ":" + std::to_string(place.port);
}

std::string announcement(const std::string& name, const std::vector<tcp::Place>& places, bool isAuthenticated) {
    std::string text = name + " listens on " + addressOf(places[0]) + "\n";
    std::string anyOf = addressOf(places[0]);
    for (size_t i = 1; i < places.size(); ++i) {
        text += "controller " + std::to_string(i + 1) + " listens on " + addressOf(places[i]) + "\n";
        anyOf += " or " + addressOf(places[i]);
    }
    return text + "subsystem " + places[0].subsystem + "\n" +
           (isAuthenticated ? "authentication required: DH-HMAC-CHAP\n"
                            : "no authentication: anyone who reaches " + anyOf + " can read and erase the drive\n");
}

/// The ports that the options name; 0: any free one.
struct Ports {
    uint16_t first = 0;
    uint16_t second = 0;  ///< of a second controller
};

Ports portsOf(const ServeOptions& options) {
    constexpr uint16_t DEFAULT_PORT = 4420;
    constexpr uint16_t MAX_PORT = 65535;
    Ports ports;
    ports.first = options.port.value_or(DEFAULT_PORT);
    const bool isNextFree = ports.first == 0 || ports.first == MAX_PORT;
    ports.second = options.secondPort.value_or(isNextFree ? uint16_t{0} : static_cast<uint16_t>(ports.first + 1));
    return ports;
}

/// The controllers of the drive, all of which are on the network.
struct Drive {
    Drive(const std::string& path, const Clock& clock) : first(path, clock), second(path, clock, 2) {}

    /// Opens a port for each.
    Status listen(tcp::Target& target, const std::string& address, const Ports& ports, bool wantsSecondPort) {
        TRY(const Description description, first.describe());
        if (wantsSecondPort && !description.hasTwoControllers) {
            return Status(ostrel::core::CATEGORY_OS, EINVAL, "--second-port is for a drive with two controllers.");
        }
        RETURN_IF_FAILED(target.listen(first, address, ports.first));
        return description.hasTwoControllers ? target.listen(second, address, ports.second) : Status();
    }

    Controller first;
    Controller second;  ///< unused when the drive has one
};

/// The secrets that the options name; empty: they name none.
features::Result<std::optional<auth::Requirement>> readSecrets(const ServeOptions& options) {
    if (!options.secretFile) return std::nullopt;
    auth::Requirement requirement;
    TRY(requirement.host, auth::Secret::read(*options.secretFile));
    if (options.controllerSecretFile) {
        TRY(requirement.controller, auth::Secret::read(*options.controllerSecretFile));
    }
    return requirement;
}

constexpr const char* LOOPBACK = "127.0.0.1";
constexpr const char* NVME_ADVICE = " --dhchap-secret-file requires authentication.";

void warnOfOtherMachines(const std::string& address, const char* advice) {
    (void)ostrel::core::writeFully(STDERR_FILENO, "nimbrel-simdrive: " + address +
                                                      " is no loopback address: other machines can " +
                                                      "read and erase the drive." + advice + "\n");
}

/// Who cannot read the port waits for it for ever.
Outcome announce(const std::string& text) {
    const int unsaid = ostrel::core::writeFully(STDOUT_FILENO, text);
    if (unsaid == 0) return {};
    return Outcome::failed("Cannot write to standard output: " + ostrel::core::systemErrorText(unsaid) + ".");
}

/// `requirement`: null: no authentication.
Outcome serveNvme(const std::string& name, const std::string& path, const ServeOptions& options,
                  const auth::Requirement* requirement, int stop) {
    const std::string address = options.address.value_or(LOOPBACK);
    const SystemClock clock;
    Drive drive(path, clock);
    tcp::Target target(requirement);
    RETURN_IF_FAILED(drive.listen(target, address, portsOf(options), options.secondPort.has_value()));
    if (requirement == nullptr && !isLoopback(address)) warnOfOtherMachines(address, NVME_ADVICE);
    const Outcome announced = announce(announcement(name, target.places(), requirement != nullptr));
    if (announced.status != 0) return announced;
    RETURN_IF_FAILED(target.run(stop));
    return {};
}

Outcome serveSata(const std::string& name, const std::string& path, const std::string& serialNumber,
                  const ServeOptions& options, int stop) {
    constexpr uint16_t DEFAULT_PORT = 3260;
    if (options.secondPort || options.secretFile || options.controllerSecretFile) {
        return Outcome::misused("--second-port and the secrets of DH-HMAC-CHAP are for NVMe drives.");
    }
    const std::string address = options.address.value_or(LOOPBACK);
    const SystemClock clock;
    sata::SataDrive drive(path, clock);
    RETURN_IF_FAILED(statusOf(drive.describe()));
    iscsi::Target target(drive, iscsi::Target::nameOf(serialNumber));
    RETURN_IF_FAILED(target.listen(address, options.port.value_or(DEFAULT_PORT)));
    if (!isLoopback(address)) warnOfOtherMachines(address, "");
    const Outcome announced =
        announce(name + " listens on " + target.address() + "\ntarget " + iscsi::Target::nameOf(serialNumber) +
                 "\nno authentication: anyone who reaches " + target.address() + " can read and erase the drive\n");
    if (announced.status != 0) return announced;
    RETURN_IF_FAILED(target.run(stop));
    return {};
}

}  // namespace

Outcome serve(const DriveStore& store, const std::string& name, const ServeOptions& options) {
    if (options.controllerSecretFile && !options.secretFile) {
        return Outcome::misused("--dhchap-ctrl-secret-file goes with --dhchap-secret-file.");
    }
    TRY(const std::optional<auth::Requirement> requirement, readSecrets(options));
    TRY(const std::string path, findDrive(store, name));
    TRY(FileDescriptor begin, store.lock());  // no removal looks at the drive and then removes it from under this
    TRY(const FileDescriptor folder, openOwnFolder(path, FolderMode::TIGHTEN));
    const auto served = lockServed(folder, path);
    if (!served && isHeld(served.error())) return Outcome::failed("The drive \"" + name + "\" is served already.");
    if (!served) return served.error();
    begin = FileDescriptor();
    const FileDescriptor stop = stopSignals();
    if (!stop.isOpen()) return Outcome::failed("signalfd: " + ostrel::core::systemErrorText(errno) + ".");

    const auto identity = DriveFolder::readIdentity(path);
    if (identity && isSata(identity->description.model)) {
        return serveSata(name, path, identity->description.serialNumber, options, stop.get());
    }
    return serveNvme(name, path, options, requirement ? &*requirement : nullptr, stop.get());
}

}  // namespace simdrive
