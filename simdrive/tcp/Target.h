#pragma once

#include <poll.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "features/errors/Result.h"
#include "features/simulator/controller/Controller.h"
#include "ostrel/core/FileDescriptor.h"
#include "ostrel/core/Status.h"
#include "simdrive/tcp/Connection.h"
#include "simdrive/tcp/DiscoveryController.h"
#include "simdrive/tcp/FabricsController.h"

namespace simdrive::tcp {

/// An NVMe/TCP target with one simulated drive and a Discovery subsystem. Each controller of the drive has a port of
/// its own and takes one host at a time; a second one is refused as long as the first is there or has not missed its
/// keep alive.
///
/// With a requirement each queue of the drive must authenticate before anything else, and a host that has not done so
/// keeps no other away. The Discovery subsystem, which shows where the drive is, needs no authentication.
///
/// Memory:    at most MAX_CONNECTIONS connections a port, MAX_OF_PEER of one address, see Connection.
/// Errors:    without descriptors for another connection it goes on with those that it has, and tries again.
///            Without memory for what a host wants that host loses its connection.
/// Ownership: the drive's controllers and the requirement must outlive it.
/// Threads:   one, which does everything in run().
class Target : public CommandHandler {
public:
    /// `requirement`: null: no authentication.
    explicit Target(const auth::Requirement* requirement) : requirement_(requirement) {}

    /// Opens a port for a controller of the drive. `address`: numeric, IPv4 or IPv6; port 0: any free one, see
    /// places().
    ostrel::core::Status listen(features::simulator::Controller& drive, const std::string& address, uint16_t port);
    /// One for each port.
    const std::vector<Place>& places() const { return places_; }
    /// Serves until `stop` becomes readable; then every connection is closed.
    ostrel::core::Status run(int stop);
    /// One turn of it: waits at most `maxWaitMs` (-1: without end) for something to do, and does it. True: `stop` was
    /// readable, and nothing was done. The error is poll()'s. It needs no memory of its own, so that it never ends for
    /// the lack of it.
    features::Result<bool> turn(int stop, int maxWaitMs);
    /// Serves a socket that was connected elsewhere, not blocking, as one that it accepted on its port `port`.
    void adopt(ostrel::core::FileDescriptor socket, std::string peer, size_t port = 0);

    Reply handle(Connection& connection, const Capsule& capsule, std::vector<uint8_t>& data) override;

private:
    static constexpr size_t MAX_CONNECTIONS = 128;
    static constexpr size_t MAX_OF_PEER = 96;  ///< a host with all queues has 65
    static constexpr size_t MAX_DISCOVERIES = 16;

    struct Port {
        features::simulator::Controller& drive;
        ostrel::core::FileDescriptor listener;
    };

    void accept(size_t port);
    void serve(Connection& connection, int events);
    void lookAfterTime();
    void removeEnded();
    int waitMs() const;
    Reply connect(Connection& connection, const Capsule& capsule, const std::vector<uint8_t>& data);
    Reply connectAdmin(Connection& connection, const Capsule& capsule, const std::vector<uint8_t>& data, Host host);
    Reply connectIo(Connection& connection, const Capsule& capsule, const std::vector<uint8_t>& data, const Host& host);
    Reply authenticate(Connection& connection, const Capsule& capsule, std::vector<uint8_t>& data);
    void admit(Connection& connection);
    /// One whose admin queue is authenticated.
    FabricsController* findController(uint16_t id) const;
    void pauseListening(int error);

    const auth::Requirement* requirement_;  ///< not owned
    uint64_t listenAgainMs_ = 0;
    bool isOutOfDescriptors_ = false;  ///< and that was reported
    std::vector<Port> ports_;
    std::vector<Place> places_;  ///< of the ports
    std::vector<std::unique_ptr<Connection>> connections_;
    std::vector<pollfd> waits_;  ///< of one turn: the stop, the ports, and the connections in their order
    std::vector<std::unique_ptr<FabricsController>> controllers_;
    uint16_t lastDiscovery_ = features::simulator::MAX_CONTROLLERS;  ///< the identifier that was given last
};

}  // namespace simdrive::tcp
