#include "features/simulator/commands/Ana.h"

#include <algorithm>
#include <map>

#include "features/nvme/NamespaceIds.h"
#include "features/nvme/Opcodes.h"
#include "features/nvme/StatusCodes.h"
#include "features/nvme/structures/AnaLog.h"
#include "features/simulator/context/AsyncEvents.h"
#include "features/simulator/context/DriveTables.h"
#include "features/simulator/store/Extension.h"

namespace features::simulator {

using namespace nvme;

namespace {

/// How long a group may stay in the state "change" (ANATT); a host that sees it for longer gives the controller up.
constexpr uint8_t TRANSITION_SECONDS = 10;
/// ANACAP: all five states are reported, and the group of a namespace does not change while it is attached.
constexpr uint8_t CAPABILITIES = 0x5F;

/// What the log page of a controller shows.
struct AnaView {
    struct Group {
        uint8_t state = 0;
        uint64_t changeCount = 0;

        template <class A>
        void fields(A& archive) {
            archive(state, changeCount);
        }
    };
    uint64_t changeCount = 0;
    std::map<uint32_t, Group> groups;  ///< of the attached namespaces

    template <class A>
    void fields(A& archive) {
        archive(changeCount, groups);
    }
};

struct AnaViews {
    static constexpr const char* NAME = "ana";
    std::map<uint16_t, AnaView> ofController;

    template <class A>
    void fields(A& archive) {
        archive(ofController);
    }
};

AnaState stateOf(const CommandContext& context, uint32_t nsid) {
    return anaStateOf(context.description.faults.ana, context.controllerId, nsid);
}

/// Whether a command does something with its namespaces; others are about the drive, or about namespaces as such.
bool usesNamespaces(const CommandContext& context) {
    const SubmissionEntry& command = context.command;
    if (!command.isAdmin || command.opcode == OPC_FORMAT_NVM || command.opcode == OPC_DEVICE_SELF_TEST) return true;
    if (command.opcode != OPC_GET_FEATURES && command.opcode != OPC_SET_FEATURES) return false;
    const FeatureRow* feature = findFeature(context, static_cast<uint8_t>(command.cdw10));
    return feature != nullptr && feature->isOfNamespace;
}

/// The groups of the namespaces that are attached to this controller, with the counts that the view had.
std::map<uint32_t, AnaView::Group> groupsNow(const CommandContext& context, const AnaView& view) {
    std::map<uint32_t, AnaView::Group> groups;
    for (const auto& [nsid, part] : context.state.namespaces) {
        if (!part.isAttachedTo(context.controllerId)) continue;
        const auto before = view.groups.find(nsid);
        AnaView::Group& group = groups[nsid];
        if (before != view.groups.end()) group = before->second;
        const auto state = static_cast<uint8_t>(stateOf(context, nsid));
        if (group.state != 0 && group.state != state) ++group.changeCount;
        group.state = state;
    }
    return groups;
}

/// Namespaces that come and go have an event of their own.
bool hasNewState(const AnaView& view, const std::map<uint32_t, AnaView::Group>& now) {
    return std::any_of(view.groups.begin(), view.groups.end(), [&](const auto& before) {
        const auto group = now.find(before.first);
        return group != now.end() && group->second.state != before.second.state;
    });
}

bool isSame(const std::map<uint32_t, AnaView::Group>& a, const std::map<uint32_t, AnaView::Group>& b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](const auto& x, const auto& y) {
        return x.first == y.first && x.second.state == y.second.state;
    });
}

/// Of this controller.
bool noteOwnChanges(CommandContext& context, AnaViews& views) {
    const auto [place, isFirst] = views.ofController.try_emplace(context.controllerId);
    AnaView& view = place->second;
    auto now = groupsNow(context, view);
    if (!isFirst && isSame(view.groups, now)) return false;
    if (!isFirst) ++view.changeCount;
    if (hasNewState(view, now)) raiseEvent(context, EventKind::ANA_CHANGE);
    view.groups = std::move(now);
    return true;
}

}  // namespace

void putAnaCapabilities(const CommandContext& context, IdentifyController& identify) {
    constexpr uint8_t PORTS_CONTROLLERS_AND_ANA = 0x0B;
    constexpr uint32_t ANA_CHANGE_NOTICES = 1 << 11;
    if (!context.description.hasTwoControllers) return;
    identify.cmic = static_cast<uint8_t>(identify.cmic | PORTS_CONTROLLERS_AND_ANA);
    identify.oaes = identify.oaes | ANA_CHANGE_NOTICES;
    identify.anatt = TRANSITION_SECONDS;
    identify.anacap = CAPABILITIES;
    identify.anagrpmax = context.description.maxNamespaces;
    identify.nanagrpid = context.description.maxNamespaces;
}

void putAnaGroup(const CommandContext& context, uint32_t nsid, IdentifyNamespace& identify) {
    if (!context.description.hasTwoControllers) return;
    identify.anagrpid = nsid;
    const AnaState state = stateOf(context, nsid);
    if (state != AnaState::INACCESSIBLE && state != AnaState::PERSISTENT_LOSS) return;
    identify.nuse = 0;  // not known on this path, and neither is the capacity
    identify.nvmcap = 0;
}

std::optional<CompletionEntry> anaRefusal(const CommandContext& context) {
    if (context.description.faults.ana.empty() || !usesNamespaces(context)) return std::nullopt;
    for (const auto& [nsid, part] : context.state.namespaces) {
        const bool isUsed = context.command.nsid == nsid || context.command.nsid == NSID_ALL;
        if (!isUsed || !part.isAttachedTo(context.controllerId)) continue;
        const StatusCode status = anaStatus(stateOf(context, nsid));
        // Another path may carry it out, and this one later: without Do Not Retry.
        if (status != SC_SUCCESSFUL_COMPLETION) return passingRefusal(status);
    }
    return std::nullopt;
}

bool noteAnaChanges(CommandContext& context) {
    if (!context.description.hasTwoControllers) return false;
    auto views = readExtension<AnaViews>(context.state);
    bool isChanged = false;
    context.asEachController([&] { isChanged = noteOwnChanges(context, views) || isChanged; });
    if (isChanged) writeExtension(context.state, views);
    return isChanged;
}

void resetAnaCounts(CommandContext& context) {
    auto views = readExtension<AnaViews>(context.state);
    if (views.ofController.erase(context.controllerId) != 0) writeExtension(context.state, views);
}

CompletionEntry buildAnaLog(CommandContext& context, const LogRequest& request, std::vector<uint8_t>& page) {
    const bool groupsAlone = (request.lsp & 1) != 0;  // RGO
    const size_t bytes = sizeof(AnaGroupDescriptor) + (groupsAlone ? 0 : sizeof(Le32));
    auto views = readExtension<AnaViews>(context.state);
    const AnaView& view = views.ofController[context.controllerId];
    AnaLogHeader header{};
    header.changeCount = view.changeCount;
    header.numberOfGroups = static_cast<uint16_t>(view.groups.size());
    page.resize(sizeof header + view.groups.size() * bytes);
    putStructure(page.data(), header);
    uint8_t* at = page.data() + sizeof header;
    for (const auto& [nsid, group] : view.groups) {
        AnaGroupDescriptor descriptor{};
        descriptor.groupId = nsid;
        descriptor.numberOfNsids = groupsAlone ? 0 : 1;
        descriptor.changeCount = group.changeCount;
        descriptor.state = group.state;
        putStructure(at, descriptor);
        if (!groupsAlone) putStructure(at + sizeof descriptor, Le32(nsid));
        at += bytes;
    }
    return {};
}

}  // namespace features::simulator
