#include <algorithm>
#include <iterator>

#include "features/simulator/sata/Handlers.h"
#include "features/simulator/sata/LogTable.h"
#include "features/simulator/sata/SelfTest.h"
#include "features/simulator/sata/SmartData.h"

namespace features::simulator::sata {

using ata::Protocol;

namespace {

constexpr uint64_t SMART_KEY = 0xC24F;
constexpr uint64_t SMART_GOOD = 0xC24F00;
constexpr uint64_t SMART_EXCEEDED = 0x2CF400;
constexpr uint8_t ENABLE_OPERATIONS = 0xD8;
constexpr uint16_t AUTO_OFFLINE_ON = 0xF8;

ata::Registers readData(SataContext& context) {
    context.data = smartData(context);
    return completed();
}

ata::Registers readThresholds(SataContext& context) {
    context.data = smartThresholds();
    return completed();
}

/// Attributes are always saved: autosave can be turned on and off, and changes nothing.
ata::Registers accept(SataContext&) {
    return completed();
}

ata::Registers readSmartLog(SataContext& context) {
    return readPages(context, LogWay::SMART, static_cast<uint8_t>(context.command.lba), 0);
}

ata::Registers enable(SataContext& context) {
    context.state.isSmartEnabled = true;
    return completed();
}

ata::Registers disable(SataContext& context) {
    context.state.isSmartEnabled = false;
    return completed();
}

ata::Registers returnStatus(SataContext& context) {
    return completed(0, isThresholdExceeded(context) ? SMART_EXCEEDED : SMART_GOOD);
}

ata::Registers setAutoOffline(SataContext& context) {
    if (context.command.count != 0 && context.command.count != AUTO_OFFLINE_ON) return aborted();
    context.state.isAutoOffline = context.command.count != 0;
    return completed();
}

struct Row {
    uint8_t feature;
    Protocol protocol;
    ata::Registers (*run)(SataContext& context);
};
// clang-format off
constexpr Row SUBCOMMANDS[] = {
    {0xD0, Protocol::PIO_IN,   readData},
    {0xD1, Protocol::PIO_IN,   readThresholds},
    {0xD2, Protocol::NON_DATA, accept},  // attribute autosave
    {0xD3, Protocol::NON_DATA, accept},  // save attribute values
    {0xD4, Protocol::NON_DATA, executeOffline},
    {0xD5, Protocol::PIO_IN,   readSmartLog},
    {0xD8, Protocol::NON_DATA, enable},
    {0xD9, Protocol::NON_DATA, disable},
    {0xDA, Protocol::NON_DATA, returnStatus},
    {0xDB, Protocol::NON_DATA, setAutoOffline},
};
// clang-format on

}  // namespace

ata::Registers smart(SataContext& context) {
    const TaskFile& command = context.command;
    const auto* row = std::find_if(std::begin(SUBCOMMANDS), std::end(SUBCOMMANDS),
                                   [&](const Row& each) { return each.feature == command.feature; });
    if (row == std::end(SUBCOMMANDS) || row->protocol != command.protocol) return aborted();
    if ((command.lba >> 8 & 0xFFFF) != SMART_KEY) return aborted();
    if (!context.state.isSmartEnabled && command.feature != ENABLE_OPERATIONS) return aborted();
    return row->run(context);
}

}  // namespace features::simulator::sata
