#pragma once

#include <cstdint>

namespace features::ata {

// Addresses of logs (ACS-4 table A.2).
inline constexpr uint8_t LOG_DIRECTORY = 0x00;
inline constexpr uint8_t LOG_SUMMARY_ERRORS = 0x01;        // SMART READ LOG alone
inline constexpr uint8_t LOG_COMPREHENSIVE_ERRORS = 0x02;  // SMART READ LOG alone
inline constexpr uint8_t LOG_EXTENDED_ERRORS = 0x03;       // READ LOG EXT alone
inline constexpr uint8_t LOG_DEVICE_STATISTICS = 0x04;
inline constexpr uint8_t LOG_SELF_TESTS = 0x06;           // SMART READ LOG alone
inline constexpr uint8_t LOG_EXTENDED_SELF_TESTS = 0x07;  // READ LOG EXT alone
inline constexpr uint8_t LOG_SELECTIVE_SELF_TEST = 0x09;  // SMART READ LOG alone
inline constexpr uint8_t LOG_PENDING_DEFECTS = 0x0C;
inline constexpr uint8_t LOG_QUEUED_ERROR = 0x10;
inline constexpr uint8_t LOG_PHY_EVENTS = 0x11;
inline constexpr uint8_t LOG_CURRENT_INTERNAL_STATUS = 0x24;
inline constexpr uint8_t LOG_SAVED_INTERNAL_STATUS = 0x25;
inline constexpr uint8_t LOG_SECTOR_CONFIGURATION = 0x2F;
inline constexpr uint8_t LOG_IDENTIFY_DATA = 0x30;
inline constexpr uint8_t LOG_SCT_STATUS = 0xE0;

/// A page of a log, and the unit of all their lengths.
inline constexpr uint32_t LOG_PAGE_BYTES = 512;

// Pages of log 30h.
inline constexpr uint8_t IDENTIFY_PAGE_LIST = 0x00;
inline constexpr uint8_t IDENTIFY_PAGE_COPY = 0x01;
inline constexpr uint8_t IDENTIFY_PAGE_CAPACITY = 0x02;
inline constexpr uint8_t IDENTIFY_PAGE_CAPABILITIES = 0x03;
inline constexpr uint8_t IDENTIFY_PAGE_SETTINGS = 0x04;
inline constexpr uint8_t IDENTIFY_PAGE_STRINGS = 0x05;
inline constexpr uint8_t IDENTIFY_PAGE_SECURITY = 0x06;
inline constexpr uint8_t IDENTIFY_PAGE_SATA = 0x08;

}  // namespace features::ata
