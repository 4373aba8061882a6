#include "ostrel/interfaces/cli/cliframework/ResultBase.h"

#include <cstdarg>
#include <cstdio>
#include <iterator>

#include "ostrel/interfaces/cli/cliframework/CommonParts.h"
#include "ostrel/interfaces/cli/cliframework/Constants.h"
#include "ostrel/interfaces/cli/cliframework/StringHelpers.h"
#include "ostrel/interfaces/cli/cliframework/Trace.h"

namespace cli::framework {
namespace {

using Renderer = std::string (ResultBase::*)() const;

// Indexed by OutputType.
constexpr Renderer RENDERERS[] = {
    &ResultBase::outputText,      &ResultBase::outputXml,  &ResultBase::outputEsxXml,
    &ResultBase::outputTextTable, &ResultBase::outputJson, &ResultBase::outputCSV,
};
static_assert(std::size(RENDERERS) == OUTPUTTYPE_CSV + 1, "an output type lacks its operation");

constexpr struct {
    const char* keyword;
    OutputType type;
} KEYWORDS[] = {
    {OUTPUT_NVMXML, OUTPUTTYPE_XML}, {OUTPUT_TEXT, OUTPUTTYPE_TEXT}, {OUTPUT_ESX, OUTPUTTYPE_ESX_XML},
    {OUTPUT_JSON, OUTPUTTYPE_JSON},  {OUTPUT_CSV, OUTPUTTYPE_CSV},
};

}  // namespace

std::string ResultBase::outputTextTable() const {
    CLI_TRACE();
    return outputText();
}

std::string ResultBase::output() const {
    CLI_TRACE();
    return outputType_ < std::size(RENDERERS) ? (this->*RENDERERS[outputType_])() : std::string();
}

void ResultBase::setErrorCode(std::int32_t errorCode) {
    CLI_TRACE();
    errorCode_ = errorCode;
}

void ResultBase::setOutputType(OutputType type) {
    CLI_TRACE();
    outputType_ = type;
}

bool ResultBase::setOutputOption(const std::map<std::string, std::string>& options) {
    CLI_TRACE();
    const auto option = options.find(OPTION_OUTPUT.name);
    if (option == options.end()) return true;
    for (const auto& entry : KEYWORDS) {
        if (stringsIEqual(option->second, entry.keyword)) {
            setOutputType(entry.type);
            return true;
        }
    }
    return false;
}

std::string formatString(const char* format, ...) {
    CLI_TRACE();
    std::va_list arguments;
    va_start(arguments, format);
    std::va_list measured;
    va_copy(measured, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, measured);
    va_end(measured);
    std::string text;
    if (length > 0) {
        text.resize(static_cast<std::size_t>(length) + 1);
        std::vsnprintf(text.data(), text.size(), format, arguments);
        text.pop_back();  // the terminator of vsnprintf
    }
    va_end(arguments);
    return text;
}

}  // namespace cli::framework
