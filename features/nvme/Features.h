#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "features/nvme/ControllerCapabilities.h"
#include "features/nvme/FieldTable.h"
#include "features/nvme/FieldTree.h"
#include "ostrel/core/Payload.h"

namespace features::nvme {

/// A feature of the standard, or of the OCP specification: what it is called, what Get Features brings, and how that is
/// read.
struct FeatureRow {
    uint8_t fid;
    const char* name;
    uint32_t dataLength;  ///< bytes of the data structure, in its longest form; 0: dword 0 is all
    bool namespaceSpecific;
    FieldRows dword0;  ///< fields of dword 0 of the completion; the standard's are those of Set Features' dword 11
    /// Adds the data structure; null when there is none.
    void (*decodeData)(FieldTree& tree, uint32_t dword0, const ostrel::core::Payload& data, uint16_t nvmeVersion);
    /// Which controllers have it; null: all have it, or Identify Controller does not say.
    bool (ControllerCapabilities::*isSupported)() const = nullptr;
    bool persistent = false;  ///< keeps its value over resets without being saved, or is an action without a value
};

/// Adds a data structure that is one table of fields.
template <const auto& ROWS>
void addTable(FieldTree& tree, uint32_t, const ostrel::core::Payload& data, uint16_t nvmeVersion) {
    addFields(tree, ROWS, data.getData(), data.getSize(), nvmeVersion);
}

/// The row of a feature identifier; null when there is none. The OCP identifiers C0h to CAh have tables of their own,
/// since a drive without OCP's logs means something else by them.
const FeatureRow* findFeature(uint8_t fid);
const FeatureRow* findOcpFeature(uint8_t fid);
/// All rows, in the order of their identifiers.
const FeatureRow* featuresBegin();
const FeatureRow* featuresEnd();
const FeatureRow* ocpFeaturesBegin();
const FeatureRow* ocpFeaturesEnd();

/// The type of an error injection by its name, with or without "device panic" in front; empty: there is none. Only
/// letters and digits count.
std::optional<uint16_t> findErrorInjectionType(const std::string& name);
/// Whether an identifier is OCP's on a drive whose log page C0h has this version: since the version that defined it.
/// What a later one made obsolete stays OCP's.
bool isOcpFeature(uint8_t fid, uint16_t ocpSmartVersion);
/// The NSID of a command for an OCP feature on such a drive.
uint32_t ocpFeatureNsid(uint8_t fid, uint16_t ocpSmartVersion);

/// What Get Features brought for the current, the default or the saved value. `data` may be cut short. Fields of later
/// versions than that of the controller (NvmeVersions.h) are left out.
FieldTree decodeFeature(const FeatureRow& feature, uint32_t dword0, const ostrel::core::Payload& data,
                        uint16_t nvmeVersion = UINT16_MAX);
/// Whether some of its fields came with a later version than others: what shows it asks for the controller's.
bool hasFieldsOfVersions(const FeatureRow& feature);
/// What it brought for the capabilities.
FieldTree decodeFeatureCapabilities(const FeatureRow& feature, uint32_t dword0);

/// A field of dword 0 by its name in the attribute vocabulary.
struct FeatureField {
    const FeatureRow* feature;  ///< null: no feature of the table has such a field
    const FieldRow* row;
};
FeatureField findFeatureField(const std::string& key);
/// The same in another table.
FeatureField findFeatureField(const FeatureRow* begin, const FeatureRow* end, const std::string& key);
/// The field of dword 11 that a Set Features of an OCP feature fills, which is not where Get Features shows it; null
/// when the feature has none.
const FieldRow* findOcpSetField(uint8_t fid);
/// Whether `value` fits the bits of the field.
bool fitsField(const FieldRow& row, uint64_t value);
/// `dword` with another value in the bits of the field; the rest stays as it is.
uint32_t withField(const FieldRow& row, uint32_t dword, uint32_t value);

}  // namespace features::nvme
