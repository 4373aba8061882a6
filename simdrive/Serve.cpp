#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>

#include "features/simulator/Clock.h"
#include "features/simulator/Controller.h"
#include "features/simulator/OwnFiles.h"
#include "ostrel/core/FileDescriptor.h"
#include "simdrive/Commands.h"
#include "simdrive/tcp/Target.h"

namespace simdrive {

using namespace features::simulator;
using ostrel::core::FileDescriptor;
using ostrel::core::Status;

namespace {

bool parsePort(const std::string& text, uint16_t& port) {
    constexpr unsigned long MOST = 65535;
    if (text.empty() || text.size() > 5 || text.find_first_not_of("0123456789") != std::string::npos) return false;
    const unsigned long number = std::stoul(text);
    port = static_cast<uint16_t>(number);
    return number <= MOST;
}

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

std::string announcement(const std::string& name, const tcp::Place& place) {
    const std::string address = place.isIpv6 ? "[" + place.address + "]" : place.address;
    return name + " listens on " + address + ":" + std::to_string(place.port) + "\nsubsystem " + place.subsystem + "\n";
}

}  // namespace

Outcome serve(const DriveStore& store, const CommandLine& line) {
    uint16_t port = 0;
    if (line.names.size() != 1) return Outcome::misused("serve needs the name of one drive.");
    if (!parsePort(line.option("port", "4420"), port)) return Outcome::misused("--port takes 0 to 65535.");
    const std::string address = line.option("address", "127.0.0.1");
    std::string path;
    Status status = findDrive(store, line.names[0], path);
    if (!status.is(0, 0)) return Outcome::failed(status);
    FileDescriptor folder;
    status = openOwnFolder(path, FolderMode::TIGHTEN, folder);
    FileDescriptor served;
    if (status.is(0, 0)) status = lockServed(folder, path, served);
    if (isHeld(status)) return Outcome::failed("The drive \"" + line.names[0] + "\" is served already.");
    if (!status.is(0, 0)) return Outcome::failed(status);
    const FileDescriptor stop = stopSignals();
    if (!stop.isOpen()) return Outcome::failed(std::string("signalfd: ") + std::strerror(errno) + ".");

    const features::simulator::SystemClock clock;
    features::simulator::Controller drive(path, clock);
    tcp::Target target(drive);
    status = target.listen(address, port);
    if (!status.is(0, 0)) return Outcome::failed(status);
    if (!isLoopback(address)) {
        (void)ostrel::core::writeFully(STDERR_FILENO, "nimbrel-simdrive: Whoever reaches " + address +
                                                          " can read the drive and erase it: there is no secret.\n");
    }
    (void)ostrel::core::writeFully(STDOUT_FILENO, announcement(line.names[0], target.place()));
    status = target.run(stop.get());
    return status.is(0, 0) ? Outcome() : Outcome::failed(status);
}

}  // namespace simdrive
