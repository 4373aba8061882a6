#pragma once

#include <cstdint>
#include <vector>

#include "features/simulator/sata/SataContext.h"

namespace features::simulator::sata {

/// How the host reaches a log: READ LOG EXT and READ LOG DMA EXT, or SMART READ LOG.
enum class LogWay : uint8_t { GENERAL, SMART };

/// Reads COUNT pages of a log from `page` on; a log or a page that is not there aborts the command.
ata::Registers readPages(SataContext& context, LogWay way, uint8_t address, uint16_t page);

}  // namespace features::simulator::sata
