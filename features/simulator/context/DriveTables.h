#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "features/simulator/context/CommandRow.h"
#include "features/simulator/context/FeatureRow.h"
#include "features/simulator/context/LogRow.h"

namespace features::simulator {

/// The rows of a table, wherever it lies.
template <class Row>
class Rows {
public:
    constexpr Rows() = default;
    template <size_t COUNT>
    constexpr Rows(const Row (&rows)[COUNT]) : begin_(rows), end_(rows + COUNT) {}

    const Row* begin() const { return begin_; }
    const Row* end() const { return end_; }
    size_t size() const { return static_cast<size_t>(end_ - begin_); }

private:
    const Row* begin_ = nullptr;
    const Row* end_ = nullptr;
};

/// What data areas 1 and 2 of a telemetry capture hold.
using TelemetryAreas = std::array<std::vector<uint8_t>, 2>;

/// The commands, log pages and features of a model: those that drives of all models have, and those of its own. Their
/// handlers look things up in these tables, which the context holds, and so need not know the handlers of others.
struct DriveTables {
    Rows<CommandRow> commands;
    Rows<LogRow> logs;
    Rows<LogRow> modelLogs;
    Rows<FeatureRow> features;
    Rows<FeatureRow> modelFeatures;
    /// Null: data areas 1 and 2 of telemetry are the plain ones, see Telemetry.h.
    TelemetryAreas (*telemetryAreas)(CommandContext& context) = nullptr;
};

/// Null: the opcode is invalid on this drive.
const CommandRow* findCommand(const DriveTables& tables, const Description& description, bool isAdmin, uint8_t opcode);
/// Null: the drive does not support the page.
const LogRow* findLog(const CommandContext& context, uint8_t lid);
/// The row of a model's feature; null: no drive of the model has it.
const FeatureRow* findFeatureRow(const DriveTables& tables, uint8_t fid);
/// Null: the drive does not support the feature.
const FeatureRow* findFeature(const CommandContext& context, uint8_t fid);

}  // namespace features::simulator
