#include "features/simulator/models/ocp/OcpDebugEvents.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "features/nvme/Bytes.h"
#include "features/nvme/Opcodes.h"
#include "features/simulator/logs/HealthLog.h"
#include "features/simulator/models/ocp/Ocp26State.h"
#include "features/simulator/store/Extension.h"

namespace features::simulator {

using namespace nvme;

namespace {

using Data = std::vector<uint8_t>;

enum class Fifo : uint8_t { HOST, DRIVE };

constexpr uint8_t CLASS_TIMESTAMP = 1;
constexpr uint8_t CLASS_PCIE = 2;
constexpr uint8_t CLASS_NVME = 3;
constexpr uint8_t CLASS_RESET = 4;
constexpr uint8_t CLASS_BOOT = 5;
constexpr uint8_t CLASS_TEMPERATURE = 7;

void add(Ocp26State& state, Fifo fifo, uint8_t eventClass, uint16_t id, Data data = {}) {
    auto& events = fifo == Fifo::HOST ? state.hostEvents : state.driveEvents;
    if (events.size() == Ocp26State::MAX_EVENTS) events.erase(events.begin());
    events.push_back({eventClass, id, std::move(data)});
}

/// A vendor unique part: its identifier and a number.
Data vendorPart(uint16_t id, uint64_t number, size_t bytes) {
    Data data(bytes);
    putLe16(data.data(), id);
    for (size_t i = 2; i < bytes; ++i) data[i] = static_cast<uint8_t>(i < 10 ? number >> 8 * (i - 2) : 0);
    return data;
}

void addReset(Ocp26State& state, bool isPowerCycle) {
    constexpr uint16_t POWER_CYCLE = 1;
    constexpr uint16_t LINK_UP = 0;
    constexpr uint16_t ENABLE_SET = 0;
    constexpr uint16_t ENABLE_CLEARED = 1;
    constexpr uint16_t FIRMWARE_IS_UP = 0;
    const Data gen4x4{0, 4, 3, 0};
    const Data noRegister(8);
    if (isPowerCycle) {
        add(state, Fifo::HOST, CLASS_RESET, POWER_CYCLE);
        add(state, Fifo::HOST, CLASS_PCIE, LINK_UP, gen4x4);
        add(state, Fifo::HOST, CLASS_BOOT, FIRMWARE_IS_UP);
    } else {
        add(state, Fifo::HOST, CLASS_NVME, ENABLE_CLEARED, noRegister);
    }
    add(state, Fifo::HOST, CLASS_NVME, ENABLE_SET, noRegister);
}

bool isOcp26(const CommandContext& context) {
    return context.model.id == ModelId::OCP_2_6;
}

}  // namespace

uint8_t ocpCelsius(const CommandContext& context) {
    constexpr int ZERO_CELSIUS_KELVIN = 273;
    return static_cast<uint8_t>(std::clamp(compositeKelvin(context) - ZERO_CELSIUS_KELVIN, 0, 255));
}

void recordDebugEvents(CommandContext& context, const DriveEvent& event) {
    constexpr uint16_t SET_BY_HOST = 0;
    constexpr uint16_t REACHED_WCTEMP = 1;
    constexpr uint16_t REACHED_CCTEMP = 2;
    constexpr uint16_t UNCORRECTABLE = 1;
    constexpr unsigned BIT_TEMPERATURE = 1;
    if (!isOcp26(context)) return;
    auto state = readExtension<Ocp26State>(context.state);
    switch (event.kind) {
        case DriveEvent::Kind::RESET:
            state.isThrottled = false;
            addReset(state, event.value != 0);
            break;
        case DriveEvent::Kind::FIRMWARE_COMMIT:
            if (event.before == event.after) return;
            add(state, Fifo::HOST, OCP_CLASS_VENDOR, OCP_EVENT_FIRMWARE_ACTIVATED,
                {static_cast<uint8_t>(event.selector), static_cast<uint8_t>(event.value), 0, 0});
            break;
        case DriveEvent::Kind::TIMESTAMP_CHANGE:
            add(state, Fifo::HOST, CLASS_TIMESTAMP, SET_BY_HOST, {event.timestamp.begin(), event.timestamp.end()});
            break;
        case DriveEvent::Kind::WARNING:
            if (!bit(event.value, BIT_TEMPERATURE)) return;
            state.maximumCelsius = std::max(state.maximumCelsius, ocpCelsius(context));
            add(state, Fifo::DRIVE, CLASS_TEMPERATURE,
                compositeKelvin(context) >= context.model.criticalKelvin ? REACHED_CCTEMP : REACHED_WCTEMP);
            break;
        case DriveEvent::Kind::MEDIA_ERROR:
            add(state, Fifo::DRIVE, OCP_CLASS_MEDIA, UNCORRECTABLE,
                vendorPart(OCP_PART_FAILED_BLOCK, context.failingLba.value_or(0), 12));
            break;
        default:
            return;
    }
    writeExtension(context.state, state);
}

void recordOcpError(CommandContext& context, const CompletionEntry& completion) {
    constexpr uint16_t ADMIN_ERROR = 7;
    constexpr uint16_t IO_ERROR = 8;
    if (!isOcp26(context)) return;
    const SubmissionEntry& command = context.command;
    // A simulated host has one I/O queue, and numbers no commands.
    const uint8_t queue = command.isAdmin ? 0 : 1;
    const bool hasIdentifier =
        command.isAdmin && (command.opcode == OPC_GET_LOG_PAGE || command.opcode == OPC_GET_FEATURES ||
                            command.opcode == OPC_SET_FEATURES);
    Data data{command.opcode, 0, 0, 0, 0, queue, 0, hasIdentifier ? static_cast<uint8_t>(command.cdw10) : uint8_t{0}};
    // As the Error Information log has it, with the phase tag in bit 0.
    putLe16(data.data() + 1, static_cast<uint16_t>(completion.statusField << 1));
    auto state = readExtension<Ocp26State>(context.state);
    ++state.refusedCommands;
    add(state, Fifo::HOST, CLASS_NVME, command.isAdmin ? ADMIN_ERROR : IO_ERROR, std::move(data));
    writeExtension(context.state, state);
}

void recordInjection(CommandContext& context, uint16_t type, bool isPanic) {
    constexpr uint16_t OTHER_ASSERT = 6;
    if (!isOcp26(context)) return;
    auto state = readExtension<Ocp26State>(context.state);
    if (isPanic) {
        add(state, Fifo::DRIVE, OCP_CLASS_ASSERT, OTHER_ASSERT, vendorPart(OCP_PART_INJECTED_PANIC, type, 4));
    } else {
        Data data(4);
        putLe16(data.data(), type);
        add(state, Fifo::DRIVE, OCP_CLASS_VENDOR, OCP_EVENT_ERROR_INJECTED, std::move(data));
    }
    writeExtension(context.state, state);
}

}  // namespace features::simulator
