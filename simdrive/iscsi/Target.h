#pragma once

#include <poll.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "features/errors/Result.h"
#include "features/simulator/sata/SataDrive.h"
#include "ostrel/core/FileDescriptor.h"
#include "ostrel/core/Status.h"
#include "simdrive/iscsi/Connection.h"
#include "simdrive/scsi/SatDevice.h"

namespace simdrive::iscsi {

/// An iSCSI target with one simulated SATA drive as logical unit 0. Any host may log in, several at once.
///
/// Memory:    at most MAX_CONNECTIONS connections, MAX_OF_PEER of one address, see Connection.
/// Errors:    without descriptors for another connection it goes on with those that it has, and tries again.
///            Without memory for what a host wants that host loses its connection.
/// Ownership: the drive must outlive it.
/// Threads:   one, which does everything in run().
class Target {
public:
    /// `name`: the iSCSI name.
    Target(features::simulator::sata::SataDrive& drive, std::string name) : device_(drive), name_(std::move(name)) {}

    /// `address`: numeric, IPv4 or IPv6; port 0: any free one, see address().
    ostrel::core::Status listen(const std::string& address, uint16_t port);
    /// "127.0.0.1:3260" or "[::1]:3260"
    const std::string& address() const { return address_; }
    /// Serves until `stop` becomes readable; then every connection is closed.
    ostrel::core::Status run(int stop);
    /// One turn of it: waits at most `maxWaitMs` (-1: without end) for something to do, and does it. True: `stop` was
    /// readable, and nothing was done.
    features::Result<bool> turn(int stop, int maxWaitMs);
    /// Serves a socket that was connected elsewhere, not blocking, as one that it accepted.
    void adopt(ostrel::core::FileDescriptor socket, std::string peer);

    /// "iqn.2026-01.com.velko.nimbrel:simulated:" and the serial number in the letters that such a name has.
    static std::string nameOf(const std::string& serialNumber);

private:
    static constexpr size_t MAX_CONNECTIONS = 32;
    static constexpr size_t MAX_OF_PEER = 16;

    void accept();
    void pauseListening(int error);
    void serve(Connection& connection, int events);
    void lookAfterTime();
    void endReplaced();
    int waitMs() const;

    scsi::SatDevice device_;
    const std::string name_;
    std::string address_;
    ostrel::core::FileDescriptor listener_;
    uint64_t listenAgainMs_ = 0;
    bool isOutOfDescriptors_ = false;  ///< and that was reported
    uint16_t lastSession_ = 0;
    std::vector<std::unique_ptr<Connection>> connections_;
    std::vector<pollfd> waits_;  ///< of one turn: the stop, the listener, and the connections in their order
};

}  // namespace simdrive::iscsi
