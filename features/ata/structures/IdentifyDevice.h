#pragma once

#include <cstddef>
#include <cstdint>

#include "features/nvme/structures/Fields.h"

namespace features::ata {

/// IDENTIFY DEVICE data, ACS-4 clause 7.13.6. A member named wordsN holds the words from N on that this library does
/// not interpret. In the texts the two characters of each word are swapped.
struct IdentifyDevice {
    nvme::Le16 general;  // word 0
    nvme::Le16 words1[9];
    nvme::ByteArray<20> serialNumber;  // 10
    nvme::Le16 words20[3];
    nvme::ByteArray<8> firmware;  // 23
    nvme::ByteArray<40> model;    // 27
    nvme::Le16 word47;
    nvme::Le16 trustedComputing;  // 48
    nvme::Le16 capabilities;      // 49
    nvme::Le16 words50[9];
    nvme::Le16 sanitize;   // 59
    nvme::Le32 sectors28;  // 60: what 28-bit commands address
    nvme::Le16 words62[7];
    nvme::Le16 additional;  // 69
    nvme::Le16 words70[5];
    nvme::Le16 queueDepth;         // 75
    nvme::Le16 sataCapabilities;   // 76
    nvme::Le16 sataSpeed;          // 77
    nvme::Le16 sataSupported;      // 78
    nvme::Le16 sataEnabled;        // 79
    nvme::Le16 majorVersion;       // 80
    nvme::Le16 minorVersion;       // 81
    nvme::Le16 supported[3];       // 82, 83, 84
    nvme::Le16 enabled[3];         // 85, 86, 87
    nvme::Le16 ultraDma;           // 88
    nvme::Le16 eraseTime;          // 89
    nvme::Le16 enhancedEraseTime;  // 90
    nvme::Le16 apmLevel;           // 91
    nvme::Le16 masterPassword;     // 92
    nvme::Le16 words93[7];
    nvme::Le64 sectors48;  // 100
    nvme::Le16 word104;
    nvme::Le16 trimBlocks;   // 105
    nvme::Le16 sectorSizes;  // 106
    nvme::Le16 word107;
    nvme::Le16 wwn[4];  // 108: most significant word first
    nvme::Le16 words112[5];
    nvme::Le32 logicalSectorWords;  // 117
    nvme::Le16 supported119;
    nvme::Le16 enabled120;
    nvme::Le16 words121[7];
    nvme::Le16 security;  // 128
    nvme::Le16 vendor129[31];
    nvme::Le16 words160[8];
    nvme::Le16 formFactor;         // 168
    nvme::Le16 dataSetManagement;  // 169
    nvme::Le16 words170[36];
    nvme::Le16 sct;  // 206
    nvme::Le16 words207[2];
    nvme::Le16 alignment;  // 209
    nvme::Le16 words210[7];
    nvme::Le16 rotationRate;  // 217
    nvme::Le16 words218[4];
    nvme::Le16 transport;  // 222
    nvme::Le16 words223[7];
    nvme::Le64 extendedSectors;    // 230
    nvme::Le16 minDownloadBlocks;  // 234
    nvme::Le16 maxDownloadBlocks;  // 235
    nvme::Le16 words236[19];
    uint8_t checksumSignature;  // 255: A5h where the next byte makes the sum of all bytes 0
    uint8_t checksum;
};
/// The standard counts in words.
constexpr std::size_t wordOffset(std::size_t word) {
    return word * 2;
}
static_assert(sizeof(IdentifyDevice) == 512 && alignof(IdentifyDevice) == 1);
static_assert(offsetof(IdentifyDevice, serialNumber) == wordOffset(10) &&
              offsetof(IdentifyDevice, model) == wordOffset(27));
static_assert(offsetof(IdentifyDevice, sanitize) == wordOffset(59) &&
              offsetof(IdentifyDevice, additional) == wordOffset(69));
static_assert(offsetof(IdentifyDevice, queueDepth) == wordOffset(75) &&
              offsetof(IdentifyDevice, supported) == wordOffset(82));
static_assert(offsetof(IdentifyDevice, eraseTime) == wordOffset(89) &&
              offsetof(IdentifyDevice, sectors48) == wordOffset(100));
static_assert(offsetof(IdentifyDevice, wwn) == wordOffset(108) &&
              offsetof(IdentifyDevice, supported119) == wordOffset(119));
static_assert(offsetof(IdentifyDevice, security) == wordOffset(128) &&
              offsetof(IdentifyDevice, formFactor) == wordOffset(168));
static_assert(offsetof(IdentifyDevice, sct) == wordOffset(206) &&
              offsetof(IdentifyDevice, rotationRate) == wordOffset(217));
static_assert(offsetof(IdentifyDevice, extendedSectors) == wordOffset(230) &&
              offsetof(IdentifyDevice, checksum) == 511);

/// What checksumSignature is where there is a checksum.
inline constexpr uint8_t CHECKSUM_SIGNATURE = 0xA5;

}  // namespace features::ata
