#include "features/transport/linux/ScsiAddress.h"

#include <charconv>

namespace features::transport {

namespace {

/// Reads a number and what follows it; `at` is null after an error.
template <typename Number>
Number readPart(const char*& at, const char* end, bool isLast) {
    Number number = 0;
    if (at == nullptr) return number;
    const auto [next, error] = std::from_chars(at, end, number);
    const bool isGood = error == std::errc() && (isLast ? next == end : next != end && *next == ':');
    at = !isGood ? nullptr : isLast ? next : next + 1;
    return number;
}

}  // namespace

std::optional<ScsiAddress> toScsiAddress(const std::string& text) {
    const char* at = text.data();
    const char* const end = at + text.size();
    ScsiAddress address;
    address.host = readPart<uint32_t>(at, end, false);
    address.channel = readPart<uint32_t>(at, end, false);
    address.target = readPart<uint32_t>(at, end, false);
    address.lun = readPart<uint64_t>(at, end, true);
    return at == nullptr ? std::nullopt : std::optional<ScsiAddress>(address);
}

}  // namespace features::transport
