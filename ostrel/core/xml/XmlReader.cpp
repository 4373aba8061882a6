#include "ostrel/core/xml/XmlReader.h"

#include <boost/property_tree/xml_parser.hpp>

#include <istream>
#include <iterator>
#include <stdexcept>
#include <streambuf>
#include <utility>
#include <vector>

#include "ostrel/core/ScopeTrace.h"
#include "ostrel/core/xml/XmlList.h"
#include "ostrel/core/xml/XmlMessage.h"
#include "ostrel/core/xml/XmlNesting.h"
#include "ostrel/core/xml/XmlObject.h"
#include "ostrel/core/xml/XmlProperty.h"

namespace ostrel::core::xml {

namespace {

/// What Boost's XML reader fills here: those operations of a property tree that the reader calls, on plain vectors. A
/// property tree keeps an index by name at every node and attribute, which is unused here: it takes three times
/// the memory, and more time to build and to take down than all the rest.
class ReaderTree {
public:
    using key_type = std::string;
    using Children = std::vector<std::pair<std::string, ReaderTree>>;

    ReaderTree() = default;
    explicit ReaderTree(std::string data) : data_(std::move(data)) {}

    Children::iterator push_back(Children::value_type child) {
        OSTREL_TRACE();
        children_.push_back(std::move(child));
        return std::prev(children_.end());
    }
    void swap(ReaderTree& other) { std::swap(*this, other); }
    std::string& data() { return data_; }

    Children& children() { return children_; }

private:
    std::string data_;
    Children children_;
};

/// A text to read from, in place: a string stream would copy a message of any size once more.
class TextBuffer : public std::streambuf {
public:
    explicit TextBuffer(const std::string& text) {
        OSTREL_TRACE();
        char* const begin = const_cast<char*>(text.data());  // the get area is never written
        setg(begin, begin, begin + text.size());
    }
};

/// A text that is freed once it has been read to its end: Boost's reader takes all of it before it parses.
class OwnTextBuffer : public TextBuffer {
public:
    explicit OwnTextBuffer(std::string& text) : TextBuffer(text), text_(text) {}

protected:
    int_type underflow() override {
        OSTREL_TRACE();
        setg(nullptr, nullptr, nullptr);
        std::string().swap(text_);
        return traits_type::eof();
    }

private:
    std::string& text_;
};

void checkNesting(const std::string& text) {
    OSTREL_TRACE();
    if (nestsDeeperThan(text, MAX_NESTING)) throw std::runtime_error("XML elements are nested too deep");
}

ReaderTree readTree(TextBuffer& buffer) {
    OSTREL_TRACE();
    std::istream stream(&buffer);
    ReaderTree tree;
    boost::property_tree::read_xml(stream, tree, boost::property_tree::xml_parser::trim_whitespace);
    if (tree.children().empty()) throw std::runtime_error("XML text without any element");
    return tree;
}

// The builders take the reader's tree apart: values change hands instead of being copied, and what has been built is
// gone from that tree, so that the two together never take much more than the first one did.

template <typename Element>
std::unique_ptr<Element> buildElement(ReaderTree& tree);

template <typename Child>
void buildChild(std::vector<std::unique_ptr<Child>>& children, ReaderTree& tree) {
    OSTREL_TRACE();
    children.push_back(buildElement<Child>(tree));
    tree = ReaderTree();
}

void buildChildren(XmlChildren& parent, ReaderTree& tree) {
    OSTREL_TRACE();
    for (auto& [tag, subtree] : tree.children()) {
        if (tag == TAG_LIST) buildChild(parent.lists, subtree);
        if (tag == TAG_OBJECT) buildChild(parent.objects, subtree);
        if (tag == TAG_PROPERTY) buildChild(parent.properties, subtree);
    }
}

void buildChildren(XmlList& parent, ReaderTree& tree) {
    OSTREL_TRACE();
    for (auto& [tag, subtree] : tree.children())
        if (tag == TAG_OBJECT) buildChild(parent.objects, subtree);
}

void buildChildren(XmlProperty&, ReaderTree&) {}  // has none

void takeAttributes(XmlElement& element, ReaderTree& tree) {
    OSTREL_TRACE();
    if (tree.children().empty()) return;
    auto& [tag, group] = tree.children().front();  // where the reader puts them, under a name that no tag can have
    if (tag != boost::property_tree::xml_parser::xmlattr<std::string>()) return;
    // Messages carry their keys in ascending order, so that each belongs at the end; of equal ones the last wins.
    for (auto& [key, entry] : group.children())
        element.attributes.insert_or_assign(element.attributes.end(), std::move(key), std::move(entry.data()));
}

template <typename Element>
std::unique_ptr<Element> buildElement(ReaderTree& tree) {
    OSTREL_TRACE();
    auto element = std::make_unique<Element>();
    takeAttributes(*element, tree);
    buildChildren(*element, tree);
    return element;
}

std::unique_ptr<XmlElement> buildRoot(ReaderTree document) {
    OSTREL_TRACE();
    auto& [tag, tree] = document.children().front();
    if (tag == TAG_MESSAGE) return buildElement<XmlMessage>(tree);
    if (tag == TAG_LIST) return buildElement<XmlList>(tree);
    if (tag == TAG_OBJECT) return buildElement<XmlObject>(tree);
    if (tag == TAG_PROPERTY) return buildElement<XmlProperty>(tree);
    return nullptr;
}

}  // namespace

std::unique_ptr<XmlElement> readElement(const std::string& text) {
    OSTREL_TRACE();
    checkNesting(text);
    TextBuffer buffer(text);
    return buildRoot(readTree(buffer));
}

std::unique_ptr<XmlElement> readElement(std::string&& text) {
    OSTREL_TRACE();
    checkNesting(text);
    OwnTextBuffer buffer(text);
    return buildRoot(readTree(buffer));
}

}  // namespace ostrel::core::xml
