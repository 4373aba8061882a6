#pragma once

#include <cstddef>
#include <cstdint>

#include "features/nvme/structures/Fields.h"

namespace features::ata {

inline constexpr unsigned SMART_ATTRIBUTE_COUNT = 30;

/// One attribute of SMART READ DATA.
struct SmartAttributeData {
    uint8_t id;  ///< 0: unused
    nvme::Le16 flags;
    uint8_t value;  ///< normalized
    uint8_t worst;
    nvme::Le48 raw;
    uint8_t reserved11;
};

/// SMART READ DATA, ACS-3 clause 7.48.6.
struct SmartData {
    nvme::Le16 version;
    SmartAttributeData attributes[SMART_ATTRIBUTE_COUNT];
    uint8_t offlineStatus;
    uint8_t selfTestStatus;  ///< 7:4 code, 3:0 tenths that remain
    nvme::Le16 offlineSeconds;
    uint8_t reserved366;
    uint8_t offlineCapability;
    nvme::Le16 smartCapability;
    uint8_t errorLogCapability;
    uint8_t reserved371;
    uint8_t shortTestMinutes;
    uint8_t extendedTestMinutes;  ///< FFh: in extendedTestMinutes16
    uint8_t conveyanceTestMinutes;
    nvme::Le16 extendedTestMinutes16;
    nvme::ByteArray<134> reserved377;
    uint8_t checksum;  ///< makes the sum of all bytes 0
};
static_assert(sizeof(SmartAttributeData) == 12 && alignof(SmartAttributeData) == 1);
static_assert(sizeof(SmartData) == 512 && alignof(SmartData) == 1);
static_assert(offsetof(SmartData, offlineStatus) == 362 && offsetof(SmartData, offlineCapability) == 367);
static_assert(offsetof(SmartData, shortTestMinutes) == 372 && offsetof(SmartData, extendedTestMinutes16) == 375);

// Bits of offlineCapability.
inline constexpr unsigned OFFLINE_SELF_TEST = 4;
inline constexpr unsigned OFFLINE_CONVEYANCE = 5;

// Bits of errorLogCapability.
inline constexpr unsigned ERROR_LOGGING = 0;

// Bits of a SmartAttributeData's flags.
inline constexpr unsigned SMART_PREFAILURE = 0;

/// One threshold of SMART READ THRESHOLDS.
struct SmartThreshold {
    uint8_t id;
    uint8_t threshold;
    nvme::ByteArray<10> reserved2;
};
/// SMART READ THRESHOLDS: obsolete since ATA/ATAPI-4, and still answered.
struct SmartThresholds {
    nvme::Le16 version;
    SmartThreshold thresholds[SMART_ATTRIBUTE_COUNT];
    nvme::ByteArray<149> reserved362;
    uint8_t checksum;
};
static_assert(sizeof(SmartThreshold) == 12 && alignof(SmartThreshold) == 1);
static_assert(sizeof(SmartThresholds) == 512 && offsetof(SmartThresholds, reserved362) == 362);

}  // namespace features::ata
