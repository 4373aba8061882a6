#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "simdrive/tcp/Connection.h"

namespace simdrive::tcp {

/// Who connected: both identifiers must be the same on every queue of an association.
struct Host {
    std::array<uint8_t, 16> identifier{};
    std::string name;  ///< NQN

    bool operator==(const Host& other) const { return identifier == other.identifier && name == other.name; }
};

/// A controller as a host on the network sees it: what all kinds of controllers have in common. It has the properties,
/// keep alive, the held event requests and Abort; other commands go to runAdmin() and runIo(). It lives as long as the
/// association with its host.
///
/// Ownership: connections are the target's, which reports each that ends by forget().
/// Threads:   one.
class FabricsController {
public:
    FabricsController(uint16_t id, Host host, uint32_t keepAliveMs, uint64_t nowMs);
    virtual ~FabricsController() = default;
    FabricsController(const FabricsController&) = delete;
    FabricsController& operator=(const FabricsController&) = delete;

    uint16_t id() const { return id_; }
    virtual bool isDiscovery() const { return false; }
    const Host& host() const { return host_; }
    Connection* findQueue(uint16_t queueId) const;
    void add(Connection& connection) { queues_.push_back(&connection); }
    /// A connection that ends. Without its admin queue the association is over.
    void forget(const Connection& connection);
    bool isOver() const { return isOver_; }
    /// The host may use it: no authentication is required, or its admin queue has authenticated.
    void admit() { isAdmitted_ = true; }
    bool isAdmitted() const { return isAdmitted_ && !isOver_; }
    /// Closes all queues at once and ends the association.
    void end();
    /// The host has not been heard of for longer than it promised.
    bool isExpired(uint64_t nowMs) const { return keepAliveMs_ != 0 && nowMs > deadlineMs_; }
    bool isEnabled() const;

    Reply handle(Connection& connection, const Capsule& capsule, std::vector<uint8_t>& data, uint64_t nowMs);
    /// Looks after the drive: completes held event requests when something has happened, and ends when it is gone. To
    /// be called often: it decides when it looks.
    virtual void lookAfterDrive(uint64_t) {}
    /// I/O queues that a host may have.
    virtual uint16_t maxIoQueues() const { return 0; }

protected:
    virtual Reply runAdmin(const Capsule& capsule, std::vector<uint8_t>& data) = 0;
    virtual Reply runIo(const Capsule& capsule, std::vector<uint8_t>& data) = 0;
    virtual void resetController() {}
    /// False: there is no such reset here.
    virtual bool resetSubsystem() { return false; }
    virtual uint32_t version() const { return 0x00010400; }

    /// An Asynchronous Event Request: held, unless there is something to report.
    virtual Reply requestEvent(const Capsule&) { return Reply::held(); }
    /// A held one was aborted.
    virtual void cancelEventRequest() {}

    bool hasEventRequest() const { return !eventRequests_.empty(); }
    void completeEventRequest(uint32_t result);

private:
    Reply handleFabrics(Connection& connection, const Capsule& capsule);
    Reply handleAdmin(const Capsule& capsule, std::vector<uint8_t>& data);
    Reply getProperty(const Capsule& capsule) const;
    Reply setProperty(const Capsule& capsule);
    void configure(uint32_t value);
    void disable();
    Reply abort(const Capsule& capsule);
    Reply takeEventRequest(const Capsule& capsule);
    Reply keepAliveFeature(const Capsule& capsule);

    uint16_t id_;
    Host host_;
    uint32_t keepAliveMs_;  ///< 0: the host need not say anything
    uint64_t deadlineMs_ = 0;
    uint32_t configuration_ = 0;  ///< CC
    uint32_t status_ = 0;         ///< CSTS
    bool isOver_ = false;
    bool isAdmitted_ = false;
    std::vector<Connection*> queues_;
    std::vector<uint16_t> eventRequests_;  ///< command identifiers on the admin queue, oldest first
};

/// Puts what a controller on a fabric has in its Identify structure, over one of a drive.
void putFabricsIdentity(std::vector<uint8_t>& identify);

}  // namespace simdrive::tcp
