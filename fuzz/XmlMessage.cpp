#include <boost/property_tree/ptree.hpp>
#include <boost/property_tree/xml_parser.hpp>

#include <algorithm>
#include <cstdint>
#include <map>
#include <optional>
#include <sstream>
#include <string>

#include "fuzz/Require.h"
#include "ostrel/core/Strings.h"
#include "ostrel/core/XmlConverter.h"
#include "ostrel/core/xml/XmlNesting.h"
#include "ostrel/core/xml/XmlReader.h"

using namespace ostrel::core;
using boost::property_tree::ptree;

namespace {

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

// What is to be written of an element that was read: as plain, and as slow, as the format is described.
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
    // The check of the nesting sees what the reader sees.
    const std::size_t depth = depthOf(document);
    REQUIRE(!xml::nestsDeeperThan(text, depth));
    REQUIRE(depth == 0 || xml::nestsDeeperThan(text, depth - 1));

    const auto element = XmlConverter::toXml(text);
    const bool hasRoot = !document.empty() && isElement(document.front().first);
    REQUIRE(hasRoot == (element != nullptr));
    if (!element) return;

    constexpr char HEADER[] = R"(<?xml version="1.0" encoding="utf-8"?>)";
    const std::string written = element->toXmlString();
    REQUIRE(written == HEADER + expectedXml(document.front().first, document.front().second));
    REQUIRE(written == element->clone()->toXmlString());
    REQUIRE(written == XmlConverter::toXml(std::string(text))->toXmlString());
    REQUIRE(!element->find("", "", "", 3).empty());
    if (auto* object = dynamic_cast<xml::XmlObject*>(element.get())) XmlConverter::xmlToAttributeList(*object);

    // What was written can be read, and is written the same from then on: unless a value holds a zero byte (of "&#0;"),
    // which ends the text for the next reader.
    const auto reread = XmlConverter::toXml(written);
    const bool hasZeroByte = written.find('\0') != std::string::npos;
    REQUIRE((reread == nullptr) == hasZeroByte);
    REQUIRE(!reread || reread->toXmlString() == written);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    const bool tooDeep = xml::nestsDeeperThan(text, xml::MAX_NESTING);
    const auto document = tooDeep ? std::nullopt : readTree(text);
    if (document)
        checkTree(text, *document);
    else
        REQUIRE(XmlConverter::toXml(text) == nullptr && XmlConverter::toXml(std::string(text)) == nullptr);
    return 0;
}
