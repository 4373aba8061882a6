#pragma once

#include <algorithm>
#include <cstdint>

#include "ostrel/core/Status.h"
#include "ostrel/core/StatusCatalogue.h"

namespace features {

/// Whether the system takes less at a time than the command carried (0/75 of the command path); nothing was sent.
inline bool isTooMuchAtOnce(const ostrel::core::Status& status) {
    const ostrel::core::Status tooMuch = ostrel::core::statuses::invalidTransferSize();
    return status.is(tooMuch.getCategory(), tooMuch.getCode());
}

/// Calls `sendPiece` with the most that it may send, and again with half of that, in multiples of `unit`, as long as
/// its error isTooMuchAtOnce(). Returns what the last call returned; `most` is what that one might send, so that a
/// caller who keeps it tries no more the next time.
///
/// Units: those of the caller: bytes, blocks, pages of a log.
template <typename SendPiece>
auto sendHalvedPiece(uint32_t& most, uint32_t unit, const SendPiece& sendPiece) {
    for (;;) {
        auto sent = sendPiece(most);
        if (sent || most <= unit || !isTooMuchAtOnce(sent.error())) return sent;
        most = std::max(unit, most / 2 / unit * unit);
    }
}

}  // namespace features
