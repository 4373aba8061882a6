#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "features/errors/Result.h"
#include "features/simulator/controller/Controller.h"
#include "simdrive/tcp/FabricsController.h"

namespace simdrive::tcp {

/// A controller of a simulated drive on the network, with the identifier that it has there. Commands go to the
/// simulator as they are; what the drive does not know of fabrics is added to its Identify structure here.
///
/// Ownership: the simulated drive must outlive it.
class DriveController : public FabricsController {
public:
    DriveController(features::simulator::Controller& drive, Host host, uint32_t keepAliveMs, uint64_t nowMs);

    void lookAfterDrive(uint64_t nowMs) override;
    uint16_t maxIoQueues() const override { return MAX_IO_QUEUES; }

protected:
    Reply runAdmin(const Capsule& capsule, std::vector<uint8_t>& data) override;
    Reply runIo(const Capsule& capsule, std::vector<uint8_t>& data) override;
    void resetController() override;
    bool resetSubsystem() override;
    Reply requestEvent(const Capsule& capsule) override;
    void cancelEventRequest() override { drive_.cancelEventRequest(); }

private:
    static constexpr uint16_t MAX_IO_QUEUES = 64;
    void reportEvents();
    Reply execute(const Capsule& capsule, bool isAdmin, std::vector<uint8_t>& data);

    features::simulator::Controller& drive_;
    uint64_t nextLookMs_ = 0;  ///< each look is a transaction of the drive
};

/// Whether there is a drive to talk to: it has not vanished, and its files can be read.
bool isThere(features::simulator::Controller& drive);

/// The whole Identify Controller structure of a drive, as a host on the network gets it.
features::Result<std::vector<uint8_t>> identifyDrive(features::simulator::Controller& drive);

}  // namespace simdrive::tcp
