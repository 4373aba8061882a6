#pragma once

#include <string>
#include <vector>

namespace features::jobs {

/// What a record of an erase says, in the order in which it is shown: sections of facts. Both forms are made of it, so
/// that they say the same.
class ErasureRecord {
public:
    struct Fact {
        std::string key;    ///< of the JSON
        std::string label;  ///< of the text
        std::string value;  ///< empty: null in the JSON, "-" in the text
        bool isNumber = false;
    };
    /// One line of a list in the text, one object in the JSON.
    struct Item {
        std::string label;
        std::string value;
        std::vector<Fact> facts;
    };
    struct Section {
        std::string key;
        std::string label;
        std::vector<Fact> facts;
        std::string listKey{};  ///< after the facts; none
        std::vector<Item> list{};
    };

    void add(Section section) { sections_.push_back(std::move(section)); }

    /// An object of objects, one for each section. Its schema: docs/erasure-record.schema.json.
    std::string json() const;
    /// For people: a heading and lines for each section.
    std::string text() const;

private:
    std::vector<Section> sections_;
};

}  // namespace features::jobs
