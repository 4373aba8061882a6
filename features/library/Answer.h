#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "ostrel/core/xml/XmlObject.h"
#include "ostrel/core/xml/XmlProperty.h"

namespace features::library {

/// The text of an answer on its way to the tool. A large value, the digits of a dump, is taken out of the tree and
/// never copied but into the tool's buffer, and its memory is released as that fills: the digits are in memory once.
///
/// Errors:  only want of memory (std::bad_alloc).
/// Threads: one at a time.
class Answer {
public:
    explicit Answer(std::string text) : text_(std::move(text)), size_(text_.size()) {}
    /// The text of root.toXmlString(). Large values of properties are taken from the tree, which has empty ones then.
    explicit Answer(ostrel::core::xml::XmlObject& root);

    std::size_t size() const { return size_; }
    /// Writes size() bytes. Only once: it uses the answer up.
    void moveTo(char* buffer);

private:
    /// A value apart from the text, and where it belongs in it.
    struct LargeValue {
        const ostrel::core::xml::XmlProperty* property;
        std::string text;
        std::size_t offset;
    };

    void takeLargeValues(const ostrel::core::xml::XmlObject& object);
    void placeLargeValues(const ostrel::core::xml::XmlObject& object, std::size_t offset);

    std::string text_;
    std::vector<LargeValue> values_;
    std::size_t size_ = 0;
};

}  // namespace features::library
