// Prints what every answer may hold, a key a line: object, key, kind, unit, words, meaning, and when it is absent, with
// tabs between them. tests/conformance/output_contract.py makes docs/output.md and its JSON Schema out of it.
//
//     output_keys > keys.tsv

#include <cstdio>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "features/ata/Structures.h"
#include "features/jobs/health/FieldAttributes.h"
#include "features/jobs/health/HealthMetricsJob.h"
#include "features/jobs/inventory/VelkoSsdJob.h"
#include "features/nvme/LogPages.h"
#include "features/nvme/SmartAttributes.h"
#include "features/nvme/Structures.h"
#include "features/parsers/Structures.h"
#include "ostrel/core/Attribute.h"
#include "ostrel/core/Payload.h"
#include "tests/support/outputkeys/OutputTable.h"

using features::nvme::FieldRow;
using features::nvme::Format;
using features::nvme::Structure;
using features::nvme::Word;
using ostrel::core::Attribute;
using ostrel::core::AttributeList;
using outputkeys::OutputKey;

namespace {

void print(const OutputKey& key) {
    std::printf("%s\t%s\t%s\t%s\t%s\t%s\t%s\n", key.object.c_str(), key.key.c_str(), key.kind.c_str(), key.unit.c_str(),
                key.words.c_str(), key.meaning.c_str(), key.absent.c_str());
}

const char* kindOf(const FieldRow& row) {
    switch (row.format) {
        case Format::DECIMAL:
        case Format::DECIMAL_0BASED:
        case Format::POWER_OF_2:
        case Format::COUNTER:
        case Format::CELSIUS:
            return "number";
        case Format::HEX:
            return "hexadecimal";
        case Format::FLAG:
            return "flag";
        case Format::WORD:
            return "word";
        default:
            return "text";
    }
}

/// What may replace a number.
std::string wordsOf(const FieldRow& row) {
    std::string words;
    const auto add = [&](const std::string& word) { words.append(words.empty() ? "" : "|").append(word); };
    for (const Word* word = row.words; word != nullptr && word->text != nullptr; ++word) add(word->text);
    if (row.format == Format::CELSIUS || row.validityBit >= 0) add(features::nvme::NOT_REPORTED);
    return words;
}

/// A field of a decoded structure.
OutputKey keyOf(const std::string& object, const FieldRow& row, const std::string& name) {
    const std::string description = fieldDescription(row);
    return {object, name, kindOf(row), fieldUnit(row), wordsOf(row), description.empty() ? name : description, ""};
}

void printStructures(const std::vector<Structure>& structures) {
    for (const Structure& structure : structures) {
        for (const FieldRow& row : structure.rows) {
            const std::string description = fieldDescription(row);
            print(keyOf(structure.object, row, fieldName(row) + (description.empty() ? "" : " - " + description)));
        }
    }
}

/// What -getfeature adds to the fields of each feature.
void printOfFeatures(const std::vector<Structure>& structures) {
    std::set<std::string> features = {"Feature 0x*"};
    for (const Structure& structure : structures) {
        if (structure.object.find(" > ") == std::string::npos) features.insert(structure.object);
    }
    for (const std::string& feature : features) {
        for (OutputKey key : outputkeys::table()) {
            if (key.object.rfind(outputkeys::FEATURE, 0) != 0) continue;
            key.object = feature + key.object.substr(std::string(outputkeys::FEATURE).size());
            print(key);
        }
    }
}

/// They are shown as a page that has no name.
void printLogsWithoutDecoder() {
    for (OutputKey key : outputkeys::table()) {
        if (key.object != "Log Page 0x*") continue;
        for (const auto* row = features::nvme::logPagesBegin(); row != features::nvme::logPagesEnd(); ++row) {
            key.object = row->name;
            if (!row->decode.exists()) print(key);
        }
    }
}

/// Fields of the first `bytes` of a structure that are among attributes, under names without blanks.
void printAmongAttributes(const std::string& object, const std::vector<Structure>& structures,
                          const std::string& structureName, bool byWords, size_t bytes = 4096) {
    for (const Structure& structure : structures) {
        if (structure.object != structureName) continue;
        for (const FieldRow& row : structure.rows) {
            if (row.offset >= bytes) continue;
            const features::nvme::Field field{fieldName(row), fieldDescription(row), ""};
            OutputKey key = keyOf(object, row, byWords ? features::jobs::nameOutOfWords(field) : field.name);
            key.absent = "the drive does not support log page " + structureName;
            print(key);
        }
    }
}

const char* kindOf(const Attribute& attribute) {
    const std::string text = attribute.getText();
    if (attribute.getType() == ostrel::core::typeBoolean()) return "flag";
    if (text.rfind("0x", 0) == 0) return "hexadecimal";
    if (attribute.getType() != ostrel::core::typeString() || !attribute.getDescription().empty()) return "number";
    // A counter of 128 bits goes out as a string of digits.
    return text.empty() || text.find_first_not_of("0123456789") != std::string::npos ? "text" : "number";
}

void printAttributes(const std::string& object, const AttributeList& attributes, const std::string& absent,
                     const std::string& words = "") {
    for (const auto& [name, attribute] : std::map(attributes.begin(), attributes.end())) {  // in the order of an answer
        const bool isTemperature = attribute.getDescription() == "C";
        print({object, name, kindOf(attribute), attribute.getDescription(), isTemperature ? "not reported" : words,
               attribute.getDisplayName(), absent});
    }
}

}  // namespace

int main() {
    using namespace features;
    for (const OutputKey& key : outputkeys::table()) {
        if (key.object.rfind(outputkeys::FEATURE, 0) != 0) print(key);
    }
    printLogsWithoutDecoder();
    printOfFeatures(nvme::featureStructures());
    printOfFeatures(nvme::velkoFeatureStructures());
    printAttributes("Velko SSD", jobs::VelkoSsdJob().getSupportedProperties(), "the drive does not report it",
                    "Property not found");
    const ostrel::core::Payload log(std::string(512, '\x01').data(),
                                    512);  // temperatures and counters that are numbers
    printAttributes("SMART Attributes", nvme::smartAttributes(log), "IncludeNVMeSmartHealthLog=false");
    printAttributes("Health Sensors", nvme::healthMetrics(log), "");
    printAttributes("Health Sensors", nvme::ocpHealthMetrics(log), "the drive does not support OCP's log page C0h");
    printAttributes("Performance Metrics", nvme::performanceMetrics(log), "");
    printAmongAttributes("SMART Attributes", nvme::ocpLogStructures(), "OCP SMART / Health Information Extended", true);
    printAmongAttributes("SMART Attributes", nvme::velkoLogStructures(), "VELKO Extended SMART", false);
    printAmongAttributes("Health Sensors", nvme::velkoLogStructures(), "VELKO Extended SMART", false,
                         jobs::VELKO_HEALTH_BYTES);
    for (const auto& structures :
         {nvme::identifyStructures(), nvme::commandSetStructures(), nvme::healthLogStructures(),
          nvme::historyLogStructures(), nvme::listLogStructures(), nvme::supportLogStructures(),
          nvme::mediaLogStructures(), nvme::featureStructures(), nvme::velkoFeatureStructures(),
          nvme::velkoLogStructures(), nvme::ocpLogStructures(), parsers::eventHeaderStructures(),
          parsers::eventStructures(), ata::identifyDeviceStructures(), ata::identifyLogStructures(),
          ata::smartDataStructures()})
        printStructures(structures);
    return 0;
}
