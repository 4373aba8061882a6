#include "ostrel/interfaces/cli/cliframework/TokenType.h"

#include <cstddef>
#include <iterator>

#include "ostrel/interfaces/cli/cliframework/Trace.h"

namespace cli::framework {

namespace {

constexpr const char* DISPLAY_TEXTS[] = {"UNKNOWN", "Value", "Verb", "Option", "Target", "Property", "Equal", "Comma"};
static_assert(std::size(DISPLAY_TEXTS) == TOKENTYPE_COMMA + 1, "a display text was lost or doubled");

}  // namespace

std::string tokenTypeToString(TokenType type) {
    CLI_TRACE();
    const auto index = static_cast<size_t>(type);
    return index < std::size(DISPLAY_TEXTS) ? DISPLAY_TEXTS[index] : "";
}

}  // namespace cli::framework
