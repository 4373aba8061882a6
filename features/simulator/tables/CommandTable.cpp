#include "features/simulator/tables/CommandTable.h"

#include <iterator>

#include "features/nvme/Bytes.h"
#include "features/nvme/Opcodes.h"
#include "features/nvme/StatusCodes.h"
#include "features/nvme/VelkoInterface.h"
#include "features/simulator/commands/Events.h"
#include "features/simulator/commands/Features.h"
#include "features/simulator/commands/Firmware.h"
#include "features/simulator/commands/Identify.h"
#include "features/simulator/commands/LogPages.h"
#include "features/simulator/commands/NamespaceCommands.h"
#include "features/simulator/commands/NvmCommands.h"
#include "features/simulator/commands/Sanitize.h"
#include "features/simulator/commands/SelfTest.h"
#include "features/simulator/models/velko/VelkoFlush.h"
#include "ostrel/core/ScopeTrace.h"

namespace features::simulator {

using namespace nvme;

namespace {

// Commands Supported and Effects (section 5.14.1.5).
constexpr uint32_t CSUPP = 1 << 0;
constexpr uint32_t LBCC = 1 << 1;        // may change logical block content
constexpr uint32_t NCC = 1 << 2;         // may change the capabilities of a namespace
constexpr uint32_t NIC = 1 << 3;         // may change which namespaces there are
constexpr uint32_t CCC = 1 << 4;         // may change the capabilities of the controller
constexpr uint32_t CSE_ALONE = 2 << 16;  // to be sent while no other command is outstanding

using D = Description;

// clang-format off
constexpr CommandRow COMMANDS[] = {
    // admin, opcode, run, supported, uses NSID, during sanitize, effects,
    //        defined bits of dwords 10 to 15
    {true, OPC_GET_LOG_PAGE, getLogPage, nullptr, true, true, CSUPP,
              {~0U, ~0U, ~0U, ~0U, 0x7F}},
    {true, OPC_IDENTIFY, identify, nullptr, true, true, CSUPP,
              {0xFFFF00FF, 0xFFFF, 0, 0, 0x7F}},
    {true, OPC_ABORT, abortCommand, nullptr, false, true, CSUPP,
              {~0U}},
    {true, OPC_SET_FEATURES, setFeatures, nullptr, true, true, CSUPP | NCC | CCC,
              {0x800000FF, ~0U, ~0U, ~0U, 0x7F, ~0U}},
    {true, OPC_GET_FEATURES, getFeatures, nullptr, true, true, CSUPP,
              {0x7FF, ~0U, 0, 0, 0x7F}},
    {true, OPC_ASYNCHRONOUS_EVENT_REQUEST, requestEvent, nullptr, false, true, CSUPP,
              {}},
    {true, OPC_NAMESPACE_MANAGEMENT, manageNamespace, &D::supportsNamespaceManagement, true, false, CSUPP | LBCC | NCC | NIC,
              {0xF, 0xFF000000}},
    {true, OPC_FIRMWARE_COMMIT, commitFirmware, &D::supportsFirmwareUpdate, false, false, CSUPP | CCC | CSE_ALONE,
              {0x8000003F}},
    {true, OPC_FIRMWARE_IMAGE_DOWNLOAD, downloadFirmware, &D::supportsFirmwareUpdate, false, false, CSUPP,
              {~0U, ~0U}},
    {true, OPC_DEVICE_SELF_TEST, deviceSelfTest, &D::supportsSelfTest, true, false, CSUPP,
              {0xF}},
    {true, OPC_NAMESPACE_ATTACHMENT, attachNamespace, &D::supportsNamespaceManagement, true, false, CSUPP | NIC,
              {0xF}},
    {true, OPC_KEEP_ALIVE, keepAlive, nullptr, false, true, CSUPP,
              {}},
    {true, OPC_FORMAT_NVM, formatNvm, &D::supportsFormat, true, false, CSUPP | LBCC | NCC | CSE_ALONE,
              {0xFFF}},
    {true, OPC_SANITIZE, sanitize, &D::supportsSanitize, false, false, CSUPP | LBCC | CSE_ALONE,
              {0x3FF, ~0U}},
    {true, OPC_VELKO_FORCE_FLUSH, forceFlush, nullptr, false, false, CSUPP,
              {0x1}},
    {false, OPC_FLUSH, flush, nullptr, true, false, CSUPP,
              {}},
    {false, OPC_WRITE, write, nullptr, true, false, CSUPP | LBCC,
              {~0U, ~0U, 0xFC00FFFF, 0xFF}},
    {false, OPC_READ, read, nullptr, true, false, CSUPP,
              {~0U, ~0U, 0xFC00FFFF, 0xFF}},
    {false, OPC_COMPARE, compare, nullptr, true, false, CSUPP,
              {~0U, ~0U, 0xFC00FFFF}},
    {false, OPC_WRITE_ZEROES, writeZeroes, nullptr, true, false, CSUPP | LBCC,
              {~0U, ~0U, 0xFE00FFFF}},
    {false, OPC_DATASET_MANAGEMENT, manageDataset, nullptr, true, false, CSUPP | LBCC,
              {0xFF, 0x7}},
};
// clang-format on

/// Force Flush is the maker's, and of the NVM commands these are optional.
bool isOfModel(const CommandRow& row, ModelId model) {
    if (row.isAdmin) return row.opcode != OPC_VELKO_FORCE_FLUSH || model == ModelId::VELKO;
    const bool isOptional =
        row.opcode == OPC_COMPARE || row.opcode == OPC_WRITE_ZEROES || row.opcode == OPC_DATASET_MANAGEMENT;
    return !isOptional || modelOf(model).hasOptions;
}

/// Whether all that the host set is defined; otherwise the place of the first bit that is not.
bool hasDefinedBitsAlone(const SubmissionEntry& command, const CommandRow& row, uint16_t& location) {
    const struct {
        uint16_t byte;
        uint32_t undefined;
    } DWORDS[] = {
        {4, row.usesNsid ? 0 : command.nsid},
        {8, command.cdw2},
        {12, command.cdw3},
        {40, command.cdw10 & ~row.bits.cdw10},
        {44, command.cdw11 & ~row.bits.cdw11},
        {48, command.cdw12 & ~row.bits.cdw12},
        {52, command.cdw13 & ~row.bits.cdw13},
        {56, command.cdw14 & ~row.bits.cdw14},
        {60, command.cdw15 & ~row.bits.cdw15},
    };
    for (const auto& dword : DWORDS) {
        if (dword.undefined == 0) continue;
        unsigned position = 0;
        while (!bit(dword.undefined, position)) ++position;
        location = static_cast<uint16_t>((dword.byte + position / 8) | position % 8 << 8);
        return false;
    }
    return true;
}

}  // namespace

const CommandRow* commandsBegin() {
    return std::begin(COMMANDS);
}
const CommandRow* commandsEnd() {
    return std::end(COMMANDS);
}

const CommandRow* findCommand(const Description& description, bool isAdmin, uint8_t opcode) {
    OSTREL_TRACE();
    for (const CommandRow& row : COMMANDS) {
        if (row.isAdmin != isAdmin || row.opcode != opcode) continue;
        if (!isOfModel(row, description.model)) return nullptr;
        return row.isSupported == nullptr || description.*row.isSupported ? &row : nullptr;
    }
    return nullptr;
}

CompletionEntry runCommand(CommandContext& context) {
    OSTREL_TRACE();
    const SubmissionEntry& command = context.command;
    const CommandRow* row = findCommand(context.description, command.isAdmin, command.opcode);
    if (row == nullptr) return refusal(SCT_GENERIC, SC_INVALID_OPCODE);
    if (context.state.sanitize.isRunning && !row->mayRunDuringSanitize) {
        return passingRefusal(SCT_GENERIC, SC_SANITIZE_IN_PROGRESS);
    }
    if (!hasDefinedBitsAlone(command, *row, context.parameterLocation)) return refusal(SCT_GENERIC, SC_INVALID_FIELD);
    return row->run(context);
}

}  // namespace features::simulator
