#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "features/ata/LogAddresses.h"
#include "ostrel/core/Payload.h"

namespace features::ata {

/// Whether page 00h of log 04h or 30h, which lists the others, has `page`.
inline bool isPageListed(const ostrel::core::Payload& list, uint8_t page) {
    constexpr std::size_t COUNT_OFFSET = 8;
    constexpr std::size_t LIST_OFFSET = 9;
    if (list.getSize() < LOG_PAGE_BYTES) return false;
    const uint8_t* const first = list.getData() + LIST_OFFSET;
    const std::size_t count = std::min<std::size_t>(list.getData()[COUNT_OFFSET], LOG_PAGE_BYTES - LIST_OFFSET);
    return std::find(first, first + count, page) != first + count;
}

}  // namespace features::ata
