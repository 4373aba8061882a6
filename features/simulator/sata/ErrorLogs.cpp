#include "features/simulator/sata/ErrorLogs.h"

#include "features/nvme/Bytes.h"
#include "features/simulator/sata/IdentifyData.h"

namespace features::simulator::sata {

using nvme::putLe16;
using nvme::putLe32;
using nvme::putLe64;

namespace {

constexpr size_t COMMANDS = 5;  // of an entry, the last of which failed
constexpr size_t COMMAND_BYTES = 12;
constexpr size_t EXTENDED_COMMAND_BYTES = 18;
constexpr uint8_t STATE_ACTIVE = 0x03;  // executing a command

uint8_t byteOf(uint64_t lba, unsigned index) {
    return static_cast<uint8_t>(lba >> 8 * index);
}

/// Five command structures, 12 bytes each, of which the last is the command that failed; then the error structure.
void putSummaryEntry(const ErrorEntry& entry, uint8_t* at) {
    uint8_t* command = at + (COMMANDS - 1) * COMMAND_BYTES;
    command[1] = static_cast<uint8_t>(entry.feature);
    command[2] = static_cast<uint8_t>(entry.count);
    command[3] = byteOf(entry.lba, 0);
    command[4] = byteOf(entry.lba, 1);
    command[5] = byteOf(entry.lba, 2);
    command[6] = entry.device;
    command[7] = entry.command;
    putLe32(command + 8, static_cast<uint32_t>(entry.powerOnMs));
    uint8_t* error = at + COMMANDS * COMMAND_BYTES;
    error[1] = entry.error;
    error[2] = static_cast<uint8_t>(entry.count);
    error[3] = byteOf(entry.failingLba, 0);
    error[4] = byteOf(entry.failingLba, 1);
    error[5] = byteOf(entry.failingLba, 2);
    error[6] = entry.device;
    error[7] = entry.status;
    error[27] = STATE_ACTIVE;
    putLe16(error + 28, static_cast<uint16_t>(entry.powerOnMs / 3600000));
}

/// The same with 48-bit registers: 18 bytes a command, 34 for the error.
void putExtendedEntry(const ErrorEntry& entry, uint8_t* at) {
    uint8_t* command = at + (COMMANDS - 1) * EXTENDED_COMMAND_BYTES;
    putLe16(command + 1, entry.feature);
    putLe16(command + 3, entry.count);
    // Each byte of LBA 23:0 is followed by the one 24 bits above it.
    for (unsigned i = 0; i < 3; ++i) {
        command[5 + 2 * i] = byteOf(entry.lba, i);
        command[6 + 2 * i] = byteOf(entry.lba, i + 3);
    }
    command[11] = entry.device;
    command[12] = entry.command;
    putLe32(command + 14, static_cast<uint32_t>(entry.powerOnMs));
    uint8_t* error = at + COMMANDS * EXTENDED_COMMAND_BYTES;
    error[1] = entry.error;
    putLe16(error + 2, entry.count);
    for (unsigned i = 0; i < 3; ++i) {
        error[4 + 2 * i] = byteOf(entry.failingLba, i);
        error[5 + 2 * i] = byteOf(entry.failingLba, i + 3);
    }
    error[10] = entry.device;
    error[11] = entry.status;
    error[31] = STATE_ACTIVE;
    putLe16(error + 32, static_cast<uint16_t>(entry.powerOnMs / 3600000));
}

/// Oldest first, as they were written.
template <class Put>
void putEntries(const std::vector<ErrorEntry>& errors, size_t entryBytes, uint8_t* first, Put put) {
    for (auto entry = errors.rbegin(); entry != errors.rend(); ++entry) {
        put(*entry, first);
        first += entryBytes;
    }
}

}  // namespace

void noteError(SataContext& context, const ata::Registers& registers) {
    const TaskFile& command = context.command;
    SataState& state = context.state;
    ++state.errorCount;
    ErrorEntry entry{command.command, command.feature,  command.count, command.lba,        command.device,
                     registers.error, registers.status, registers.lba, context.powerOnMs()};
    state.errors.insert(state.errors.begin(), entry);
    if (state.errors.size() > MAX_ERRORS) state.errors.pop_back();
}

std::vector<uint8_t> summaryErrors(SataContext& context) {
    const SataState& state = context.state;
    std::vector<uint8_t> page(SECTOR_BYTES);
    page[0] = 0x01;
    page[1] = static_cast<uint8_t>(state.errors.size());
    putEntries(state.errors, 90, page.data() + 2, putSummaryEntry);
    putLe16(page.data() + 452, static_cast<uint16_t>(state.errorCount));
    putChecksum(page);
    return page;
}

std::vector<uint8_t> extendedErrors(SataContext& context) {
    const SataState& state = context.state;
    std::vector<uint8_t> page(SECTOR_BYTES);
    page[0] = 0x01;
    putLe16(page.data() + 2, static_cast<uint16_t>(state.errors.size()));
    putEntries(state.errors, 124, page.data() + 4, putExtendedEntry);
    putLe16(page.data() + 500, static_cast<uint16_t>(state.errorCount));
    putChecksum(page);
    return page;
}

/// Three pages: entries of 16 bytes, hours and LBA; the first takes the place of a header with the number of them.
std::vector<uint8_t> pendingDefects(SataContext& context) {
    const std::vector<uint64_t>& pending = context.state.pending;
    std::vector<uint8_t> log(3 * SECTOR_BYTES);
    static_assert((MAX_PENDING + 1) * 16 <= 3 * SECTOR_BYTES);
    putLe32(log.data(), static_cast<uint32_t>(pending.size()));
    for (size_t i = 0; i < pending.size(); ++i) {
        uint8_t* at = log.data() + 16 * (i + 1);
        putLe32(at, static_cast<uint32_t>(context.powerOnHours()));
        putLe64(at + 8, pending[i]);
    }
    return log;
}

}  // namespace features::simulator::sata
