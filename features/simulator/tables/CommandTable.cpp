#include "features/simulator/tables/CommandTable.h"

#include <cstddef>

#include "features/nvme/Opcodes.h"
#include "features/nvme/VelkoInterface.h"
#include "features/simulator/commands/EventCommands.h"
#include "features/simulator/commands/Features.h"
#include "features/simulator/commands/Firmware.h"
#include "features/simulator/commands/Identify.h"
#include "features/simulator/commands/LogPages.h"
#include "features/simulator/commands/NamespaceCommands.h"
#include "features/simulator/commands/NvmCommands.h"
#include "features/simulator/commands/Sanitize.h"
#include "features/simulator/commands/Security.h"
#include "features/simulator/commands/SelfTest.h"
#include "features/simulator/models/velko/VelkoFlush.h"

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

bool isVelko(ModelId model) {
    return model == ModelId::VELKO;
}
bool isBeforeNvme21(ModelId model) {
    return !isOfNvme21(model);
}
bool hasOptions(ModelId model) {
    return modelOf(model).hasOptions;
}

using D = Description;
constexpr std::nullptr_t null = nullptr;

// clang-format off
constexpr CommandRow COMMANDS[] = {
    // admin, opcode, run, supported, of model, uses NSID, during sanitize, effects,
    //        defined bits of dwords 10 to 15
    {true, OPC_GET_LOG_PAGE, getLogPage, null, null, true, true, CSUPP,
              {~0U, ~0U, ~0U, ~0U, 0x7F}},
    {true, OPC_IDENTIFY, identify, null, null, true, true, CSUPP,
              {0xFFFF00FF, 0xFFFF, 0, 0, 0x7F}},
    {true, OPC_ABORT, abortCommand, null, null, false, true, CSUPP,
              {~0U}},
    {true, OPC_SET_FEATURES, setFeatures, null, null, true, true, CSUPP | NCC | CCC,
              {0x800000FF, ~0U, ~0U, ~0U, 0x7F, ~0U}},
    {true, OPC_GET_FEATURES, getFeatures, null, null, true, true, CSUPP,
              {0x7FF, ~0U, 0, 0, 0x7F}},
    {true, OPC_ASYNCHRONOUS_EVENT_REQUEST, requestEvent, null, null, false, true, CSUPP,
              {}},
    {true, OPC_NAMESPACE_MANAGEMENT, manageNamespace, &D::supportsNamespaceManagement, null, true, false, CSUPP | LBCC | NCC | NIC,
              {0xF, 0xFF000000}},
    {true, OPC_FIRMWARE_COMMIT, commitFirmware, &D::supportsFirmwareUpdate, null, false, false, CSUPP | CCC | CSE_ALONE,
              {0x8000003F}},
    {true, OPC_FIRMWARE_IMAGE_DOWNLOAD, downloadFirmware, &D::supportsFirmwareUpdate, null, false, false, CSUPP,
              {~0U, ~0U}},
    {true, OPC_DEVICE_SELF_TEST, deviceSelfTest, &D::supportsSelfTest, null, true, false, CSUPP,
              {0xF}},
    {true, OPC_NAMESPACE_ATTACHMENT, attachNamespace, &D::supportsNamespaceManagement, null, true, false, CSUPP | NIC,
              {0xF}},
    {true, OPC_KEEP_ALIVE, keepAlive, null, null, false, true, CSUPP,
              {}},
    {true, OPC_FORMAT_NVM, formatNvm, &D::supportsFormat, isBeforeNvme21, true, false, CSUPP | LBCC | NCC | CSE_ALONE,
              {0xFFF}},
    {true, OPC_FORMAT_NVM, formatNvm, &D::supportsFormat, isOfNvme21, true, false, CSUPP | LBCC | NCC | CSE_ALONE,
              {0x3FFF}},
    // NVMe leaves the namespace of a security protocol to that protocol; TCG's Level 0 Discovery has none.
    {true, OPC_SECURITY_RECEIVE, securityReceive, &D::supportsSecurity, null, true, true, CSUPP,
              {0xFFFFFF00, ~0U}},
    {true, OPC_SANITIZE, sanitize, &D::supportsSanitize, isBeforeNvme21, false, false, CSUPP | LBCC | CSE_ALONE,
              {0x3FF, ~0U}},
    // It leaves the Media Verification state, too.
    {true, OPC_SANITIZE, sanitize, &D::supportsSanitize, isOfNvme21, false, true, CSUPP | LBCC | CSE_ALONE,
              {0x7FF, ~0U}},
    {true, OPC_VELKO_FORCE_FLUSH, forceFlush, null, isVelko, false, false, CSUPP,
              {0x1}},
    {false, OPC_FLUSH, flush, null, null, true, false, CSUPP,
              {}},
    {false, OPC_WRITE, write, null, null, true, false, CSUPP | LBCC,
              {~0U, ~0U, 0xFC00FFFF, 0xFF}},
    {false, OPC_READ, read, null, null, true, false, CSUPP,
              {~0U, ~0U, 0xFC00FFFF, 0xFF}},
    {false, OPC_COMPARE, compare, null, hasOptions, true, false, CSUPP,
              {~0U, ~0U, 0xFC00FFFF}},
    {false, OPC_WRITE_ZEROES, writeZeroes, null, hasOptions, true, false, CSUPP | LBCC,
              {~0U, ~0U, 0xFE00FFFF}},
    {false, OPC_DATASET_MANAGEMENT, manageDataset, null, hasOptions, true, false, CSUPP | LBCC,
              {0xFF, 0x7}},
};
// clang-format on

}  // namespace

Rows<CommandRow> allCommands() {
    return COMMANDS;
}

}  // namespace features::simulator
