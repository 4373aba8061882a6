#pragma once

#include <boost/container/flat_map.hpp>
#include <boost/property_tree/ptree_fwd.hpp>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace ostrel::core::xml {

/// A node of the tree of every message between tool and feature library: XmlMessage, XmlObject, XmlList or
/// XmlProperty. There are no other tags, no element has text content, and everything that carries a value is an
/// attribute. XmlConverter reads such a tree from text.
///
/// Ownership: a parent owns its children, and no node knows its parent.
/// Errors:    only want of memory (std::bad_alloc, std::length_error).
/// Threads:   a tree belongs to one thread at a time.
///
/// The order of the virtual operations is binary interface with the feature library; new ones go last.
class XmlElement {
public:
    /// Side by side in memory, in the order of the keys' bytes: an element has few. What is inserted or removed moves
    /// the others, so that no reference to one outlasts a change.
    using Attributes = boost::container::flat_map<std::string, std::string>;

    /// What a document begins with.
    static constexpr std::string_view HEADER = "<?xml version=\"1.0\" encoding=\"utf-8\"?>";

    virtual ~XmlElement() = default;

    /// Appends the serialised form: one line without indentation, attributes in the order of their keys' bytes.
    virtual void appendXml(std::string& out) const = 0;

    /// Clones of the elements that have the tag `type` (empty: any) and whose attribute `key` (empty: none is looked
    /// at) equals `value`; an absent attribute equals the empty value. This element comes first, then those below it.
    /// An object, message or list looks at itself and its children only with a `depth` above 0, and hands depth - 1
    /// down; a property looks at itself whatever the depth. So depth 1 reaches the properties of an object but none
    /// of its objects or lists.
    virtual std::vector<std::unique_ptr<XmlElement>> find(const std::string& type, const std::string& key,
                                                          const std::string& value, uint8_t depth) const;

    /// A deep copy.
    virtual std::unique_ptr<XmlElement> clone() const = 0;

    /// Whether there are neither attributes nor children.
    virtual bool isEmpty() const = 0;

    /// The number of bytes that appendXml() appends.
    virtual std::size_t xmlSize() const = 0;

    XmlElement& operator=(const XmlElement&) = delete;

    std::string getType() const { return type_; }
    /// Empty when there is no such attribute.
    std::string getAttribute(const std::string& key) const;
    void removeAttribute(const std::string& key);
    void clearAttributes();

    /// Takes over the group "<xmlattr>" of a tree that Boost's XML reader made; of equal keys the last one counts.
    /// Without that group nothing changes.
    void loadAttributes(const boost::property_tree::ptree& tree);

    /// A whole document: the XML header and this element, on one line.
    std::string toXmlString() const;

protected:
    explicit XmlElement(const char* tag) : type_(tag) {}
    XmlElement(const XmlElement&) = default;

    /// "<", the tag and the attributes; what closes the tag is the caller's.
    void appendTag(std::string& out) const;
    std::size_t tagSize() const;

private:
    const std::string type_;

public:
    Attributes attributes;
};

}  // namespace ostrel::core::xml
