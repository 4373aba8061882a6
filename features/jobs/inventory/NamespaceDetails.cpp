#include "features/jobs/inventory/NamespaceDetails.h"

#include <algorithm>
#include <string>

#include "features/errors/Result.h"
#include "features/jobs/drive/CommandSets.h"
#include "features/jobs/drive/HostSide.h"
#include "features/jobs/drive/LogReading.h"
#include "features/jobs/inventory/UseText.h"
#include "features/nvme/FieldTable.h"
#include "features/nvme/Identify.h"
#include "features/nvme/IdentifyCns.h"
#include "features/nvme/NamespaceProperties.h"
#include "features/nvme/structures/IdentifyNamespace.h"
#include "ostrel/core/Strings.h"

namespace features::jobs {

using namespace ostrel::core;
using transport::HostLocation;
using transport::HostNamespace;
using transport::NamespaceUse;

namespace {

constexpr size_t OFFSET_NGUID = offsetof(nvme::IdentifyNamespace, nguid);
constexpr size_t NGUID_BYTES = sizeof(nvme::IdentifyNamespace::nguid);
constexpr size_t OFFSET_EUI64 = offsetof(nvme::IdentifyNamespace, eui64);
constexpr size_t EUI64_BYTES = sizeof(nvme::IdentifyNamespace::eui64);

std::string bytesText(uint64_t bytes) {
    return nvme::withUnit(std::to_string(bytes), "bytes");
}

/// An identifier that is zero is none.
std::string identifierText(const uint8_t* at, size_t bytes) {
    const bool isNone = std::all_of(at, at + bytes, [](uint8_t byte) { return byte == 0; });
    return isNone ? nvme::NOT_REPORTED : bytesToHex(at, bytes);
}

/// "mounted at /data", of a part of the namespace "/dev/nvme0n1p1 mounted at /data".
std::string usesText(const HostNamespace& space) {
    std::string text;
    for (const NamespaceUse& use : space.uses) {
        text.append(text.empty() ? "" : "; ");
        if (use.node != space.node) text.append(use.node).append(" ");
        text += useText(use);
    }
    return text.empty() ? "none" : text;
}

void addFormat(nvme::FieldTree& tree, const Payload& identify) {
    const nvme::NamespaceProperties properties(identify.getData());
    const nvme::NamespaceProperties::LbaFormat& format = properties.format();
    tree.add("LBAFormat", std::to_string(properties.formatIndex()));
    tree.add("SectorSize", bytesText(format.dataBytes()));
    tree.add("MetadataSize", bytesText(format.metadataBytes));
    tree.add("Used", bytesText(properties.utilizationBlocks * format.dataBytes()));
    tree.add("EUI64", identifierText(identify.getData() + OFFSET_EUI64, EUI64_BYTES));
    tree.add("NGUID", identifierText(identify.getData() + OFFSET_NGUID, NGUID_BYTES));
}

Result<nvme::FieldTree> describe(DriveFacts& facts, const HostNamespace& space) {
    nvme::FieldTree tree;
    tree.heading = "Namespace " + std::to_string(space.nsid);
    tree.add("NamespaceId", std::to_string(space.nsid));
    tree.add("Node", space.node.empty() ? "none" : space.node);
    tree.add("Size", bytesText(space.sizeBytes));
    tree.add("Use", usesText(space));
    TRY(const uint8_t csi, readCommandSet(facts.drive(), space.nsid));
    if (csi != nvme::CSI_NVM) tree.add("CommandSet", nvme::commandSetName(csi));
    if (csi == nvme::CSI_KEY_VALUE) return tree;  // it has no logical blocks
    const auto identify = facts.drive().identify(nvme::CNS_NAMESPACE, space.nsid);
    if (!identify && !isRefusal(identify.error())) return identify.error();
    if (identify) addFormat(tree, *identify);
    return tree;
}

std::vector<std::string> byIdNames(const HostLocation& location, const std::string& node) {
    std::vector<std::string> names;
    for (const HostLocation::ById& link : location.byId) {
        if (link.node == node) names.push_back(link.name);
    }
    return names;
}

}  // namespace

Status showNamespaces(DriveFacts& facts, DriveOutput& out) {
    const HostLocation* location = facts.location();
    if (location == nullptr) return facts.failure();
    TRY(const std::vector<HostNamespace> namespaces,
        readUsedNamespaces(facts.drive().device(), transport::UseCheck::SHOW));
    for (const HostNamespace& space : namespaces) {
        if (!space.attached) continue;
        TRY(nvme::FieldTree tree, describe(facts, space));
        tree.addList("By-Id Names", byIdNames(*location, space.node));
        out.addTree(tree);
    }
    return Status();
}

}  // namespace features::jobs
