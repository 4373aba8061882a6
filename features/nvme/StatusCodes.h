#pragma once

#include <cstdint>
#include <string>

namespace features::nvme {

/// Status code types of a completion.
inline constexpr uint8_t SCT_GENERIC = 0;
inline constexpr uint8_t SCT_COMMAND_SPECIFIC = 1;
inline constexpr uint8_t SCT_MEDIA = 2;
inline constexpr uint8_t SCT_PATH = 3;
inline constexpr uint8_t SCT_VENDOR = 7;

/// Generic status codes that the jobs look at, or the simulated controller answers with.
inline constexpr uint8_t SC_INVALID_OPCODE = 0x01;
inline constexpr uint8_t SC_INVALID_FIELD = 0x02;
inline constexpr uint8_t SC_DATA_TRANSFER_ERROR = 0x04;
inline constexpr uint8_t SC_INTERNAL_ERROR = 0x06;
inline constexpr uint8_t SC_INVALID_NAMESPACE = 0x0B;
inline constexpr uint8_t SC_COMMAND_SEQUENCE_ERROR = 0x0C;
inline constexpr uint8_t SC_SANITIZE_FAILED = 0x1C;
inline constexpr uint8_t SC_SANITIZE_IN_PROGRESS = 0x1D;
inline constexpr uint8_t SC_NAMESPACE_WRITE_PROTECTED = 0x20;
inline constexpr uint8_t SC_LBA_OUT_OF_RANGE = 0x80;
inline constexpr uint8_t SC_FORMAT_IN_PROGRESS = 0x84;
/// Command specific status codes.
inline constexpr uint8_t SC_ABORT_LIMIT_EXCEEDED = 0x03;
inline constexpr uint8_t SC_EVENT_REQUEST_LIMIT_EXCEEDED = 0x05;
inline constexpr uint8_t SC_INVALID_FIRMWARE_SLOT = 0x06;
inline constexpr uint8_t SC_INVALID_FIRMWARE_IMAGE = 0x07;
inline constexpr uint8_t SC_INVALID_LOG_PAGE = 0x09;
inline constexpr uint8_t SC_INVALID_FORMAT = 0x0A;
inline constexpr uint8_t SC_FIRMWARE_NEEDS_CONVENTIONAL_RESET = 0x0B;
inline constexpr uint8_t SC_FEATURE_NOT_SAVEABLE = 0x0D;
inline constexpr uint8_t SC_FEATURE_NOT_CHANGEABLE = 0x0E;
inline constexpr uint8_t SC_FEATURE_NOT_NAMESPACE_SPECIFIC = 0x0F;
inline constexpr uint8_t SC_FIRMWARE_NEEDS_SUBSYSTEM_RESET = 0x10;
inline constexpr uint8_t SC_FIRMWARE_NEEDS_CONTROLLER_RESET = 0x11;
inline constexpr uint8_t SC_FIRMWARE_NEEDS_MAXIMUM_TIME = 0x12;
inline constexpr uint8_t SC_FIRMWARE_ACTIVATION_PROHIBITED = 0x13;
inline constexpr uint8_t SC_OVERLAPPING_RANGE = 0x14;
inline constexpr uint8_t SC_NAMESPACE_INSUFFICIENT_CAPACITY = 0x15;
inline constexpr uint8_t SC_NAMESPACE_IDENTIFIER_UNAVAILABLE = 0x16;
inline constexpr uint8_t SC_NAMESPACE_ALREADY_ATTACHED = 0x18;
inline constexpr uint8_t SC_NAMESPACE_NOT_ATTACHED = 0x1A;
inline constexpr uint8_t SC_THIN_PROVISIONING_NOT_SUPPORTED = 0x1B;
inline constexpr uint8_t SC_CONTROLLER_LIST_INVALID = 0x1C;
inline constexpr uint8_t SC_SELF_TEST_IN_PROGRESS = 0x1D;
/// Command specific status codes of the NVM command set.
inline constexpr uint8_t SC_CONFLICTING_ATTRIBUTES = 0x80;
inline constexpr uint8_t SC_INVALID_PROTECTION = 0x81;
/// Media and data integrity errors.
inline constexpr uint8_t SC_WRITE_FAULT = 0x80;
inline constexpr uint8_t SC_UNRECOVERED_READ = 0x81;
inline constexpr uint8_t SC_COMPARE_FAILURE = 0x85;

/// The standard's words for a status code, "Vendor Specific" or "Reserved" where it has none.
std::string statusCodeText(uint8_t statusCodeType, uint8_t statusCode);

}  // namespace features::nvme
