#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "simdrive/tcp/FabricsController.h"

namespace simdrive::tcp {

inline constexpr const char* DISCOVERY_NQN = "nqn.2014-08.org.nvmexpress.discovery";

/// Where a subsystem is to be found.
struct Place {
    std::string subsystem;  ///< NQN
    std::string address;    ///< numeric
    uint16_t port = 0;
    bool isIpv6 = false;
};

/// A Discovery controller: reports the ports of the one subsystem to hosts, log page 70h.
class DiscoveryController : public FabricsController {
public:
    DiscoveryController(uint16_t id, std::vector<Place> places, Host host, uint32_t keepAliveMs, uint64_t nowMs)
        : FabricsController(id, std::move(host), keepAliveMs, nowMs), places_(std::move(places)) {}

    bool isDiscovery() const override { return true; }

protected:
    Reply runAdmin(const Capsule& capsule, std::vector<uint8_t>& data) override;
    Reply runIo(const Capsule& capsule, std::vector<uint8_t>& data) override;

private:
    Reply identify(const Capsule& capsule, std::vector<uint8_t>& data) const;
    Reply getLogPage(const Capsule& capsule, std::vector<uint8_t>& data) const;

    std::vector<Place> places_;
    uint32_t eventConfiguration_ = 0;
};

}  // namespace simdrive::tcp
