#pragma once

#include <cstdint>

namespace features::ata {

/// How the data of a command is transferred (ACS-4 clause 4, SAT-4 12.2.2.2). A drive takes a command by the protocol
/// that the standard gives it, not by any other.
enum class Protocol : uint8_t { NON_DATA, PIO_IN, PIO_OUT, DMA_IN, DMA_OUT };

/// Which registers a command has: 28-bit commands have one byte of FEATURE and COUNT and 28 bits of LBA; 48-bit
/// commands, "EXT", two bytes and 48 bits.
enum class Addressing : uint8_t { BITS_28, BITS_48 };

/// What a command does to the drive, whatever its parameters.
enum class Effect : uint8_t { READS, CHANGES };

/// FEATURE is a parameter of the command, or unused.
inline constexpr int32_t ANY_FEATURE = -1;

/// One command of the standard, with the registers that are the same each time it is sent.
struct CommandRow {
    const char* name;
    uint8_t opcode;
    int32_t subcommand;  ///< FEATURE, or ANY_FEATURE
    Protocol protocol;
    Addressing addressing;
    uint64_t lba;
    uint32_t timeoutMs;
    Effect effect;
};

/// One constant a row: commands::identifyDevice is ECh.
namespace commands {
#define ATA_COMMAND(identifier, name, opcode, subcommand, protocol, addressing, lba, timeoutMs, effect)                \
    inline constexpr CommandRow identifier{name, opcode,    subcommand,    Protocol::protocol, Addressing::addressing, \
                                           lba,  timeoutMs, Effect::effect};
#include "features/ata/Commands.def"
#undef ATA_COMMAND
}  // namespace commands

/// The row of an opcode and FEATURE; null for a command that is not in the table.
const CommandRow* findCommand(uint8_t opcode, uint16_t feature);

}  // namespace features::ata
