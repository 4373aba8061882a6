#pragma once

#include <cstdint>
#include <vector>

#include "features/simulator/context/CommandContext.h"

namespace features::simulator {

/// What a Get Log Page command asks for. Offset and length in bytes.
struct LogRequest {
    uint8_t lsp = 0;
    uint16_t lsi = 0;
    bool retainEvent = false;
    uint64_t offset = 0;
    uint64_t length = 0;
};

/// A log page of the controller. Adding one is adding a row to LogTable.cpp, or to the table of its model; log page 00h
/// follows.
struct LogRow {
    uint8_t lid;
    bool Description::* isSupported;   ///< null: always
    bool (*isOfModel)(ModelId model);  ///< null: of all
    uint8_t definedLsp;                ///< bits of the Log Specific Field that the page defines
    /// Fills the whole page; what was asked of it is cut out. What it changes in the state is saved.
    CompletionEntry (*build)(CommandContext& context, const LogRequest& request, std::vector<uint8_t>& page);
    bool isOfGroup = false;  ///< the Log Specific Identifier names the drive's one endurance group; of others it is 0
    /// The length of a page of which build() fills the beginning alone, since all of it would be too much for each
    /// command; in the rest each eight bytes are their own offset, little endian. Null: build() fills all.
    uint64_t (*length)(const std::vector<uint8_t>& page) = nullptr;
};

}  // namespace features::simulator
