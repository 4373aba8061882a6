#include "ostrel/core/xml/XmlReader.h"

#include <boost/property_tree/ptree.hpp>
#include <boost/property_tree/xml_parser.hpp>

#include <istream>
#include <stdexcept>
#include <streambuf>
#include <utility>

#include "ostrel/core/ScopeTrace.h"
#include "ostrel/core/xml/XmlList.h"
#include "ostrel/core/xml/XmlMessage.h"
#include "ostrel/core/xml/XmlNesting.h"
#include "ostrel/core/xml/XmlObject.h"
#include "ostrel/core/xml/XmlProperty.h"

namespace ostrel::core::xml {

namespace {

using boost::property_tree::ptree;

/// A text to read from, in place: a string stream would copy a message of any size once more.
class TextBuffer : public std::streambuf {
public:
    explicit TextBuffer(const std::string& text) {
        char* const begin = const_cast<char*>(text.data());  // the get area is never written
        setg(begin, begin, begin + text.size());
    }
};

ptree readTree(const std::string& text) {
    OSTREL_TRACE();
    if (nestsDeeperThan(text, MAX_NESTING)) throw std::runtime_error("XML elements are nested too deep");
    TextBuffer buffer(text);
    std::istream stream(&buffer);
    ptree tree;
    boost::property_tree::read_xml(stream, tree, boost::property_tree::xml_parser::trim_whitespace);
    if (tree.empty()) throw std::runtime_error("XML text without any element");
    return tree;
}

// The builders take their subtree apart: large values change hands instead of being copied, and what has been built is
// gone from the subtree, so that the two trees together never take much more than the first one did.

template <typename Element>
std::unique_ptr<Element> buildElement(ptree& tree);

template <typename Child>
void buildChild(std::vector<std::unique_ptr<Child>>& children, ptree& tree) {
    OSTREL_TRACE();
    children.push_back(buildElement<Child>(tree));
    tree.clear();
}

void buildChildren(XmlChildren& parent, ptree& tree) {
    OSTREL_TRACE();
    for (auto& [tag, subtree] : tree) {
        if (tag == TAG_LIST) buildChild(parent.lists, subtree);
        if (tag == TAG_OBJECT) buildChild(parent.objects, subtree);
        if (tag == TAG_PROPERTY) buildChild(parent.properties, subtree);
    }
}

void buildChildren(XmlList& parent, ptree& tree) {
    OSTREL_TRACE();
    for (auto& [tag, subtree] : tree)
        if (tag == TAG_OBJECT) buildChild(parent.objects, subtree);
}

void buildChildren(XmlProperty&, ptree&) {}  // has none

template <typename Element>
std::unique_ptr<Element> buildElement(ptree& tree) {
    OSTREL_TRACE();
    auto element = std::make_unique<Element>();
    element->loadAttributes(std::move(tree));
    buildChildren(*element, tree);
    return element;
}

}  // namespace

std::unique_ptr<XmlElement> readElement(const std::string& text) {
    OSTREL_TRACE();
    ptree document = readTree(text);
    auto& [tag, tree] = document.front();
    if (tag == TAG_MESSAGE) return buildElement<XmlMessage>(tree);
    if (tag == TAG_LIST) return buildElement<XmlList>(tree);
    if (tag == TAG_OBJECT) return buildElement<XmlObject>(tree);
    if (tag == TAG_PROPERTY) return buildElement<XmlProperty>(tree);
    return nullptr;
}

}  // namespace ostrel::core::xml
