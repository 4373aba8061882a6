#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace features::simulator {

/// A part of a SMART attribute of a SATA drive that shows another value than the true one.
struct AttributeFault {
    enum class Part : uint8_t { VALUE, WORST, RAW };
    uint8_t id = 0;
    Part part = Part::VALUE;
    uint64_t number = 0;  ///< RAW has 48 bits
};

/// "5 raw 100, 5 value 3": attributes by their numbers, what of them, and what that shows. Empty: a part that is
/// unknown or there twice, or a number that it does not hold.
std::optional<std::vector<AttributeFault>> parseAttributeFaults(const std::string& text);
std::string attributeFaultsText(const std::vector<AttributeFault>& faults);
/// What a part of an attribute shows, where a fault sets it.
std::optional<uint64_t> attributeFaultOf(const std::vector<AttributeFault>& faults, uint8_t id,
                                         AttributeFault::Part part);

}  // namespace features::simulator
