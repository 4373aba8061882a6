#include "features/library/Answer.h"

#include <algorithm>
#include <string_view>

#include "ostrel/core/DiscardPages.h"
#include "ostrel/core/xml/XmlConstants.h"
#include "ostrel/core/xml/XmlEscape.h"
#include "ostrel/core/xml/XmlList.h"

namespace features::library {

using namespace ostrel::core;

namespace {

/// A smaller value is not worth the effort. Also what is copied before its memory is released.
constexpr std::size_t LARGE_BYTES = std::size_t{1} << 20;

constexpr std::string_view EMPTY_VALUE = " value=\"\"";

/// Where the value belongs in the text of a property whose value is empty. A '"' within an attribute is escaped.
std::size_t placeOfValue(const xml::XmlProperty& property) {
    std::string text;
    property.appendXml(text);
    return text.rfind(EMPTY_VALUE) + EMPTY_VALUE.size() - 1;
}

/// The tag with its attributes, up to the first child.
std::size_t startTagSize(const xml::XmlObject& object) {
    std::size_t size = object.xmlSize() - std::string_view("</Object>").size();
    for (const auto& child : object.properties) size -= child->xmlSize();
    for (const auto& child : object.lists) size -= child->xmlSize();
    for (const auto& child : object.objects) size -= child->xmlSize();
    return size;
}

/// Copies `value` to `out` and releases its memory on the way. Returns the end of the copy.
char* drain(std::string& value, char* out) {
    for (std::size_t at = 0; at < value.size(); at += LARGE_BYTES) {
        const std::size_t size = std::min(LARGE_BYTES, value.size() - at);
        out = std::copy_n(value.data() + at, size, out);
        discardPages(value.data() + at, size);
    }
    return out;
}

}  // namespace

Answer::Answer(xml::XmlObject& root) {
    takeLargeValues(root);
    // It grows as it is written: to count its bytes first takes as long as to write them.
    text_ = xml::XmlElement::HEADER;
    root.appendXml(text_);
    if (!values_.empty()) placeLargeValues(root, xml::XmlElement::HEADER.size());
    size_ = text_.size();
    for (const LargeValue& value : values_) size_ += value.text.size();
}

/// In the order of the text. One that has bytes to escape stays where it is.
void Answer::takeLargeValues(const xml::XmlObject& object) {
    for (const auto& property : object.properties) {
        const auto value = property->attributes.find(xml::KEY_VALUE);
        if (value == property->attributes.end() || value->second.size() < LARGE_BYTES) continue;
        if (xml::escapedSize(value->second) != value->second.size()) continue;
        values_.push_back({property.get(), std::move(value->second), 0});
        value->second.clear();
    }
    for (const auto& child : object.objects) takeLargeValues(*child);
}

/// `offset`: where the object begins in the text.
void Answer::placeLargeValues(const xml::XmlObject& object, std::size_t offset) {
    offset += startTagSize(object);
    for (const auto& property : object.properties) {
        const auto isOfProperty = [&](const LargeValue& value) { return value.property == property.get(); };
        const auto value = std::find_if(values_.begin(), values_.end(), isOfProperty);
        if (value != values_.end()) value->offset = offset + placeOfValue(*property);
        offset += property->xmlSize();
    }
    for (const auto& list : object.lists) offset += list->xmlSize();
    for (const auto& child : object.objects) {
        placeLargeValues(*child, offset);
        offset += child->xmlSize();
    }
}

void Answer::moveTo(char* buffer) {
    std::size_t at = 0;
    for (LargeValue& value : values_) {
        buffer = std::copy(text_.begin() + static_cast<std::ptrdiff_t>(at),
                           text_.begin() + static_cast<std::ptrdiff_t>(value.offset), buffer);
        buffer = drain(value.text, buffer);
        at = value.offset;
    }
    std::copy(text_.begin() + static_cast<std::ptrdiff_t>(at), text_.end(), buffer);
}

}  // namespace features::library
