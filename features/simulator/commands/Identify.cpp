#include "features/simulator/commands/Identify.h"

#include <algorithm>
#include <array>
#include <string>

#include "features/nvme/Bytes.h"
#include "features/nvme/Identify.h"
#include "features/nvme/IdentifyCns.h"
#include "features/nvme/NamespaceIds.h"
#include "features/nvme/StatusCodes.h"
#include "features/nvme/structures/ControllerList.h"
#include "features/nvme/structures/IdentifyController.h"
#include "features/nvme/structures/IdentifyIndependentNamespace.h"
#include "features/nvme/structures/IdentifyNamespace.h"
#include "features/nvme/structures/IdentifyNvmController.h"
#include "features/nvme/structures/NamespaceGranularityList.h"
#include "features/nvme/structures/NamespaceIdentificationDescriptor.h"
#include "features/nvme/structures/UuidList.h"
#include "features/simulator/commands/Ana.h"
#include "features/simulator/commands/LbaFormats.h"
#include "features/simulator/context/ControllerIdentity.h"
#include "features/simulator/store/Namespaces.h"
#include "features/simulator/store/PaddedText.h"

namespace features::simulator {

using namespace nvme;

namespace {

/// Of the maker, who has no vendor specific log pages and features beside OCP's.
constexpr uint8_t MAKER_UUID[] = {0x5E, 0x1A, 0x09, 0xD2, 0x4B, 0x77, 0x4E, 0x3C,
                                  0x91, 0x0F, 0xC6, 0x2D, 0x38, 0xA4, 0x70, 0xBE};
/// Of the NVM command set.
constexpr uint32_t VERSION_OF_COMMAND_SET = 0x00010100;
/// The only one.
constexpr uint16_t ENDURANCE_GROUP = 1;
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

void putIdentity(const CommandContext& c, IdentifyController& id) {
    constexpr uint8_t IO_CONTROLLER = 1;
    id.vid = c.model.vendorId;
    id.ssvid = c.model.subsystemVendorId;
    putText(id.sn, c.description.serialNumber);
    putText(id.mn, c.description.shownModelNumber());
    putText(id.fr, c.state.firmware.running);
    id.rab = 2;
    id.ieee = c.model.oui;
    id.cmic = c.model.id == ModelId::VELKO ? 1 : 0;  // two ports, with a bridge between them
    id.mdts = c.description.maxTransferKib == 0 ? 0 : log2Of(c.description.maxTransferKib / PAGE_KIB);
    id.cntlid = c.controllerId;
    id.ver = c.model.nvmeVersion;
    id.rtd3r = 500000;
    id.rtd3e = 2000000;
    // Namespace attribute, firmware activation and telemetry notices.
    id.oaes = uint32_t{bitIf(c.description.supportsNamespaceManagement, 8)} |
              bitIf(c.description.supportsFirmwareUpdate, 9) | bitIf(c.description.supportsTelemetry, 10);
    // 128-bit host identifier, non-operational power state permissive mode, namespace granularity, UUID list.
    id.ctratt = uint32_t{bitIf(c.model.hasOptions, 0)} | bitIf(hasIdleStates(c.model), 1) |
                bitIf(c.description.supportsNamespaceManagement, 7) | bitIf(c.model.ocpUuidIndex != 0, 9);
    id.cntrltype = IO_CONTROLLER;
}

void putAdminCapabilities(const CommandContext& c, IdentifyController& id) {
    const Description& d = c.description;
    id.oacs = static_cast<uint16_t>(bitIf(d.supportsSecurity, 0) | bitIf(d.supportsFormat, 1) |
                                    bitIf(d.supportsFirmwareUpdate, 2) | bitIf(d.supportsNamespaceManagement, 3) |
                                    bitIf(d.supportsSelfTest, 4));
    id.acl = 3;
    id.aerl = EVENT_REQUEST_LIMIT_0BASED;
    id.frmw = static_cast<uint8_t>((c.model.isSlot1ReadOnly ? 1 : 0) | c.model.firmwareSlots << 1 |
                                   (c.model.activatesWithoutReset ? 1 << 4 : 0));
    // Command effects, extended data, telemetry, persistent event log, supported log pages (of NVMe 2.0).
    id.lpa = static_cast<uint8_t>((c.model.hasOptions ? 0x22 : 0) | bitIf(hasExtendedLogData(c), 2) |
                                  bitIf(d.supportsTelemetry, 3) | bitIf(d.supportsPersistentEventLog, 4));
    id.elpe = static_cast<uint8_t>(c.model.errorEntries - 1);
    id.npss = static_cast<uint8_t>(c.model.powerStateCount - 1);
    id.avscc = 1;
    id.apsta = hasIdleStates(c.model) ? 1 : 0;
    id.wctemp = static_cast<uint16_t>(c.model.warningKelvin);
    id.cctemp = static_cast<uint16_t>(c.model.criticalKelvin);
    id.mtfa = d.supportsFirmwareUpdate ? 50 : 0;  // 5 s
    id.fwug = d.supportsFirmwareUpdate ? 1 : 0;   // 4 KiB
    id.kas = 10;                                  // 1 s
    id.sanicap = d.supportsSanitize ? SANICAP : 0;
    id.pels = d.supportsPersistentEventLog ? PERSISTENT_EVENT_LOG_64KIB : 0;
}

void putOptionalCapabilities(const CommandContext& c, IdentifyController& id) {
    const Description& d = c.description;
    if (d.supportsNamespaceManagement) {
        id.tnvmcap = d.sizeBytes;
        id.unvmcap = unallocatedBytes(d, c.model, c.state);
    }
    if (d.supportsSelfTest) {
        id.edstt = static_cast<uint16_t>(std::min((d.extendedSelfTestSeconds + 59) / 60, 0xFFFFU));
        id.dsto = 1;  // one self-test at a time for the whole subsystem
    }
    if (c.model.hasOptions) {
        id.hctma = 1;
        id.mntmt = MIN_THERMAL_KELVIN;
        id.mxtmt = MAX_THERMAL_KELVIN;
    }
}

/// What NVMe 2.0 and 2.1 added: endurance groups, more LBA formats, Flexible Data Placement, telemetry data area 4,
/// media verification.
void putCapabilitiesOf21(const CommandContext& c, IdentifyController& id) {
    if (!isOfNvme21(c.model.id)) return;
    id.ctratt = id.ctratt | 1U << 4 | 1U << 15 | 1U << 19;
    id.endgidmax = ENDURANCE_GROUP;
    id.megcap = c.description.sizeBytes;
    if (c.description.supportsTelemetry) id.lpa |= 0x40;
    if (c.description.supportsSanitize) id.sanicap = id.sanicap | SANICAP_VERIFICATION;
}

void putNvmCapabilities(const CommandContext& c, IdentifyController& id) {
    id.sqes = 0x66;
    id.cqes = 0x44;
    id.maxcmd = 128;
    id.nn = c.description.maxNamespaces;
    id.oncs = c.model.hasOptions ? 0x5D : 0;  // compare, deallocate, write zeroes, saved features, timestamp
    id.fna = c.description.supportsFormat ? FORMAT_ATTRIBUTES : 0;
    id.vwc = c.model.hasOptions ? 0x07 : 0x06;  // there is one; Flush takes all namespaces
    id.nvscc = 1;
    id.nwpc = c.model.hasOptions ? 0x01 : 0;  // write protect
    id.mnan = c.description.maxNamespaces;
    const std::string name = subsystemName(c.description);
    std::copy(name.begin(), name.end(), id.subnqn.begin());
}

void putPowerStates(const Model& model, IdentifyController& id) {
    constexpr uint8_t NON_OPERATIONAL = 2;
    for (uint8_t i = 0; i < model.powerStateCount; ++i) {
        const PowerState& state = model.powerStates[i];
        PowerStateDescriptor& at = id.psd[i];
        at.mp = static_cast<uint16_t>(state.maximumCentiwatts);
        at.flags = state.isNonOperational ? NON_OPERATIONAL : 0;
        at.enlat = state.entryMicroseconds;
        at.exlat = state.exitMicroseconds;
        at.rrt = at.rrl = at.rwt = at.rwl = i;
    }
}

CompletionEntry identifyController(CommandContext& c) {
    c.data = controllerStructure(c);
    return {};
}

/// What all namespaces can be: also the answer for NSID FFFFFFFFh.
IdentifyNamespace commonNamespace(const CommandContext& c) {
    IdentifyNamespace id{};
    bool hasMetadata = false;
    const uint8_t formats = formatsForHost(c);
    for (size_t i = 0; i < formats; ++i) {
        const LbaFormat& format = c.model.formats[i];
        id.lbaf[i].ms = format.metadataBytes;
        id.lbaf[i].lbads = format.dataShift;
        id.lbaf[i].rp = format.performance;
        hasMetadata = hasMetadata || format.metadataBytes != 0;
    }
    id.nsfeat = 0x08;  // identifiers are never used again
    id.nlbaf = static_cast<uint8_t>(formats - 1);
    id.mc = hasMetadata ? 0x03 : 0;
    id.dlfeat = c.model.hasOptions ? 0x09 : 0x01;  // zeros; Write Zeroes may deallocate
    return id;
}

void putNamespace(const CommandContext& c, uint32_t nsid, const NamespaceState& part, std::vector<uint8_t>& data) {
    IdentifyNamespace id = commonNamespace(c);
    id.nsze = part.size;
    id.ncap = part.capacity;
    id.nuse = c.media.blocksInUse(nsid);
    id.flbas = flbasOf(part.format, part.extendedMetadata);
    id.endgid = isOfNvme21(c.model.id) ? ENDURANCE_GROUP : uint16_t{0};
    id.dps = part.protection;
    id.nmic = part.isShared ? 1 : 0;
    id.fpi = 0x80;  // a format leaves nothing to do when it completes
    id.nvmcap = allocatedBytes(c.model, part);
    id.nsattr = part.writeProtection != 0 ? 1 : 0;
    id.nguid = part.nguid;
    id.eui64 = part.eui64;
    putAnaGroup(c, nsid, id);
    data = bytesOf(id);
}

bool isBeyond(const CommandContext& c) {
    return c.command.nsid == 0 || c.command.nsid > c.description.maxNamespaces;
}

CompletionEntry identifyNamespace(CommandContext& c) {
    if (c.command.nsid == NSID_ALL && c.description.supportsNamespaceManagement) {
        c.data = bytesOf(commonNamespace(c));
        return {};
    }
    if (isBeyond(c)) return refusal(SC_INVALID_NAMESPACE);
    if (const auto* part = c.findAttached(c.command.nsid)) putNamespace(c, c.command.nsid, *part, c.data);
    return {};
}

CompletionEntry identifyAllocatedNamespace(CommandContext& c) {
    if (isBeyond(c)) return refusal(SC_INVALID_NAMESPACE);
    if (const auto* part = c.find(c.command.nsid)) putNamespace(c, c.command.nsid, *part, c.data);
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
        NamespaceIdentificationDescriptor head{};
        head.nidt = type;
        head.nidl = static_cast<uint8_t>(identifier.size());
        putStructure(at, head);
        at = std::copy(identifier.begin(), identifier.end(), at + sizeof head);
    };
    put(1, part->eui64);
    put(2, part->nguid);
    put(3, part->uuid);
    if (isOfNvme2(c.model)) put(4, std::array<uint8_t, 1>{CSI_NVM});
    return {};
}

/// The controllers of the drive, or those that a namespace is attached to, from the identifier CNTID on.
CompletionEntry putControllerList(CommandContext& c, const NamespaceState* part) {
    const uint32_t first = c.command.cdw10 >> 16;
    ControllerList list{};
    uint16_t count = 0;
    for (uint16_t id = 1; id <= c.description.controllerCount(); ++id) {
        if (id >= first && (part == nullptr || part->isAttachedTo(id))) list.identifiers[count++] = id;
    }
    list.count = count;
    putStructure(c.data.data(), list);
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
    NamespaceGranularityList list{};  // one descriptor, which holds for all formats
    list.descriptors[0].size = list.descriptors[0].capacity = ALLOCATION_BYTES;
    putStructure(c.data.data(), list);
    return {};
}

CompletionEntry listUuids(CommandContext& c) {
    constexpr uint8_t OF_PCI_VENDOR = 1;
    if (c.model.ocpUuidIndex == 0) return refusal(SC_INVALID_FIELD);
    UuidListEntry entry{};
    std::copy(std::begin(OCP_UUID), std::end(OCP_UUID), entry.uuid.begin());
    putStructure(c.data.data() + c.model.ocpUuidIndex * sizeof entry, entry);
    entry.header = OF_PCI_VENDOR;
    std::copy(std::begin(MAKER_UUID), std::end(MAKER_UUID), entry.uuid.begin());
    for (size_t index = 1; index < c.model.ocpUuidIndex; ++index)  // the first of the list has the index 1
        putStructure(c.data.data() + index * sizeof entry, entry);
    return {};
}

/// Zeros, of all formats and of what is not attached: guards of 16 bits, without storage tags.
CompletionEntry identifyNvmNamespace(CommandContext& c) {
    const bool isCommon = c.command.nsid == NSID_ALL && c.description.supportsNamespaceManagement;
    return isBeyond(c) && !isCommon ? refusal(SC_INVALID_NAMESPACE) : CompletionEntry{};
}

CompletionEntry identifyNvmController(CommandContext& c) {
    IdentifyNvmController id{};  // no limits
    id.ver = VERSION_OF_COMMAND_SET;
    putStructure(c.data.data(), id);
    return {};
}

CompletionEntry identifyIndependentNamespace(CommandContext& c) {
    constexpr uint8_t READY = 1;
    if (isBeyond(c)) return refusal(SC_INVALID_NAMESPACE);
    const NamespaceState* part = c.findAttached(c.command.nsid);
    if (part == nullptr) return {};
    std::vector<uint8_t> bytes;
    putNamespace(c, c.command.nsid, *part, bytes);
    const auto common = structureAt<IdentifyNamespace>(bytes.data());
    IdentifyIndependentNamespace id{};
    id.nsfeat = common.nsfeat;
    id.nmic = common.nmic;
    id.fpi = common.fpi;
    id.anagrpid = common.anagrpid;
    id.nsattr = common.nsattr;
    id.endgid = common.endgid;
    id.nstat = READY;
    putStructure(c.data.data(), id);
    return {};
}

/// From the identifier in dword 11 on.
CompletionEntry listEnduranceGroups(CommandContext& c) {
    if (!isOfNvme21(c.model.id)) return refusal(SC_INVALID_FIELD);
    if (c.command.cdw11 > ENDURANCE_GROUP) return {};
    putLe16(c.data.data(), 1);
    putLe16(c.data.data() + 2, ENDURANCE_GROUP);
    return {};
}

/// The NVM command set alone.
CompletionEntry listCommandSets(CommandContext& c) {
    c.data[0] = 1U << CSI_NVM;
    return {};
}

struct CnsRow {
    uint8_t cns;
    CompletionEntry (*run)(CommandContext& context);
    bool usesNsid;
    bool usesControllerId;
    bool ofNamespaceManagement;
    bool ofNvme2 = false;
    bool usesIdentifier = false;  ///< CNS Specific Identifier in dword 11
};
// clang-format off
constexpr CnsRow STRUCTURES[] = {
    {CNS_NAMESPACE,             identifyNamespace,          true,  false, false},
    {CNS_CONTROLLER,            identifyController,         false, false, false},
    {CNS_ACTIVE_NAMESPACES,     listActive,                 true,  false, false},
    {CNS_NAMESPACE_DESCRIPTORS, identifyDescriptors,        true,  false, false},
    {CNS_COMMAND_SET_NAMESPACE, identifyNvmNamespace,       true,  false, false, true},
    {CNS_COMMAND_SET_CONTROLLER, identifyNvmController,     false, false, false, true},
    {CNS_INDEPENDENT_NAMESPACE, identifyIndependentNamespace, true, false, false, true},
    {CNS_ALLOCATED_NAMESPACES,  listAllocated,              true,  false, true},
    {CNS_ALLOCATED_NAMESPACE,   identifyAllocatedNamespace, true,  false, true},
    {CNS_NAMESPACE_CONTROLLERS, listControllersOfNamespace, true,  true,  true},
    {CNS_CONTROLLERS,           listControllers,            false, true,  true},
    {CNS_GRANULARITIES,         listGranularities,          false, false, true},
    {CNS_UUID_LIST,             listUuids,                  false, false, false},
    {CNS_ENDURANCE_GROUP_LIST,  listEnduranceGroups,        false, false, false, true, true},
    {CNS_COMMAND_SET_COMBINATIONS, listCommandSets,         false, true,  false, true},
};
// clang-format on

}  // namespace

std::vector<uint8_t> controllerStructure(const CommandContext& context) {
    IdentifyController identify{};
    putIdentity(context, identify);
    putAdminCapabilities(context, identify);
    putOptionalCapabilities(context, identify);
    putCapabilitiesOf21(context, identify);
    putNvmCapabilities(context, identify);
    putPowerStates(context.model, identify);
    putAnaCapabilities(context, identify);
    return bytesOf(identify);
}

CompletionEntry identify(CommandContext& context) {
    const SubmissionEntry& command = context.command;
    for (const CnsRow& row : STRUCTURES) {
        if (row.cns != (command.cdw10 & 0xFF)) continue;
        if (row.ofNamespaceManagement && !context.description.supportsNamespaceManagement) break;
        if (row.ofNvme2 && !isOfNvme2(context.model)) break;
        if (!row.usesNsid && command.nsid != 0) break;
        if (!row.usesControllerId && command.cdw10 >> 16 != 0) break;
        if (!row.usesIdentifier && command.cdw11 != 0) break;
        if (command.cdw14 != 0) break;  // UUID Index: of other structures
        context.data.assign(IDENTIFY_BYTES, 0);
        return row.run(context);
    }
    return refusal(SC_INVALID_FIELD);
}

}  // namespace features::simulator
