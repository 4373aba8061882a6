#include "features/simulator/commands/Identify.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "features/nvme/Bytes.h"
#include "features/nvme/Identify.h"
#include "features/nvme/IdentifyCns.h"
#include "features/nvme/NamespaceIds.h"
#include "features/nvme/StatusCodes.h"
#include "features/simulator/commands/Ana.h"
#include "features/simulator/context/ControllerIdentity.h"
#include "features/simulator/store/Namespaces.h"
#include "features/simulator/store/PaddedText.h"

namespace features::simulator {

using namespace nvme;

namespace {

constexpr uint32_t VERSION_1_4 = 0x00010400;
constexpr uint64_t PAGE_KIB = 4;

uint8_t log2Of(uint64_t number) {
    uint8_t power = 0;
    while (number > 1) {
        number >>= 1;
        ++power;
    }
    return power;
}

uint16_t bitIf(bool condition, unsigned position) {
    return static_cast<uint16_t>(condition ? 1 << position : 0);
}

void putIdentity(const CommandContext& c, uint8_t* at) {  // bytes 0 to 255
    putLe16(at, c.model.vendorId);
    putLe16(at + 2, c.model.subsystemVendorId);
    putText(at + 4, 20, c.description.serialNumber);
    putText(at + 24, 40, c.description.shownModelNumber());
    putText(at + 64, 8, c.state.firmware.running);
    at[72] = 2;  // RAB
    at[73] = static_cast<uint8_t>(c.model.oui);
    at[74] = static_cast<uint8_t>(c.model.oui >> 8);
    at[75] = static_cast<uint8_t>(c.model.oui >> 16);
    at[76] = c.model.id == ModelId::VELKO ? 1 : 0;  // CMIC: two ports, with a bridge between them
    at[77] = c.description.maxTransferKib == 0 ? 0 : log2Of(c.description.maxTransferKib / PAGE_KIB);
    putLe16(at + 78, c.controllerId);
    putLe32(at + 80, VERSION_1_4);
    putLe32(at + 84, 500000);   // RTD3R
    putLe32(at + 88, 2000000);  // RTD3E
    // OAES: namespace attribute, firmware activation and telemetry notices.
    putLe32(at + 92, bitIf(c.description.supportsNamespaceManagement, 8) |
                         bitIf(c.description.supportsFirmwareUpdate, 9) | bitIf(c.description.supportsTelemetry, 10));
    // CTRATT: 128-bit host identifier, non-operational power state permissive mode, namespace granularity, UUID list.
    putLe32(at + 96, bitIf(c.model.hasOptions, 0) | bitIf(hasIdleStates(c.model), 1) |
                         bitIf(c.description.supportsNamespaceManagement, 7) | bitIf(c.model.id == ModelId::OCP, 9));
    at[111] = 1;  // CNTRLTYPE: I/O controller
}

void putAdminCapabilities(const CommandContext& c, uint8_t* at) {  // bytes 256 to 511
    const Description& d = c.description;
    putLe16(at + 256, static_cast<uint16_t>(bitIf(d.supportsFormat, 1) | bitIf(d.supportsFirmwareUpdate, 2) |
                                            bitIf(d.supportsNamespaceManagement, 3) | bitIf(d.supportsSelfTest, 4)));
    at[258] = 3;  // ACL
    at[259] = EVENT_REQUEST_LIMIT_0BASED;
    at[260] = static_cast<uint8_t>((c.model.isSlot1ReadOnly ? 1 : 0) | c.model.firmwareSlots << 1 |
                                   (c.model.activatesWithoutReset ? 1 << 4 : 0));
    // LPA: command effects, extended data, telemetry, persistent event log, supported log pages (of NVMe 2.0).
    at[261] = static_cast<uint8_t>((c.model.hasOptions ? 0x22 : 0) | bitIf(hasExtendedLogData(c), 2) |
                                   bitIf(d.supportsTelemetry, 3) | bitIf(d.supportsPersistentEventLog, 4));
    at[262] = static_cast<uint8_t>(c.model.errorEntries - 1);
    at[263] = static_cast<uint8_t>(c.model.powerStateCount - 1);
    at[264] = 1;                               // AVSCC
    at[265] = hasIdleStates(c.model) ? 1 : 0;  // APSTA
    putLe16(at + 266, static_cast<uint16_t>(c.model.warningKelvin));
    putLe16(at + 268, static_cast<uint16_t>(c.model.criticalKelvin));
    putLe16(at + 270, d.supportsFirmwareUpdate ? 50 : 0);  // MTFA: 5 s
    if (d.supportsNamespaceManagement) {
        putLe64(at + 280, d.sizeBytes);
        putLe64(at + 296, unallocatedBytes(d, c.model, c.state));
    }
    if (d.supportsSelfTest) {
        putLe16(at + 316, static_cast<uint16_t>(std::min((d.extendedSelfTestSeconds + 59) / 60, 0xFFFFU)));
        at[318] = 1;  // DSTO: one self-test at a time for the whole subsystem
    }
    at[319] = d.supportsFirmwareUpdate ? 1 : 0;  // FWUG: 4 KiB
    putLe16(at + 320, 10);                       // KAS: 1 s
    if (c.model.hasOptions) {
        putLe16(at + 322, 1);  // HCTMA
        putLe16(at + 324, MIN_THERMAL_KELVIN);
        putLe16(at + 326, MAX_THERMAL_KELVIN);
    }
    putLe32(at + 328, d.supportsSanitize ? SANICAP : 0);
    putLe32(at + 352, d.supportsPersistentEventLog ? PERSISTENT_EVENT_LOG_64KIB : 0);
}

void putNvmCapabilities(const CommandContext& c, uint8_t* at) {  // bytes 512 to 2047
    at[512] = 0x66;                                              // SQES
    at[513] = 0x44;                                              // CQES
    putLe16(at + 514, 128);                                      // MAXCMD
    putLe32(at + 516, c.description.maxNamespaces);
    // ONCS: compare, deallocate, write zeroes, saved features, timestamp.
    putLe16(at + 520, c.model.hasOptions ? 0x5D : 0);
    at[524] = c.description.supportsFormat ? FORMAT_ATTRIBUTES : 0;
    at[525] = c.model.hasOptions ? 0x07 : 0x06;  // VWC: there is one; Flush takes all namespaces
    at[530] = 1;                                 // NVSCC
    at[531] = c.model.hasOptions ? 0x01 : 0;     // NWPC: write protect
    putLe32(at + 540, c.description.maxNamespaces);
    const std::string name = subsystemName(c.description);
    std::copy(name.begin(), name.end(), at + 768);
}

void putPowerStates(const Model& model, uint8_t* at) {
    for (unsigned i = 0; i < model.powerStateCount; ++i, at += 32) {
        const PowerState& state = model.powerStates[i];
        putLe16(at, static_cast<uint16_t>(state.maximumCentiwatts));
        at[3] = state.isNonOperational ? 2 : 0;
        putLe32(at + 4, state.entryMicroseconds);
        putLe32(at + 8, state.exitMicroseconds);
        at[12] = at[13] = at[14] = at[15] = static_cast<uint8_t>(i);
    }
}

CompletionEntry identifyController(CommandContext& c) {
    c.data = controllerStructure(c);
    return {};
}

/// What all namespaces can be: also the answer for NSID FFFFFFFFh.
void putCommonNamespace(const CommandContext& c, uint8_t* at) {
    bool hasMetadata = false;
    for (size_t i = 0; i < c.model.formatCount; ++i) {
        const LbaFormat& format = c.model.formats[i];
        putLe16(at + 128 + 4 * i, format.metadataBytes);
        at[128 + 4 * i + 2] = format.dataShift;
        at[128 + 4 * i + 3] = format.performance;
        hasMetadata = hasMetadata || format.metadataBytes != 0;
    }
    at[24] = 0x08;                                           // NSFEAT: identifiers are never used again
    at[25] = static_cast<uint8_t>(c.model.formatCount - 1);  // NLBAF
    at[27] = hasMetadata ? 0x03 : 0;                         // MC
    at[33] = c.model.hasOptions ? 0x09 : 0x01;               // DLFEAT: zeros; Write Zeroes may deallocate
}

void putNamespace(const CommandContext& c, uint32_t nsid, const NamespaceState& part, uint8_t* at) {
    putCommonNamespace(c, at);
    putLe64(at, part.size);
    putLe64(at + 8, part.capacity);
    putLe64(at + 16, c.media.blocksInUse(nsid));
    at[26] = static_cast<uint8_t>(part.format | (part.extendedMetadata ? 0x10 : 0));
    at[29] = part.protection;
    at[30] = part.isShared ? 1 : 0;
    at[32] = 0x80;  // FPI: a format leaves nothing to do when it completes
    putLe64(at + 48, allocatedBytes(c.model, part));
    at[99] = part.writeProtection != 0 ? 1 : 0;
    std::copy(part.nguid.begin(), part.nguid.end(), at + 104);
    std::copy(part.eui64.begin(), part.eui64.end(), at + 120);
    putAnaGroup(c, nsid, at);
}

bool isBeyond(const CommandContext& c) {
    return c.command.nsid == 0 || c.command.nsid > c.description.maxNamespaces;
}

CompletionEntry identifyNamespace(CommandContext& c) {
    if (c.command.nsid == NSID_ALL && c.description.supportsNamespaceManagement) {
        putCommonNamespace(c, c.data.data());
        return {};
    }
    if (isBeyond(c)) return refusal(SC_INVALID_NAMESPACE);
    if (const auto* part = c.findAttached(c.command.nsid)) putNamespace(c, c.command.nsid, *part, c.data.data());
    return {};
}

CompletionEntry identifyAllocatedNamespace(CommandContext& c) {
    if (isBeyond(c)) return refusal(SC_INVALID_NAMESPACE);
    if (const auto* part = c.find(c.command.nsid)) putNamespace(c, c.command.nsid, *part, c.data.data());
    return {};
}

CompletionEntry listNamespaces(CommandContext& c, bool attachedAlone) {
    constexpr uint32_t FIRST_RESERVED = 0xFFFFFFFE;
    if (c.command.nsid >= FIRST_RESERVED) return refusal(SC_INVALID_NAMESPACE);
    size_t at = 0;
    for (const auto& [nsid, part] : c.state.namespaces) {
        if (nsid <= c.command.nsid || (attachedAlone && !part.isAttachedTo(c.controllerId)) || at == IDENTIFY_BYTES)
            continue;
        putLe32(c.data.data() + at, nsid);
        at += 4;
    }
    return {};
}

CompletionEntry listActive(CommandContext& c) {
    return listNamespaces(c, true);
}
CompletionEntry listAllocated(CommandContext& c) {
    return listNamespaces(c, false);
}

CompletionEntry identifyDescriptors(CommandContext& c) {
    const NamespaceState* part = c.findAttached(c.command.nsid);
    if (part == nullptr) return refusal(SC_INVALID_NAMESPACE);
    uint8_t* at = c.data.data();
    const auto put = [&at](uint8_t type, const auto& identifier) {
        at[0] = type;
        at[1] = static_cast<uint8_t>(identifier.size());
        std::copy(identifier.begin(), identifier.end(), at + 4);
        at += 4 + identifier.size();
    };
    put(1, part->eui64);
    put(2, part->nguid);
    put(3, part->uuid);
    return {};
}

/// The controllers of the drive, or those that a namespace is attached to, from the identifier CNTID on.
CompletionEntry putControllerList(CommandContext& c, const NamespaceState* part) {
    const uint32_t first = c.command.cdw10 >> 16;
    uint16_t count = 0;
    for (uint16_t id = 1; id <= c.description.controllerCount(); ++id) {
        if (id >= first && (part == nullptr || part->isAttachedTo(id))) putLe16(c.data.data() + 2 * ++count, id);
    }
    putLe16(c.data.data(), count);
    return {};
}

CompletionEntry listControllersOfNamespace(CommandContext& c) {
    if (isBeyond(c)) return refusal(SC_INVALID_NAMESPACE);
    const NamespaceState* part = c.find(c.command.nsid);
    return part == nullptr ? CompletionEntry{} : putControllerList(c, part);
}

CompletionEntry listControllers(CommandContext& c) {
    return putControllerList(c, nullptr);
}

CompletionEntry listGranularities(CommandContext& c) {
    putLe64(c.data.data() + 32, ALLOCATION_BYTES);  // one descriptor, which holds for all formats
    putLe64(c.data.data() + 40, ALLOCATION_BYTES);
    return {};
}

CompletionEntry listUuids(CommandContext& c) {
    if (c.model.id != ModelId::OCP) return refusal(SC_INVALID_FIELD);
    std::copy(std::begin(OCP_UUID), std::end(OCP_UUID), c.data.data() + 32 + 16);
    return {};
}

struct CnsRow {
    uint8_t cns;
    CompletionEntry (*run)(CommandContext& context);
    bool usesNsid;
    bool usesControllerId;
    bool ofNamespaceManagement;
};
// clang-format off
constexpr CnsRow STRUCTURES[] = {
    {CNS_NAMESPACE,             identifyNamespace,          true,  false, false},
    {CNS_CONTROLLER,            identifyController,         false, false, false},
    {CNS_ACTIVE_NAMESPACES,     listActive,                 true,  false, false},
    {CNS_NAMESPACE_DESCRIPTORS, identifyDescriptors,        true,  false, false},
    {CNS_ALLOCATED_NAMESPACES,  listAllocated,              true,  false, true},
    {CNS_ALLOCATED_NAMESPACE,   identifyAllocatedNamespace, true,  false, true},
    {CNS_NAMESPACE_CONTROLLERS, listControllersOfNamespace, true,  true,  true},
    {CNS_CONTROLLERS,           listControllers,            false, true,  true},
    {CNS_GRANULARITIES,         listGranularities,          false, false, true},
    {CNS_UUID_LIST,             listUuids,                  false, false, false},
};
// clang-format on

}  // namespace

std::vector<uint8_t> controllerStructure(const CommandContext& context) {
    std::vector<uint8_t> bytes(IDENTIFY_BYTES);
    putIdentity(context, bytes.data());
    putAdminCapabilities(context, bytes.data());
    putNvmCapabilities(context, bytes.data());
    putPowerStates(context.model, bytes.data() + 2048);
    putAnaCapabilities(context, bytes.data());
    return bytes;
}

CompletionEntry identify(CommandContext& context) {
    const SubmissionEntry& command = context.command;
    for (const CnsRow& row : STRUCTURES) {
        if (row.cns != (command.cdw10 & 0xFF)) continue;
        if (row.ofNamespaceManagement && !context.description.supportsNamespaceManagement) break;
        if (!row.usesNsid && command.nsid != 0) break;
        if (!row.usesControllerId && command.cdw10 >> 16 != 0) break;
        if (command.cdw11 != 0 || command.cdw14 != 0) break;  // NVM Set and UUID Index: of other structures
        context.data.assign(IDENTIFY_BYTES, 0);
        return row.run(context);
    }
    return refusal(SC_INVALID_FIELD);
}

}  // namespace features::simulator
