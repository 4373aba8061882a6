#pragma once

#include <memory>
#include <string>
#include <vector>

#include "ostrel/core/xml/XmlObject.h"

namespace features::nvme {

/// One decoded field, ready to be shown: the standard's short name ("MDTS"), what it means (may be empty), and the
/// value as text with its unit beside it where the name does not say it.
struct Field {
    std::string name;
    std::string description;
    std::string value;
};

/// A decoded structure: fields in the order of the standard, then parts with a heading of their own.
struct FieldTree {
    std::string heading;
    std::vector<Field> fields;
    std::vector<FieldTree> parts;

    void add(std::string name, std::string value) { fields.push_back({std::move(name), {}, std::move(value)}); }
    void add(std::string name, std::string description, std::string value) {
        fields.push_back({std::move(name), std::move(description), std::move(value)});
    }
    FieldTree& addPart(std::string partHeading);

    /// An object with the heading as "name", `key` as "key" when it is not empty, and the rest below it.
    std::unique_ptr<ostrel::core::xml::XmlObject> toXml(const std::string& key) const;
};

/// `value` times 10 to the power of -`digits`, exactly: decimalFraction(825, 2) is "8.25".
std::string decimalFraction(uint64_t value, unsigned digits);
/// "1 2 5", or "none".
template <typename Number>
std::string listText(const std::vector<Number>& numbers) {
    std::string text;
    for (const Number number : numbers) text.append(text.empty() ? "" : " ").append(std::to_string(number));
    return text.empty() ? "none" : text;
}
/// "0x1F", at least `digits` digits, upper case.
std::string hexText(uint64_t value, unsigned digits = 1);

}  // namespace features::nvme
