#include "features/simulator/sata/CommandTable.h"

#include <algorithm>
#include <iterator>

#include "features/simulator/sata/Handlers.h"

namespace features::simulator::sata {

using P = ata::Protocol;

namespace {

constexpr uint8_t SMART = 0xB0;
constexpr uint16_t SMART_RETURN_STATUS = 0xDA;
constexpr uint16_t SMART_READ_LOG = 0xD5;
constexpr uint8_t READ_NATIVE_MAX = 0xF8;
constexpr uint8_t READ_NATIVE_MAX_EXT = 0x27;
constexpr uint8_t PREPARE_ERASE = 0xF3;

// clang-format off
constexpr CommandRow ROWS[] = {  // by opcode
    // opcode, protocol, 48-bit, while locked, while sanitizing
    {0x06, P::DMA_OUT,  true,  false, false, dataSetManagement},
    {0x20, P::PIO_IN,   false, false, false, readSectors},
    {0x24, P::PIO_IN,   true,  false, false, readSectors},
    {0x25, P::DMA_IN,   true,  false, false, readSectors},
    {0x27, P::NON_DATA, true,  true,  false, readNativeMax},
    {0x2F, P::PIO_IN,   true,  true,  true,  readLog},
    {0x30, P::PIO_OUT,  false, false, false, writeSectors},
    {0x34, P::PIO_OUT,  true,  false, false, writeSectors},
    {0x35, P::DMA_OUT,  true,  false, false, writeSectors},
    {0x37, P::NON_DATA, true,  false, false, setMax},
    {0x40, P::NON_DATA, false, false, false, verifySectors},
    {0x42, P::NON_DATA, true,  false, false, verifySectors},
    {0x47, P::DMA_IN,   true,  true,  true,  readLog},
    {0x5C, P::PIO_IN,   false, true,  false, trustedReceive},
    {0x5D, P::DMA_IN,   false, true,  false, trustedReceive},
    {0x77, P::NON_DATA, true,  true,  false, setDateAndTime},
    {0x78, P::NON_DATA, true,  false, false, accessibleMaxAddress},
    {0x92, P::PIO_OUT,  false, false, false, downloadMicrocode},
    {0x92, P::NON_DATA, false, false, false, downloadMicrocode},
    {0x93, P::DMA_OUT,  false, false, false, downloadMicrocode},
    {0x93, P::NON_DATA, false, false, false, downloadMicrocode},
    {0xB0, P::PIO_IN,   false, true,  false, smart},
    {0xB0, P::NON_DATA, false, true,  false, smart},
    {0xB4, P::NON_DATA, true,  false, true,  sanitize},
    {0xC8, P::DMA_IN,   false, false, false, readSectors},
    {0xCA, P::DMA_OUT,  false, false, false, writeSectors},
    {0xE0, P::NON_DATA, false, true,  true,  enterStandby},
    {0xE1, P::NON_DATA, false, true,  true,  enterIdle},
    {0xE2, P::NON_DATA, false, true,  true,  enterStandby},
    {0xE3, P::NON_DATA, false, true,  true,  enterIdle},
    {0xE5, P::NON_DATA, false, true,  true,  checkPowerMode},
    {0xE7, P::NON_DATA, false, false, false, flushCache},
    {0xEA, P::NON_DATA, true,  false, false, flushCache},
    {0xEC, P::PIO_IN,   false, true,  true,  identifyDevice},
    {0xEF, P::NON_DATA, false, true,  false, setFeatures},
    {0xF1, P::PIO_OUT,  false, true,  false, setPassword},
    {0xF2, P::PIO_OUT,  false, true,  false, unlock},
    {0xF3, P::NON_DATA, false, true,  false, prepareErase},
    {0xF4, P::PIO_OUT,  false, true,  false, eraseUnit},
    {0xF5, P::NON_DATA, false, true,  false, freezeSecurity},
    {0xF6, P::PIO_OUT,  false, true,  false, disablePassword},
    {0xF8, P::NON_DATA, false, true,  false, readNativeMax},
    {0xF9, P::NON_DATA, false, false, false, setMax},
};
// clang-format on

/// SMART status and the logs are read while a sanitize operation runs, what else SMART has is not.
bool mayRunDuringSanitize(const CommandRow& row, const TaskFile& command) {
    const bool isStatus = command.feature == SMART_RETURN_STATUS || command.feature == SMART_READ_LOG;
    return row.whileSanitizing || (command.command == SMART && isStatus);
}

/// What a command must directly follow is forgotten with any other.
void noteSequence(SataContext& context) {
    const uint8_t command = context.command.command;
    if (command != PREPARE_ERASE) context.state.security.isErasePrepared = false;
    const bool isReadNativeMax = command == READ_NATIVE_MAX || command == READ_NATIVE_MAX_EXT;
    context.state.lastCommand = isReadNativeMax ? command : uint8_t{0};
}

/// What a drive refuses that its owner locked (TCG): access to its blocks, and their erase.
bool isDenied(const SataContext& context, const CommandRow& row) {
    constexpr uint16_t SANITIZE_STATUS = 0;
    constexpr decltype(row.run) DENIED[] = {readSectors, writeSectors, verifySectors, dataSetManagement, eraseUnit};
    if (!isLocked(context.description.faults.tcg)) return false;
    if (row.run == sanitize) return context.command.feature != SANITIZE_STATUS;
    return std::find(std::begin(DENIED), std::end(DENIED), row.run) != std::end(DENIED);
}

bool isExpected(const SataContext& context, const CommandRow& row) {
    if (isDenied(context, row)) return false;
    if (context.isSecurityLocked() && !row.whileLocked) return false;
    return !context.state.sanitize.startedMs || mayRunDuringSanitize(row, context.command);
}

/// A host must want exactly as much as the drive sends; readers of registers alone want nothing.
bool isWhole(const SataContext& context) {
    const bool isRead = context.command.protocol == P::PIO_IN || context.command.protocol == P::DMA_IN;
    return !isRead || context.data.size() == context.command.dataBytes;
}

}  // namespace

const CommandRow* findCommand(const TaskFile& command) {
    const auto* row = std::find_if(std::begin(ROWS), std::end(ROWS), [&](const CommandRow& each) {
        return each.opcode == command.command && each.protocol == command.protocol && each.is48Bit == command.is48Bit;
    });
    return row == std::end(ROWS) ? nullptr : row;
}

ata::Registers runCommand(SataContext& context) {
    const CommandRow* row = findCommand(context.command);
    ata::Registers registers = aborted();
    if (row != nullptr && isExpected(context, *row)) registers = row->run(context);
    noteSequence(context);
    const bool isGood = (registers.status & ata::STATUS_ERROR) == 0;
    if (isGood && !isWhole(context)) registers = aborted();
    if ((registers.status & ata::STATUS_ERROR) != 0) context.data.clear();
    return registers;
}

}  // namespace features::simulator::sata
