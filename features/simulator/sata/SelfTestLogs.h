#pragma once

#include <cstdint>
#include <vector>

#include "features/simulator/sata/SataContext.h"

namespace features::simulator::sata {

std::vector<uint8_t> selfTests(SataContext& context);          ///< log 06h
std::vector<uint8_t> extendedSelfTests(SataContext& context);  ///< log 07h, one page

}  // namespace features::simulator::sata
