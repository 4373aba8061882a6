#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "features/ata/structures/SmartData.h"
#include "features/nvme/FieldTree.h"
#include "ostrel/core/Payload.h"

namespace features::ata {

/// How an attribute compares with its threshold.
enum class AttributeState : uint8_t { GOOD, FAILED_IN_THE_PAST, FAILING_NOW };

/// One SMART attribute of a drive, with its threshold.
struct SmartAttribute {
    SmartAttributeData data;
    std::optional<uint8_t> threshold;  ///< empty: the drive has none for it

    /// A common meaning of the identifier; "Vendor specific 233" where makers do not agree on one.
    std::string name() const;
    bool isPrefailure() const;
    /// Only a pre-failure attribute with a threshold above 0 can fail.
    AttributeState state() const;
    /// The raw value in words: temperatures as such, counters of 48 bits as numbers.
    std::string rawText() const;
};

/// The attributes of SMART READ DATA (512 bytes) with the thresholds of SMART READ THRESHOLDS, which may be empty.
std::vector<SmartAttribute> smartAttributesOf(const ostrel::core::Payload& data,
                                              const ostrel::core::Payload& thresholds);
/// The attribute of that identifier; null when the drive does not have it.
const SmartAttribute* findAttribute(const std::vector<SmartAttribute>& attributes, uint8_t id);
/// Degrees Celsius in the low byte of attribute 190 or 194; empty for what is no temperature.
std::optional<int> attributeTemperature(const SmartAttribute& attribute);

/// The words of a self-test's code in bits 7:4 of its status.
std::string selfTestResultText(uint8_t status);
/// The words of the test that LBA 7:0 of the command selects.
std::string selfTestName(uint8_t test);

/// What follows the attributes in SMART READ DATA: off-line collection, self-test, capabilities, polling times.
nvme::FieldTree decodeSmartData(const ostrel::core::Payload& data);

}  // namespace features::ata
