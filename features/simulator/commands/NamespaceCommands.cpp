#include "features/simulator/commands/NamespaceCommands.h"

#include <algorithm>

#include "features/nvme/Bytes.h"
#include "features/nvme/NamespaceIds.h"
#include "features/nvme/StatusCodes.h"
#include "features/nvme/structures/IdentifyNamespace.h"
#include "features/simulator/commands/LbaFormats.h"
#include "features/simulator/commands/SelfTest.h"
#include "features/simulator/context/AsyncEvents.h"
#include "features/simulator/context/ControllerIdentity.h"
#include "features/simulator/context/EventQueue.h"
#include "features/simulator/context/Transfer.h"
#include "features/simulator/store/Namespaces.h"

namespace features::simulator {

using namespace nvme;

namespace {

constexpr uint32_t DATA_BYTES = sizeof(IdentifyNamespace);
constexpr uint8_t FLBAS_EXTENDED = 0x10;
constexpr uint8_t NMIC_SHARED = 0x01;

/// A field of the host's data structure; what lies between them is reserved.
struct HostField {
    size_t offset;
    size_t width;
};
constexpr HostField CREATE_FIELDS[] = {
    {FIELD(IdentifyNamespace, nsze)}, {FIELD(IdentifyNamespace, ncap)}, {FIELD(IdentifyNamespace, flbas)},
    {FIELD(IdentifyNamespace, dps)},  {FIELD(IdentifyNamespace, nmic)},
};

bool isRestZero(const std::vector<uint8_t>& data) {
    for (size_t at = 0; at < DATA_BYTES; ++at) {
        const bool isField =
            std::any_of(std::begin(CREATE_FIELDS), std::end(CREATE_FIELDS),
                        [at](const HostField& field) { return at >= field.offset && at < field.offset + field.width; });
        if (!isField && data[at] != 0) return false;
    }
    return true;
}

CompletionEntry readRequest(const CommandContext& context, NamespaceState& part) {
    const auto wanted = structureAt<IdentifyNamespace>(context.data.data());
    part.size = wanted.nsze;
    part.capacity = wanted.ncap;
    part.format = formatOfFlbas(wanted.flbas);
    part.extendedMetadata = (wanted.flbas & FLBAS_EXTENDED) != 0;
    part.isShared = (wanted.nmic & NMIC_SHARED) != 0;
    const uint8_t reservedOfFlbas = isOfNvme21(context.model.id) ? 0x80 : 0xE0;
    const bool hasReservedBits =
        (wanted.flbas & reservedOfFlbas) != 0 || (wanted.nmic & ~NMIC_SHARED) != 0 || (wanted.dps & 0xF0) != 0;
    if (hasReservedBits || !isRestZero(context.data) || part.size == 0 || part.capacity > part.size) {
        return refusal(SC_INVALID_FIELD);
    }
    if (part.format >= formatsForHost(context) || (wanted.dps & 7) != 0) {
        return refusal(SC_INVALID_FORMAT);
    }
    if (part.capacity != part.size) return refusal(SC_THIN_PROVISIONING_NOT_SUPPORTED);
    // More blocks than bytes can count are more than any drive has.
    const uint64_t unallocated = unallocatedBytes(context.description, context.model, context.state);
    const bool fits = part.size <= unallocated >> context.formatOf(part).dataShift &&
                      allocatedBytes(context.model, part) <= unallocated;
    return fits ? CompletionEntry{} : refusal(SC_NAMESPACE_INSUFFICIENT_CAPACITY);
}

void queueNamespaceChange(CommandContext& context, uint32_t nsid) {
    DriveEvent change{DriveEvent::Kind::NAMESPACE_CHANGE, nsid};
    if (const NamespaceState* ns = context.find(nsid)) change.ns = *ns;
    change.value = context.command.cdw10;
    queueEvent(context, std::move(change));
}

CompletionEntry createNamespace(CommandContext& context) {
    if (context.command.nsid != 0) return refusal(SC_INVALID_FIELD);
    if (!hasData(context, DATA_BYTES)) return dataTransferError();
    NamespaceState part;
    CompletionEntry completion = readRequest(context, part);
    if (!completion.isSuccess()) return completion;
    uint32_t nsid = 1;
    while (context.find(nsid) != nullptr) ++nsid;
    if (nsid > context.description.maxNamespaces) {
        return refusal(SC_NAMESPACE_IDENTIFIER_UNAVAILABLE);
    }
    part.mediaGeneration = context.state.nextMediaGeneration++;
    nameNamespace(context.description, context.model, context.state, part);
    context.state.namespaces[nsid] = part;
    queueNamespaceChange(context, nsid);
    completion.dword0 = nsid;
    return completion;
}

void forgetFeaturesOf(FeatureState& features, uint32_t nsid) {
    for (auto* values : {&features.current, &features.saved}) {
        for (auto value = values->begin(); value != values->end();) {
            value = value->first.nsid == nsid ? values->erase(value) : std::next(value);
        }
    }
}

void removeNamespace(CommandContext& context, uint32_t nsid) {
    const NamespaceState part = context.state.namespaces.at(nsid);
    context.state.namespaces.erase(nsid);
    context.asEachController([&] {
        if (part.isAttachedTo(context.controllerId)) noteNamespaceChange(context, nsid);
        forgetFeaturesOf(context.state.features, nsid);
    });
    const std::string media = DriveFolder::mediaName(nsid, part.mediaGeneration);
    context.afterSave.push_back([&store = context.media, media] { store.forget(media); });
}

CompletionEntry deleteNamespace(CommandContext& context) {
    const uint32_t nsid = context.command.nsid;
    if (nsid != NSID_ALL && context.find(nsid) == nullptr) return refusal(SC_INVALID_NAMESPACE);
    std::vector<uint32_t> nsids;
    for (const auto& [id, part] : context.state.namespaces) {
        if (nsid != NSID_ALL && nsid != id) continue;
        if (part.writeProtection != 0) return refusal(SC_NAMESPACE_WRITE_PROTECTED);
        nsids.push_back(id);
    }
    queueNamespaceChange(context, nsid);
    for (const uint32_t id : nsids) {
        abortSelfTestOf(context, id);
        removeNamespace(context, id);
    }
    return {};
}

/// The Controller List of the data as bits, as NamespaceState has them; 0: it is none, or names an unknown controller.
uint8_t controllersIn(const CommandContext& context) {
    const uint16_t count = le16(context.data.data());
    if (count > context.description.controllerCount()) return 0;
    unsigned bits = 0;
    uint16_t before = 0;
    for (size_t i = 1; i <= count; ++i) {
        const uint16_t id = le16(context.data.data() + 2 * i);
        if (id <= before || id > context.description.controllerCount()) return 0;
        bits |= 1U << (id - 1);
        before = id;
    }
    return static_cast<uint8_t>(bits);
}

/// `controllers`: those that it is to be attached to.
CompletionEntry checkAttachment(const NamespaceState& part, uint8_t controllers) {
    constexpr uint8_t BOTH = (1 << MAX_CONTROLLERS) - 1;
    if ((part.controllers & controllers) != 0) return refusal(SC_NAMESPACE_ALREADY_ATTACHED);
    const bool areSeveral = (part.controllers | controllers) == BOTH;
    return areSeveral && !part.isShared ? refusal(SC_NAMESPACE_IS_PRIVATE) : CompletionEntry{};
}

CompletionEntry checkDetachment(const NamespaceState& part, uint8_t controllers) {
    return (part.controllers & controllers) == controllers ? CompletionEntry{} : refusal(SC_NAMESPACE_NOT_ATTACHED);
}

/// Of Format NVM: its low four bits, and since NVMe 2.0 two above.
uint8_t formatOf(const SubmissionEntry& command) {
    return static_cast<uint8_t>((command.cdw10 & 0x0F) | (command.cdw10 >> 12 & 3) << 4);
}

CompletionEntry checkFormat(const CommandContext& context, uint32_t nsid) {
    const uint8_t format = formatOf(context.command);
    const uint32_t protection = context.command.cdw10 >> 5 & 7;  // where it lies (PIL) does not count without any
    const uint32_t erase = context.command.cdw10 >> 9 & 7;
    if (erase > 2) return refusal(SC_INVALID_FIELD);
    if (format >= formatsForHost(context) || protection != 0) return refusal(SC_INVALID_FORMAT);
    if (nsid != NSID_ALL && context.findAttached(nsid) == nullptr) return refusal(SC_INVALID_NAMESPACE);
    for (const auto& [id, part] : context.state.namespaces) {
        const bool isReached = part.isAttachedTo(context.controllerId) && (nsid == NSID_ALL || nsid == id);
        if (isReached && part.writeProtection != 0) return refusal(SC_NAMESPACE_WRITE_PROTECTED);
    }
    return {};
}

/// The bytes stay as many as they are; the blocks change.
void formatNamespace(CommandContext& context, uint32_t nsid) {
    NamespaceState& part = context.state.namespaces.at(nsid);
    const uint8_t format = formatOf(context.command);
    const uint64_t bytes = part.size << context.formatOf(part).dataShift;
    part.format = format;
    part.extendedMetadata = bit(context.command.cdw10, 4);
    part.size = part.capacity = bytes >> context.formatOf(part).dataShift;
    renewMedia(context, nsid);
    // The host knows of its own command, and not of another's.
    const uint16_t own = context.controllerId;
    context.asEachController([&] {
        if (context.controllerId != own && part.isAttachedTo(context.controllerId)) noteNamespaceChange(context, nsid);
    });
}

}  // namespace

void noteNamespaceChange(CommandContext& context, uint32_t nsid) {
    auto& changed = context.state.events.changedNamespaces;
    const auto place = std::lower_bound(changed.begin(), changed.end(), nsid);
    if (place == changed.end() || *place != nsid) changed.insert(place, nsid);
    raiseEvent(context, EventKind::NAMESPACES);
}

void renewMedia(CommandContext& context, uint32_t nsid) {
    NamespaceState& part = context.state.namespaces.at(nsid);
    const std::string old = DriveFolder::mediaName(nsid, part.mediaGeneration);
    context.afterSave.push_back([&store = context.media, old] { store.forget(old); });
    part.mediaGeneration = context.state.nextMediaGeneration++;
}

CompletionEntry manageNamespace(CommandContext& context) {
    constexpr uint32_t SELECT_CREATE = 0;
    constexpr uint32_t SELECT_DELETE = 1;
    switch (context.command.cdw10) {
        case SELECT_CREATE:
            return createNamespace(context);
        case SELECT_DELETE:
            return deleteNamespace(context);
        default:
            return refusal(SC_INVALID_FIELD);
    }
}

CompletionEntry attachNamespace(CommandContext& context) {
    constexpr uint32_t SELECT_DETACH = 1;
    const uint32_t select = context.command.cdw10;
    const uint32_t nsid = context.command.nsid;
    if (select > SELECT_DETACH || nsid == NSID_ALL) return refusal(SC_INVALID_FIELD);
    NamespaceState* part = context.find(nsid);
    if (part == nullptr) return refusal(SC_INVALID_NAMESPACE);
    if (!hasData(context, DATA_BYTES)) return dataTransferError();
    const uint8_t controllers = controllersIn(context);
    if (controllers == 0) return refusal(SC_CONTROLLER_LIST_INVALID);
    const bool isDetach = select == SELECT_DETACH;
    const CompletionEntry completion =
        isDetach ? checkDetachment(*part, controllers) : checkAttachment(*part, controllers);
    if (!completion.isSuccess()) return completion;
    if (isDetach) abortSelfTestOf(context, nsid);
    part->controllers ^= controllers;
    context.asEachController([&] {
        if ((controllers >> (context.controllerId - 1) & 1) != 0) noteNamespaceChange(context, nsid);
    });
    return completion;
}

CompletionEntry formatNvm(CommandContext& context) {
    const uint32_t nsid = context.command.nsid;
    CompletionEntry completion = checkFormat(context, nsid);
    if (!completion.isSuccess()) return completion;
    queueEvent(context, {DriveEvent::Kind::FORMAT_START, nsid});
    abortSelfTest(context, SelfTestEnd::FORMAT);
    for (auto& [id, part] : context.state.namespaces) {
        if (part.isAttachedTo(context.controllerId) && (nsid == NSID_ALL || nsid == id)) formatNamespace(context, id);
    }
    queueEvent(context, {DriveEvent::Kind::FORMAT_COMPLETION, nsid});
    return completion;
}

}  // namespace features::simulator
