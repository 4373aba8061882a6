#pragma once

#include <cstdint>

namespace features::simulator {

/// The bits of dwords 10 to 15 that a command defines. A bit outside of them is refused: a wrong request fails here and
/// not in the field.
struct DefinedBits {
    uint32_t cdw10 = 0;
    uint32_t cdw11 = 0;
    uint32_t cdw12 = 0;
    uint32_t cdw13 = 0;
    uint32_t cdw14 = 0;
    uint32_t cdw15 = 0;
};

}  // namespace features::simulator
