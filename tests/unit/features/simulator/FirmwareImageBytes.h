#pragma once

#include <boost/crc.hpp>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

/// A firmware image for a simulated drive. `reset`: 0 none, 1 controller level, 2 NVM subsystem, 3 conventional.
inline std::vector<uint8_t> firmwareImage(const std::string& revision, uint8_t reset, size_t size = 8192,
                                          const std::string& model = "VELKO Simulated NVMe SSD") {
    std::vector<uint8_t> bytes(size, 0xA5);
    std::fill(bytes.begin() + 16, bytes.begin() + 64, ' ');
    const std::string magic = "NBSIMFW1";
    std::copy(magic.begin(), magic.end(), bytes.begin());
    std::copy(model.begin(), model.end(), bytes.begin() + 16);
    std::copy(revision.begin(), revision.end(), bytes.begin() + 56);
    bytes[64] = reset;
    boost::crc_32_type crc;
    crc.process_bytes(bytes.data() + 16, bytes.size() - 16);
    for (size_t i = 0; i < 4; ++i) {
        bytes[8 + i] = static_cast<uint8_t>(size >> 8 * i);
        bytes[12 + i] = static_cast<uint8_t>(crc.checksum() >> 8 * i);
    }
    return bytes;
}
