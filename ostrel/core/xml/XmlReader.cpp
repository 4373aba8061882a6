#include "ostrel/core/xml/XmlReader.h"

#include <boost/property_tree/detail/rapidxml.hpp>

#include <stdexcept>
#include <string_view>
#include <utility>

#include "ostrel/core/ScopeTrace.h"
#include "ostrel/core/xml/XmlList.h"
#include "ostrel/core/xml/XmlMessage.h"
#include "ostrel/core/xml/XmlNesting.h"
#include "ostrel/core/xml/XmlObject.h"
#include "ostrel/core/xml/XmlProperty.h"

namespace ostrel::core::xml {

namespace {

namespace rapidxml = boost::property_tree::detail::rapidxml;
using Node = rapidxml::xml_node<char>;
using Document = rapidxml::xml_document<char>;

// boost::property_tree::read_xml() with trim_whitespace is this parser with these flags, between a copy of the text and
// a tree of nodes with an index each. fuzz/XmlMessage.cpp compares the two.
constexpr int PARSER_FLAGS =
    rapidxml::parse_normalize_whitespace | rapidxml::parse_trim_whitespace | rapidxml::parse_comment_nodes;

void checkNesting(const std::string& text) {
    OSTREL_TRACE();
    if (nestsDeeperThan(text, MAX_NESTING)) throw std::runtime_error("XML elements are nested too deep");
}

/// Builds elements of the nodes, which point into the text. A value that is most of the text, as that of a dump is,
/// is not copied: it gets the text itself, after all others were taken out of it.
class Builder {
public:
    explicit Builder(std::string& text) : text_(text) {}

    std::unique_ptr<XmlElement> buildRoot(const Node& node) {
        OSTREL_TRACE();
        const std::string_view tag = nameOf(node);
        std::unique_ptr<XmlElement> root;
        if (tag == TAG_MESSAGE) root = build<XmlMessage>(node);
        if (tag == TAG_LIST) root = build<XmlList>(node);
        if (tag == TAG_OBJECT) root = build<XmlObject>(node);
        if (tag == TAG_PROPERTY) root = build<XmlProperty>(node);
        takeLargest();
        return root;
    }

private:
    static std::string_view nameOf(const Node& node) { return {node.name(), node.name_size()}; }

    template <typename Element>
    std::unique_ptr<Element> build(const Node& node) {
        OSTREL_TRACE();
        auto element = std::make_unique<Element>();
        takeAttributes(*element, node);
        for (const Node* child = node.first_node(); child != nullptr; child = child->next_sibling())
            if (child->type() == rapidxml::node_element) buildChild(*element, *child);
        return element;
    }

    void buildChild(XmlChildren& parent, const Node& child) {
        OSTREL_TRACE();
        const std::string_view tag = nameOf(child);
        if (tag == TAG_LIST) parent.lists.push_back(build<XmlList>(child));
        if (tag == TAG_OBJECT) parent.objects.push_back(build<XmlObject>(child));
        if (tag == TAG_PROPERTY) parent.properties.push_back(build<XmlProperty>(child));
    }

    void buildChild(XmlList& parent, const Node& child) {
        OSTREL_TRACE();
        if (nameOf(child) == TAG_OBJECT) parent.objects.push_back(build<XmlObject>(child));
    }

    void buildChild(XmlProperty&, const Node&) {}  // has none

    void takeAttributes(XmlElement& element, const Node& node) {
        OSTREL_TRACE();
        auto& attributes = element.attributes;
        std::size_t count = 0;
        for (const auto* attribute = node.first_attribute(); attribute != nullptr;
             attribute = attribute->next_attribute())
            ++count;
        attributes.reserve(count);
        // Messages carry their keys in ascending order, so that each belongs at the end; of equal ones the last wins.
        for (const auto* attribute = node.first_attribute(); attribute != nullptr;
             attribute = attribute->next_attribute()) {
            const auto place = attributes.try_emplace(
                attributes.end(), std::string(attribute->name(), attribute->name_size()), std::string());
            take(element, place, {attribute->value(), attribute->value_size()});
        }
    }

    void take(XmlElement& element, const XmlElement::Attributes::iterator& place, std::string_view value) {
        OSTREL_TRACE();
        if (&element == largestElement_ && place->first == largestKey_) largestElement_ = nullptr;
        if (value.size() <= text_.size() / 2) {
            place->second.assign(value);
        } else {
            place->second.clear();
            largestElement_ = &element;
            largestKey_ = place->first;
            largest_ = value;
        }
    }

    void takeLargest() {
        OSTREL_TRACE();
        if (largestElement_ == nullptr) return;
        const size_t size = largest_.size();
        text_.erase(0, static_cast<size_t>(largest_.data() - text_.data()));
        text_.resize(size);
        largestElement_->attributes[largestKey_] = std::move(text_);
    }

    std::string& text_;
    // The element that has the value, and its key: attributes that follow move those that are there.
    XmlElement* largestElement_ = nullptr;
    std::string largestKey_;
    std::string_view largest_;
};

/// The first node that is an element or a comment: as the reader of the property tree has it, which drops others.
const Node* firstNode(const Document& document) {
    OSTREL_TRACE();
    const Node* node = document.first_node();
    while (node != nullptr && node->type() != rapidxml::node_element && node->type() != rapidxml::node_comment)
        node = node->next_sibling();
    return node;
}

}  // namespace

std::unique_ptr<XmlElement> readElement(const std::string& text) {
    OSTREL_TRACE();
    return readElement(std::string(text));
}

std::unique_ptr<XmlElement> readElement(std::string&& text) {
    OSTREL_TRACE();
    checkNesting(text);
    std::string own = std::move(text);
    Document document;
    document.parse<PARSER_FLAGS>(own.data());
    const Node* const root = firstNode(document);
    if (root == nullptr) throw std::runtime_error("XML text without any element");
    if (root->type() == rapidxml::node_comment) return nullptr;
    return Builder(own).buildRoot(*root);
}

}  // namespace ostrel::core::xml
