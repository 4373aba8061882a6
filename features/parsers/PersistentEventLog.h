#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "features/nvme/FieldTree.h"
#include "features/nvme/structures/PersistentEventLog.h"

namespace features::parsers {

/// A persistent event log (0Dh), decoded: the header's fields, then a part for each event, the newest first as the
/// drive keeps them. It does not matter whether the bytes came from a drive or out of a file.
///
/// A damaged log is shown as far as it goes. An event that is damaged, but whose length can be believed, does not end
/// that: it says what is wrong with it, and the next is decoded. Where a length cannot be believed, or the bytes end,
/// the log stops being valid.
struct PersistentEventLog {
    static constexpr uint32_t HEADER_BYTES = sizeof(nvme::PersistentEventLogHeader);

    /// Whether the bytes begin like such a log: its identifier, and at least the 20 bytes up to the header's length.
    /// Nothing else here has a meaning when they do not.
    bool isOne = false;
    nvme::FieldTree tree;
    std::string serialNumber;
    /// How many bytes from the beginning on were decoded.
    uint64_t validBytes = 0;
    /// Why it ends there, a sentence without its stop; empty: the log is whole.
    std::string end;
    /// Sentences on events that are damaged, and do not end the log.
    std::vector<std::string> damages;

    /// All that is wrong with the log, in sentences; empty: nothing.
    std::string damageText() const;
};

PersistentEventLog parsePersistentEventLog(const uint8_t* data, size_t size);

}  // namespace features::parsers
