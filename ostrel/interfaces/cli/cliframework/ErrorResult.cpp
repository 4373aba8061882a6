#include "ostrel/interfaces/cli/cliframework/ErrorResult.h"

#include <utility>

#include "ostrel/interfaces/cli/cliframework/Constants.h"
#include "ostrel/interfaces/cli/cliframework/ErrorCode.h"
#include "ostrel/interfaces/cli/cliframework/Logger.h"
#include "ostrel/interfaces/cli/cliframework/TextAppend.h"
#include "ostrel/interfaces/cli/cliframework/Trace.h"

namespace cli::framework {

ErrorResult::ErrorResult(std::string prefix) : ErrorResult(ERRORCODE_GENERAL, "", std::move(prefix)) {
    CLI_TRACE();
}

ErrorResult::ErrorResult(std::int32_t code, std::string message, std::string prefix)
    : SimpleResult(std::move(message)), prefix_(std::move(prefix)) {
    CLI_TRACE();
    setErrorCode(code);
}

std::string ErrorResult::outputText() const {
    CLI_TRACE();
    const std::string word = getErrorString();
    if (Logger::hasChannel()) {
        Logger& logger = Logger::getInstance();
        logger << word << message();
        logger.setLevel(LOG_LEVEL_ERROR);
        logger << '\n';
        logger.flush();
    }
    return concat({prefix_, prefix_.empty() ? "" : ": ", word, ": ", message()});
}

std::string ErrorResult::outputXml() const {
    CLI_TRACE();
    const std::string code = std::to_string(getErrorCode());
    return concat(
        {"<", FIELD_ERROR, " ", FIELD_TYPE, "=\"", code, "\">", ErrorResult::outputText(), "</", FIELD_ERROR, ">\n"});
}

std::string ErrorResult::outputEsxXml() const {
    CLI_TRACE();
    return "ERROR: " + outputText();
}

std::string ErrorResult::outputJson() const {
    CLI_TRACE();
    const std::string code = std::to_string(getErrorCode());
    return concat({"{\n\t\"", FIELD_ERROR, "_", FIELD_TYPE, "\":", code, ",\n\t\"", FIELD_ERROR_DESCRIPTION, "\":\"",
                   ErrorResult::outputText(), "\"\n}\n"});
}

std::string ErrorResult::outputCSV() const {
    CLI_TRACE();
    const std::string code = std::to_string(getErrorCode());
    return concat({FIELD_ERROR, "_", FIELD_TYPE, ",", code, ",\n", FIELD_ERROR_DESCRIPTION, ",",
                   ErrorResult::outputText(), ",\n"});
}

std::string ErrorResult::getErrorString() const {
    CLI_TRACE();
    switch (getErrorCode()) {
        case ERRORCODE_OUT_OF_MEMORY:
            return "Out of Memory";
        case ERRORCODE_SYNTAX:
            return "Syntax Error";
        default:
            return "Error";
    }
}

}  // namespace cli::framework
