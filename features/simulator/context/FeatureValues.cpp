#include "features/simulator/context/FeatureValues.h"

#include "features/simulator/context/DriveTables.h"

namespace features::simulator {

namespace {

FeatureValue valueIn(const CommandContext& context, const FeatureRow& row,
                     const std::map<FeatureKey, FeatureValue>& values, const FeatureKey& key) {
    const auto found = values.find(key);
    return found == values.end() ? defaultValue(context, row, key.selector) : found->second;
}

}  // namespace

FeatureKey keyOf(const FeatureRow& row, uint32_t nsid, uint32_t cdw11) {
    return {row.fid, row.isOfNamespace ? nsid : 0, cdw11 & row.selector};
}

FeatureValue defaultValue(const CommandContext& context, const FeatureRow& row, uint32_t selector) {
    FeatureValue value = row.defaultOf == nullptr ? FeatureValue{} : row.defaultOf(context, selector);
    value.dword |= selector;
    value.data.resize(row.dataBytes);
    return value;
}

FeatureValue currentValue(const CommandContext& context, const FeatureRow& row, const FeatureKey& key) {
    if (row.read != nullptr) return row.read(context, key.nsid);
    return valueIn(context, row, context.state.features.current, key);
}

FeatureValue savedValue(const CommandContext& context, const FeatureRow& row, const FeatureKey& key) {
    return valueIn(context, row, context.state.features.saved, key);
}

FeatureValue currentFeature(const CommandContext& context, uint8_t fid, uint32_t nsid, uint32_t selector) {
    const FeatureRow* row = findFeature(context, fid);
    return row == nullptr ? FeatureValue{} : currentValue(context, *row, keyOf(*row, nsid, selector));
}

}  // namespace features::simulator
