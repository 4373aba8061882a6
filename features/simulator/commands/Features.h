#pragma once

#include <cstdint>

#include "features/simulator/context/CommandContext.h"
#include "features/simulator/tables/CommandTable.h"

namespace features::simulator {

/// The Get Features and Set Features commands.
CompletionEntry getFeatures(CommandContext& context);
CompletionEntry setFeatures(CommandContext& context);

/// A feature of the controller. Adding one is adding a row to a table of FeatureTable.cpp.
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

/// The row of a model's feature; null: no drive of the model has it.
const FeatureRow* findFeatureRow(ModelId model, uint8_t fid);
/// Null: the drive does not have the feature.
const FeatureRow* findFeature(const CommandContext& context, uint8_t fid);

/// The current value. `nsid` and `selector` count for features that have a value for each.
FeatureValue currentFeature(const CommandContext& context, uint8_t fid, uint32_t nsid = 0, uint32_t selector = 0);

}  // namespace features::simulator
