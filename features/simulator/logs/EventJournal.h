#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "features/nvme/structures/PersistentEventLog.h"
#include "features/simulator/context/CommandContext.h"

namespace features::simulator {

/// The events that a drive remembers, in the bytes of its persistent event log: each a header of 24 bytes with the
/// length of the rest in its last two.
///
/// The newest lie in the state. When they have grown to some KiB they go into a file of their own,
/// log-persistent-events-0 or -1, after those that are there; the state says how many of its bytes count. A file that
/// is full is rewritten without its oldest events, under the other of two names. So a process that dies leaves the
/// events that the state has, and no other.
class EventJournal {
public:
    static constexpr size_t HEADER_BYTES = sizeof(nvme::PersistentEventHeader);
    /// What the events may take altogether: the largest log, without its header.
    static constexpr size_t MAX_BYTES = PERSISTENT_EVENT_LOG_64KIB * 65536 - 512;

    explicit EventJournal(CommandContext& context) : context_(context) {}

    /// An event that cannot be stored any more takes the place of the oldest.
    void append(const std::vector<uint8_t>& event);
    /// The events, oldest first; no value: the file is missing or damaged.
    std::optional<std::vector<uint8_t>> read() const;

    /// Where the events begin that lie in the last `maxBytes` bytes. Empty also when the bytes are no events.
    static std::vector<size_t> offsets(const std::vector<uint8_t>& events, size_t maxBytes = MAX_BYTES);

private:
    CommandContext& context_;
};

}  // namespace features::simulator
