#include "ostrel/interfaces/cli/cliframework/JsonText.h"

#define BOOST_BIND_GLOBAL_PLACEHOLDERS  // the JSON parser of Boost takes them from there
#include <boost/property_tree/json_parser.hpp>

#include "ostrel/interfaces/cli/cliframework/ResultConstants.h"
#include "ostrel/interfaces/cli/cliframework/StringHelpers.h"
#include "ostrel/interfaces/cli/cliframework/TextAppend.h"
#include "ostrel/interfaces/cli/cliframework/Trace.h"

namespace cli::framework {

std::string jsonEscape(const std::string& text) {
    CLI_TRACE();
    return boost::property_tree::json_parser::create_escapes(text);
}

void appendJsonValue(std::string& out, const std::string& text) {
    CLI_TRACE();
    if (stringIsNumeric(text, false)) {
        out += text;
        return;
    }
    for (const char* literal : {JSON_TRUE, JSON_FALSE}) {
        if (stringsIEqual(text, literal)) {
            out += literal;
            return;
        }
    }
    append(out, {"\"", jsonEscape(text), "\""});
}

}  // namespace cli::framework
