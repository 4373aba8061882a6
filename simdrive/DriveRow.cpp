#include "simdrive/DriveRow.h"

#include <algorithm>
#include <cstdio>
#include <iterator>

#include "features/simulator/store/DriveNodes.h"
#include "features/simulator/store/Model.h"
#include "simdrive/FaultText.h"

namespace simdrive {

using namespace features::simulator;

namespace {

std::string jsonText(const std::string& text) {
    std::string quoted = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\') quoted += '\\';
        if (static_cast<unsigned char>(c) < 0x20) {
            char escaped[8];
            std::snprintf(escaped, sizeof escaped, "\\u%04x", c);
            quoted += escaped;
        } else {
            quoted += c;
        }
    }
    return quoted + "\"";
}

std::string joinedKeys(const std::vector<Fault>& faults) {
    std::string text;
    for (const auto& [key, value] : faults) text += (text.empty() ? "" : ", ") + key;
    return text.empty() ? "none" : text;
}

/// Columns as wide as their longest cell; a row of another number of cells is not aligned.
std::string inColumns(const std::vector<std::vector<std::string>>& rows) {
    std::vector<size_t> widths(rows[0].size());
    for (const auto& row : rows) {
        if (row.size() != widths.size()) continue;
        for (size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], row[i].size());
    }
    std::string text;
    for (const auto& row : rows) {
        for (size_t i = 0; i < row.size(); ++i) {
            text += row[i];
            if (i + 1 < row.size()) text.append(widths[i] > row[i].size() ? widths[i] - row[i].size() + 2 : 2, ' ');
        }
        text += '\n';
    }
    return text;
}

}  // namespace

std::string modelText(ModelId model) {
    return modelOf(model).name;
}

DriveRow readRow(const DriveStore& store, const std::string& name) {
    DriveRow row{name, store.pathOf(name), store.folder() == SIMULATED_DRIVES, {}, {}};
    auto identity = DriveFolder::readIdentity(row.folder);
    row.status = identity ? statusOf(identity->firmware) : identity.error();
    if (identity) row.identity = *std::move(identity);
    return row;
}

std::string sizeText(uint64_t bytes) {
    static constexpr const char* UNITS[] = {"", " KiB", " MiB", " GiB", " TiB"};
    size_t power = 0;
    while (power + 1 < std::size(UNITS) && bytes != 0 && bytes % 1024 == 0) {
        bytes /= 1024;
        ++power;
    }
    return std::to_string(bytes) + UNITS[power];
}

std::string jsonOf(const DriveRow& row) {
    // The tool looks into one folder alone, so no path leads to a drive in another.
    const std::string path = row.isListedByTool ? ", \"path\": " + jsonText(controllerNode(row.folder)) : std::string();
    std::string text = "{\"name\": " + jsonText(row.name) + ", \"folder\": " + jsonText(row.folder) + path;
    if (failed(row.status)) return text + ", \"error\": " + jsonText(row.status.getMessage()) + "}";
    const Description& drive = row.identity.description;
    text += ", \"model\": " + jsonText(modelText(drive.model)) +
            ", \"modelNumber\": " + jsonText(drive.shownModelNumber()) +
            ", \"serialNumber\": " + jsonText(drive.serialNumber) +
            ", \"controllers\": " + std::to_string(drive.controllerCount()) +
            ", \"sizeBytes\": " + std::to_string(drive.sizeBytes) +
            ", \"firmware\": " + jsonText(*row.identity.firmware) + ", \"faults\": {";
    std::string separator;
    for (const auto& [key, value] : faultsOf(drive)) {
        text += separator + jsonText(key) + ": " + jsonText(value);
        separator = ", ";
    }
    return text + "}}";
}

std::string jsonOf(const std::vector<DriveRow>& rows) {
    std::string text;
    for (const DriveRow& row : rows) text += (text.empty() ? "[\n" : ",\n") + ("  " + jsonOf(row));
    return text.empty() ? "[]\n" : text + "\n]\n";
}

std::string tableOf(const std::vector<DriveRow>& rows) {
    std::vector<std::vector<std::string>> cells = {{"NAME", "MODEL", "SIZE", "SERIAL NUMBER", "FIRMWARE", "FAULTS"}};
    for (const DriveRow& row : rows) {
        const Description& drive = row.identity.description;
        if (succeeded(row.status)) {
            cells.push_back({row.name, modelText(drive.model), sizeText(drive.sizeBytes), drive.serialNumber,
                             *row.identity.firmware, joinedKeys(faultsOf(drive))});
        } else {
            cells.push_back({row.name, row.status.getMessage()});
        }
    }
    return inColumns(cells);
}

}  // namespace simdrive
