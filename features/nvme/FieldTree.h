#pragma once

#include <memory>
#include <string>
#include <vector>

#include "ostrel/core/xml/XmlObject.h"

namespace features::nvme {

/// One decoded field, ready to be shown: the standard's short name ("MDTS"), what it means (may be empty), and the
/// value as text, with its unit after it where it has one ("38 C").
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
    /// A list as a part of its own, with a field "Entry 0", "Entry 1"... for each element. An empty one is there too: a
    /// program that walks it need not know how many elements a drive has.
    void addList(std::string partHeading, const std::vector<std::string>& texts);
    template <typename Number>
    void addList(std::string partHeading, const std::vector<Number>& numbers) {
        std::vector<std::string> texts;
        texts.reserve(numbers.size());
        for (const Number number : numbers) texts.push_back(std::to_string(number));
        addList(std::move(partHeading), texts);
    }

    /// An object with the heading as "name", `key` as "key" when it is not empty, and the rest below it.
    std::unique_ptr<ostrel::core::xml::XmlObject> toXml(const std::string& key) const;
};

/// `value` times 10 to the power of -`digits`, exactly: decimalFraction(825, 2) is "8.25".
std::string decimalFraction(uint64_t value, unsigned digits);
/// "38 C": a number with its unit. A word in a number's place ("not reported") has none.
std::string withUnit(const std::string& value, const std::string& unit);
/// "0x1F", at least `digits` digits, upper case.
std::string hexText(uint64_t value, unsigned digits = 1);

}  // namespace features::nvme
