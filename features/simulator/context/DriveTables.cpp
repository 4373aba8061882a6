#include "features/simulator/context/DriveTables.h"

#include <algorithm>

namespace features::simulator {

namespace {

/// The row of the standard's table, or else that of the model's; null: neither has it.
template <class Row, class IsRow>
const Row* findIn(const Rows<Row>& standard, const Rows<Row>& model, IsRow isRow) {
    const Row* row = std::find_if(standard.begin(), standard.end(), isRow);
    if (row != standard.end()) return row;
    row = std::find_if(model.begin(), model.end(), isRow);
    return row == model.end() ? nullptr : row;
}

template <class Row>
bool isOfDrive(const Row& row, const Description& description) {
    if (row.isSupported != nullptr && !(description.*row.isSupported)) return false;
    return row.isOfModel == nullptr || row.isOfModel(description.model);
}

}  // namespace

const CommandRow* findCommand(const DriveTables& tables, const Description& description, bool isAdmin, uint8_t opcode) {
    const auto* row = std::find_if(tables.commands.begin(), tables.commands.end(), [&](const CommandRow& each) {
        return each.isAdmin == isAdmin && each.opcode == opcode && isOfDrive(each, description);
    });
    return row != tables.commands.end() ? row : nullptr;
}

const LogRow* findLog(const CommandContext& context, uint8_t lid) {
    const LogRow* row =
        findIn(context.tables.logs, context.tables.modelLogs, [lid](const LogRow& each) { return each.lid == lid; });
    return row != nullptr && isOfDrive(*row, context.description) ? row : nullptr;
}

const FeatureRow* findFeatureRow(const DriveTables& tables, uint8_t fid) {
    return findIn(tables.features, tables.modelFeatures, [fid](const FeatureRow& each) { return each.fid == fid; });
}

const FeatureRow* findFeature(const CommandContext& context, uint8_t fid) {
    const FeatureRow* row = findFeatureRow(context.tables, fid);
    return row != nullptr && (row->isOfDrive == nullptr || row->isOfDrive(context)) ? row : nullptr;
}

}  // namespace features::simulator
