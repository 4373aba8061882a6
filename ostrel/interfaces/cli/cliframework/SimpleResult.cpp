#include "ostrel/interfaces/cli/cliframework/SimpleResult.h"

#include <algorithm>
#include <utility>

#include "ostrel/interfaces/cli/cliframework/Constants.h"
#include "ostrel/interfaces/cli/cliframework/JsonText.h"
#include "ostrel/interfaces/cli/cliframework/ResultConstants.h"
#include "ostrel/interfaces/cli/cliframework/TextAppend.h"
#include "ostrel/interfaces/cli/cliframework/Trace.h"

namespace cli::framework {

SimpleResult::SimpleResult(std::string message) : message_(std::move(message)) {
    CLI_TRACE();
}

std::string SimpleResult::outputText() const {
    CLI_TRACE();
    return message_;
}

std::string SimpleResult::outputXml() const {
    CLI_TRACE();
    return concat({"<", FIELD_RESULT, ">", message_, "</", FIELD_RESULT, ">\n"});
}

std::string SimpleResult::outputEsxXml() const {
    CLI_TRACE();
    return concat({ESX_HEAD, ESX_STRING_OPEN, message_, ESX_STRING_CLOSE, ESX_TAIL});
}

std::string SimpleResult::outputJson() const {
    CLI_TRACE();
    return concat({"{\n\t\"", FIELD_RESULT, "\":\"", jsonEscape(message_), "\"\n}"});
}

std::string SimpleResult::outputCSV() const {
    CLI_TRACE();
    std::string line = message_;
    std::replace(line.begin(), line.end(), '\n', ' ');
    return concat({FIELD_RESULT, ",", line, ",\n"});
}

}  // namespace cli::framework
