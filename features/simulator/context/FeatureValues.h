#pragma once

#include <cstdint>

#include "features/simulator/context/CommandContext.h"
#include "features/simulator/context/FeatureRow.h"

namespace features::simulator {

/// The current value. `nsid` and `selector` count for features that have a value for each.
FeatureValue currentFeature(const CommandContext& context, uint8_t fid, uint32_t nsid = 0, uint32_t selector = 0);

/// Which value a command is about, in the tables of the state.
FeatureKey keyOf(const FeatureRow& row, uint32_t nsid, uint32_t cdw11);

FeatureValue currentValue(const CommandContext& context, const FeatureRow& row, const FeatureKey& key);
FeatureValue savedValue(const CommandContext& context, const FeatureRow& row, const FeatureKey& key);
FeatureValue defaultValue(const CommandContext& context, const FeatureRow& row, uint32_t selector);

}  // namespace features::simulator
