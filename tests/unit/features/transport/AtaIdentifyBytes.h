#pragma once

#include <cstdint>
#include <string>
#include <vector>

/// What a test says of a drive in IDENTIFY DEVICE.
struct AtaIdentifyFields {
    std::string serialNumber = "S1";
    std::string modelNumber = "M1";
    std::string firmware = "FW1";
    uint16_t general = 0x0040;   ///< word 0
    uint16_t rotationRate = 1;   ///< word 217
    uint64_t worldWideName = 0;  ///< 0: none
};

/// IDENTIFY DEVICE, 512 bytes, with a good checksum: each text with the characters of its words swapped.
std::vector<uint8_t> ataIdentifyBytes(const AtaIdentifyFields& fields);
