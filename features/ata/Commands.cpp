#include "features/ata/Commands.h"

#include <algorithm>
#include <iterator>

namespace features::ata {

namespace {

constexpr CommandRow COMMANDS[] = {
#define ATA_COMMAND(identifier, ...) commands::identifier,
#include "features/ata/Commands.def"
#undef ATA_COMMAND
};

const CommandRow* findRow(uint8_t opcode, int32_t subcommand) {
    const auto* const row = std::find_if(std::begin(COMMANDS), std::end(COMMANDS), [&](const CommandRow& candidate) {
        return candidate.opcode == opcode && candidate.subcommand == subcommand;
    });
    return row == std::end(COMMANDS) ? nullptr : row;
}

}  // namespace

const CommandRow* findCommand(uint8_t opcode, uint16_t feature) {
    const CommandRow* const row = findRow(opcode, feature);
    return row != nullptr ? row : findRow(opcode, ANY_FEATURE);
}

}  // namespace features::ata
