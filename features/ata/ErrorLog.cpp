#include "features/ata/ErrorLog.h"

#include <iterator>
#include <string>
#include <type_traits>
#include <vector>

#include "features/ata/Commands.h"
#include "features/ata/structures/ErrorLogs.h"
#include "features/nvme/Bytes.h"

namespace features::ata {

using namespace nvme;
using ostrel::core::Payload;

namespace {

/// Of ErrorLogCommand and ErrorLogRegisters.
template <typename Registers>
uint64_t lbaOf(const Registers& registers) {
    return uint64_t{registers.lba0} | uint64_t{registers.lba8} << 8 | uint64_t{registers.lba16} << 16 |
           uint64_t{registers.lba24} << 24 | uint64_t{registers.lba32} << 32 | uint64_t{registers.lba40} << 40;
}
template <typename Registers>
uint64_t lbaOf28Bits(const Registers& registers) {
    return uint64_t{registers.lba0} | uint64_t{registers.lba8} << 8 | uint64_t{registers.lba16} << 16 |
           bits(registers.device, 3, 0) << 24;
}
uint64_t lbaOf(const SmartErrorCommand& command) {
    return lbaOf28Bits(command);
}
uint64_t lbaOf(const SmartErrorRegisters& registers) {
    return lbaOf28Bits(registers);
}

template <typename Command>
std::string commandText(const Command& command) {
    const CommandRow* const row = findCommand(command.command, command.feature);
    const std::string opcode = hexText(command.command, 2);
    return row == nullptr ? opcode : opcode + " " + row->name;
}

template <typename Entry>
void addEntry(FieldTree& tree, size_t number, const Entry& entry) {
    FieldTree& part = tree.addPart("Error " + std::to_string(number));
    const auto& failed = *std::prev(std::end(entry.commands));
    part.add("Command", commandText(failed));
    part.add("Command LBA", std::to_string(lbaOf(failed)));
    part.add("Command COUNT", std::to_string(failed.count));
    part.add("ERROR", hexText(entry.registers.error, 2));
    part.add("STATUS", hexText(entry.registers.status, 2));
    part.add("LBA", std::to_string(lbaOf(entry.registers)));
    part.add("Power On Hours", std::to_string(entry.registers.hours));
}

template <typename Entry>
bool isUsed(const Entry& entry) {
    return entry.registers.status != 0 || entry.registers.error != 0;
}

/// The number of errors, and those of all pages, from the newest back and around.
template <typename Page>
FieldTree decodePages(const char* title, const Payload& log) {
    FieldTree tree{title, {}, {}};
    if (log.getSize() < sizeof(Page)) return tree;
    const auto first = structureAt<Page>(log.getData());
    tree.add("Errors", std::to_string(first.errorCount));
    std::vector<std::decay_t<decltype(first.entries[0])>> entries;
    for (size_t at = 0; at + sizeof first <= log.getSize(); at += sizeof first) {
        const auto page = structureAt<Page>(log.getData() + at);
        entries.insert(entries.end(), std::begin(page.entries), std::end(page.entries));
    }
    const size_t index = first.index;
    if (index == 0 || index > entries.size()) return tree;
    for (size_t i = 0; i < entries.size(); ++i) {
        const auto& entry = entries[(index - 1 + entries.size() - i) % entries.size()];
        if (!isUsed(entry)) break;
        addEntry(tree, i, entry);
    }
    return tree;
}

}  // namespace

FieldTree decodeExtendedErrors(const Payload& log) {
    return decodePages<ExtendedErrorPage>("Extended Comprehensive Error Log", log);
}

FieldTree decodeSummaryErrors(const Payload& log) {
    return decodePages<SmartErrorPage>("Summary Error Log", log);
}

FieldTree decodeComprehensiveErrors(const Payload& log) {
    return decodePages<SmartErrorPage>("Comprehensive Error Log", log);
}

}  // namespace features::ata
