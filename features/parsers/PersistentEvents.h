#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "features/nvme/FieldTree.h"

namespace features::parsers {

/// "Firmware Commit", "Reserved (0x20)".
std::string eventName(uint8_t type);

/// The types whose bits are set in the 32 bytes of the Supported Events Bitmap, by name and with commas; "none".
std::string supportedEventsText(const uint8_t* bitmap);

/// Adds the data of one event to `tree`, field by field (NVMe Base Specification 1.4, section 5.14.1.13.1). Of a type
/// that is not known, the bytes. Returns what is wrong with the data, or the empty string: data that is too short, or
/// holds a length that does not fit it, is shown as far as it goes.
std::string addEventData(nvme::FieldTree& tree, uint8_t type, const uint8_t* data, size_t size);

}  // namespace features::parsers
