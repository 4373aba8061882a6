#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <tuple>

namespace features::transport {

/// Where a SCSI device is on its host, as sysfs names it: "0:0:1:0". For libata the host is the port, so that the order
/// of addresses is that of the ports, whatever letters the disks have.
struct ScsiAddress {
    uint32_t host = 0;
    uint32_t channel = 0;
    uint32_t target = 0;
    uint64_t lun = 0;

    bool operator<(const ScsiAddress& other) const {
        return std::tie(host, channel, target, lun) < std::tie(other.host, other.channel, other.target, other.lun);
    }
};

/// Absent when the text is no address.
std::optional<ScsiAddress> toScsiAddress(const std::string& text);

}  // namespace features::transport
