#include <boost/property_tree/ptree.hpp>
#include <boost/property_tree/xml_parser.hpp>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <optional>
#include <sstream>
#include <string>

#include "ostrel/core/Strings.h"
#include "ostrel/core/XmlConverter.h"
#include "ostrel/core/xml/XmlNesting.h"
#include "ostrel/core/xml/XmlReader.h"

using namespace ostrel::core;
using boost::property_tree::ptree;

namespace {

void check(bool condition, const char* what) {
    if (condition) return;
    std::fprintf(stderr, "does not hold: %s\n", what);
    std::abort();
}

std::optional<ptree> readTree(const std::string& text) {
    std::istringstream stream(text);
    ptree tree;
    try {
        boost::property_tree::read_xml(stream, tree, boost::property_tree::xml_parser::trim_whitespace);
    } catch (const boost::property_tree::xml_parser_error&) {
        return std::nullopt;
    }
    return tree;
}

std::size_t depthOf(const ptree& tree) {
    std::size_t depth = 0;
    for (const auto& [name, child] : tree)
        if (name != "<xmlattr>" && name != "<xmlcomment>") depth = std::max(depth, 1 + depthOf(child));
    return depth;
}

// What is to be written of an element that was read: as plain, and as slow, as the format is told.
std::string expectedXml(const std::string& tag, const ptree& tree) {
    std::map<std::string, std::string> attributes;
    if (const auto group = tree.get_child_optional("<xmlattr>"))
        for (const auto& [key, entry] : *group) attributes[key] = entry.data();
    std::string xml = "<" + tag;
    for (auto [key, value] : attributes) {
        replaceAll(value, "<", "&lt;");
        replaceAll(value, ">", "&gt;");
        replaceAll(value, "&", "&amp;");
        replaceAll(value, "\"", "&quot;");
        replaceAll(value, "'", "&apos;");
        xml += " " + key + "=\"" + value + "\"";
    }
    if (tag == "Property") return xml + "/>";
    xml += ">";
    for (const std::string kind : {"Property", "List", "Object"})
        for (const auto& [name, child] : tree)
            if (name == kind && (kind == "Object" || tag != "List")) xml += expectedXml(name, child);
    return xml + "</" + tag + ">";
}

bool isElement(const std::string& tag) {
    return tag == "Message" || tag == "Object" || tag == "List" || tag == "Property";
}

void checkTree(const std::string& text, const ptree& document) {
    const std::size_t depth = depthOf(document);
    check(!xml::nestsDeeperThan(text, depth), "the nesting is not taken for deeper than it is");
    check(depth == 0 || xml::nestsDeeperThan(text, depth - 1), "nor for flatter");

    const auto element = XmlConverter::toXml(text);
    const bool expected = !document.empty() && isElement(document.front().first);
    check(expected == (element != nullptr), "a tree, or null, as the root's tag says");
    if (!element) return;

    constexpr char HEADER[] = R"(<?xml version="1.0" encoding="utf-8"?>)";
    const std::string written = element->toXmlString();
    check(written == HEADER + expectedXml(document.front().first, document.front().second), "written as told");
    check(written == element->clone()->toXmlString(), "a clone is equal");
    check(!element->find("", "", "", 3).empty(), "the root is found");
    if (auto* object = dynamic_cast<xml::XmlObject*>(element.get())) XmlConverter::xmlToAttributeList(*object);

    // A value can hold a zero byte (of "&#0;"), which ends the text for the next reader.
    const auto reread = XmlConverter::toXml(written);
    const bool hasZeroByte = written.find('\0') != std::string::npos;
    check((reread == nullptr) == hasZeroByte, "what was written can be read, unless a zero byte is in it");
    check(!reread || reread->toXmlString() == written, "and is written the same from then on");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    const bool tooDeep = xml::nestsDeeperThan(text, xml::MAX_NESTING);
    const auto document = tooDeep ? std::nullopt : readTree(text);
    if (document)
        checkTree(text, *document);
    else
        check(XmlConverter::toXml(text) == nullptr, "a malformed text gives null");
    return 0;
}
