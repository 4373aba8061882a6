#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "features/nvme/FieldTree.h"
#include "ostrel/core/Payload.h"

namespace features::ata {

/// A statistic of log 04h by page and offset (ACS-4 clause 9.5).
struct StatisticId {
    uint8_t page;
    uint16_t offset;
};
namespace statistics {
inline constexpr StatisticId POWER_ON_RESETS{0x01, 0x08};
inline constexpr StatisticId POWER_ON_HOURS{0x01, 0x10};
inline constexpr StatisticId SECTORS_WRITTEN{0x01, 0x18};
inline constexpr StatisticId WRITE_COMMANDS{0x01, 0x20};
inline constexpr StatisticId SECTORS_READ{0x01, 0x28};
inline constexpr StatisticId READ_COMMANDS{0x01, 0x30};
inline constexpr StatisticId DATE_AND_TIME{0x01, 0x38};
inline constexpr StatisticId PENDING_ERRORS{0x01, 0x40};
inline constexpr StatisticId REALLOCATED_SECTORS{0x03, 0x20};
inline constexpr StatisticId REPORTED_UNCORRECTABLE{0x04, 0x08};
inline constexpr StatisticId TEMPERATURE{0x05, 0x08};
inline constexpr StatisticId HIGHEST_TEMPERATURE{0x05, 0x20};
inline constexpr StatisticId LOWEST_TEMPERATURE{0x05, 0x28};
inline constexpr StatisticId SPECIFIED_MAX_TEMPERATURE{0x05, 0x58};
inline constexpr StatisticId SPECIFIED_MIN_TEMPERATURE{0x05, 0x68};
inline constexpr StatisticId INTERFACE_CRC_ERRORS{0x06, 0x18};
inline constexpr StatisticId PERCENTAGE_USED{0x07, 0x08};
}  // namespace statistics

inline constexpr uint8_t FIRST_STATISTICS_PAGE = 0x01;
inline constexpr uint8_t LAST_STATISTICS_PAGE = 0x07;

/// The value of a statistic in a page of log 04h; empty where the drive does not support or not report it, or where the
/// page is another. Negative for temperatures alone.
std::optional<int64_t> statistic(const ostrel::core::Payload& page, StatisticId id);
/// All statistics that a page supports, by name; those that it does not report read "not reported".
nvme::FieldTree decodeStatistics(const ostrel::core::Payload& page);

}  // namespace features::ata
