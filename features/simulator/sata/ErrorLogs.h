#pragma once

#include <cstdint>
#include <vector>

#include "features/simulator/sata/SataContext.h"

namespace features::simulator::sata {

/// Remembers a command that ended with an error.
void noteError(SataContext& context, const ata::Registers& registers);

std::vector<uint8_t> summaryErrors(SataContext& context);   ///< log 01h
std::vector<uint8_t> extendedErrors(SataContext& context);  ///< log 03h, one page
std::vector<uint8_t> pendingDefects(SataContext& context);  ///< log 0Ch

}  // namespace features::simulator::sata
