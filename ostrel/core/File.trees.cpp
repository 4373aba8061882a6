// The files that Boost.PropertyTree reads, from streams: apart from the others, whose readers then need none.

#include "ostrel/core/File.h"

#define BOOST_BIND_GLOBAL_PLACEHOLDERS  // the JSON parser of Boost takes them from there
#include <boost/property_tree/json_parser.hpp>
#include <boost/property_tree/ptree.hpp>
#include <boost/property_tree/xml_parser.hpp>

#include <sstream>
#include <stdexcept>

#include "ostrel/core/Logging.h"
#include "ostrel/core/ScopeTrace.h"
#include "ostrel/core/xml/XmlNesting.h"
#include "ostrel/core/xml/XmlReader.h"

namespace ostrel::core {

using boost::property_tree::ptree;

namespace {

/// `parse` turns the text into the tree.
template <typename Parse>
std::unique_ptr<ptree> readTree(const std::string& path, Parse parse) {
    OSTREL_TRACE();
    try {
        std::string text;
        const Status status = readFile(path, SymbolicLink::FOLLOW, text);
        if (failed(status)) throw std::runtime_error(status.getMessage());
        auto tree = std::make_unique<ptree>();
        parse(text, *tree);
        return tree;
    } catch (const std::exception& exception) {
        // Said of JSON too; readers of the log know it so.
        logMessage(LOGSEVERITY_ERROR, "Error parsing xml: ", exception.what());
    }
    return nullptr;
}

}  // namespace

std::unique_ptr<ptree> readXml(const std::string& path) {
    OSTREL_TRACE();
    return readTree(path, [](const std::string& text, ptree& tree) {
        // As for messages: Boost's reader recurses for each level.
        if (xml::nestsDeeperThan(text, xml::MAX_NESTING)) throw std::runtime_error("XML elements are nested too deep");
        std::istringstream stream(text);
        boost::property_tree::read_xml(stream, tree);
    });
}

std::unique_ptr<ptree> readJson(const std::string& path) {
    OSTREL_TRACE();
    return readTree(path, [](const std::string& text, ptree& tree) {
        std::istringstream stream(text);
        boost::property_tree::read_json(stream, tree);
    });
}

}  // namespace ostrel::core
