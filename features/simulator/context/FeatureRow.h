#pragma once

#include <cstdint>

#include "features/simulator/context/CommandContext.h"
#include "features/simulator/context/DefinedBits.h"

namespace features::simulator {

/// A feature of the controller. Adding one is adding a row to FeatureTable.cpp, or to the table of its model.
struct FeatureRow {
    uint8_t fid;
    bool (*isOfDrive)(const CommandContext& context);  ///< null: of all
    bool isChangeable;
    bool isSaveable;
    bool isOfNamespace;
    DefinedBits bits;                       ///< of Set Features' dwords 11 to 15; dword 10 does not count
    uint32_t selector;                      ///< bits of dword 11 that choose one of several values, in Get Features too
    bool (*isSelector)(uint32_t selector);  ///< whether there is such a value; null: always
    uint32_t dataBytes;                     ///< of the data structure; 0: none
    FeatureValue (*defaultOf)(const CommandContext& context, uint32_t selector);
    /// Checks what is to be set, and may mend it (Number of Queues grants less than it is asked for). Null: all goes.
    CompletionEntry (*check)(CommandContext& context, FeatureValue& value);
    /// For values that do not lie in FeatureState: where they come from, and go to. Null: FeatureState.
    FeatureValue (*read)(const CommandContext& context, uint32_t nsid);
    void (*write)(CommandContext& context, uint32_t nsid, const FeatureValue& value);
};

// For the tables.

/// The default of a feature that has the same in every drive.
template <uint32_t DWORD>
FeatureValue always(const CommandContext&, uint32_t) {
    return {DWORD, {}};
}
/// Set Features with bits in dword 11 alone.
constexpr DefinedBits dword11(uint32_t bits) {
    return {0, bits, 0, 0, 0, 0};
}

}  // namespace features::simulator
