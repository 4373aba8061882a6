#include "features/jobs/inventory/PartitionInformationJob.h"

#include <string>
#include <utility>

#include "features/errors/Result.h"
#include "features/jobs/drive/HostSide.h"
#include "features/jobs/inventory/UseText.h"
#include "features/transport/HostCommand.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/StatusCatalogue.h"
#include "ostrel/core/XmlConverter.h"
#include "ostrel/core/xml/XmlConstants.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"

namespace features::jobs {

using namespace ostrel::core;
using transport::HostNamespace;
using transport::NamespaceUse;
using transport::PartitionInfo;
namespace keys = attributes::feature;

namespace {

constexpr const char* NOT_REPORTED = "not reported";

void addText(AttributeList& list, const Attribute& attribute, const std::string& text) {
    Attribute shown(attribute.getName(), attribute.getDisplayName(), typeString(), text);
    list[shown.getName()] = std::move(shown);
}

/// Of type "uint64" whatever the vocabulary's is: the offset of a partition does not fit 16 bits.
void addNumber(AttributeList& list, const Attribute& attribute, uint64_t number, const std::string& unit) {
    Attribute shown(attribute.getName(), attribute.getDisplayName(), typeUint64(), number);
    shown.setDescription(unit);
    list[shown.getName()] = std::move(shown);
}

/// How a block device is used beside being mounted.
std::string otherUses(const std::vector<NamespaceUse>& uses, const std::string& node) {
    std::string text;
    for (const NamespaceUse& use : uses) {
        if (use.node != node || use.kind == NamespaceUse::Kind::MOUNTED || use.isContentAlone()) continue;
        text.append(text.empty() ? "" : ", ").append(useText(use));
    }
    return text.empty() ? "none" : text;
}

/// Each place where it is mounted: a path may hold any separator. A list of attributes has no lists in it.
void addMountPoints(AttributeList& list, const std::vector<NamespaceUse>& uses, const std::string& node) {
    unsigned count = 0;
    const auto add = [&](const std::string& path) {
        const std::string number = ++count == 1 ? std::string() : " " + std::to_string(count);
        addText(list, Attribute("MountPoint" + number, "Mount Point" + number, typeString()), path);
    };
    for (const NamespaceUse& use : uses)
        if (use.node == node && use.kind == NamespaceUse::Kind::MOUNTED) add(use.detail);
    if (count == 0) add("not mounted");
}

void addSpace(AttributeList& list, const PartitionInfo& partition) {
    addNumber(list, keys::freeSpace(), partition.freeBytes, "bytes");
    if (partition.sizeBytes == 0 || partition.freeBytes > partition.sizeBytes) return;
    addNumber(list, keys::usedSpace(), partition.sizeBytes - partition.freeBytes, "bytes");
    // The product fits: no partition has 2 to the power of 57 bytes.
    const uint64_t percent = partition.freeBytes * 100 / partition.sizeBytes;
    addNumber(list, keys::freeSpacePercentage(), percent, "%");
}

AttributeList describe(const PartitionInfo& partition, const std::vector<NamespaceUse>& uses) {
    AttributeList list;
    addNumber(list, keys::offset(), partition.startBytes, "bytes");
    addNumber(list, keys::size(), partition.sizeBytes, "bytes");
    addText(list, keys::fileSystemType(), partition.fileSystem.empty() ? NOT_REPORTED : partition.fileSystem);
    addMountPoints(list, uses, partition.node);
    addText(list, Attribute("Use", "Use", typeString()), otherUses(uses, partition.node));
    if (!partition.label.empty()) addText(list, Attribute("Label", "Label", typeString()), partition.label);
    if (!partition.uuid.empty()) addText(list, Attribute("UUID", "UUID", typeString()), partition.uuid);
    if (!partition.mountPoint.empty()) addSpace(list, partition);
    return list;
}

/// A namespace that holds a file system, or is part of something, without being partitioned.
AttributeList describeWhole(const HostNamespace& part) {
    AttributeList list;
    addNumber(list, keys::size(), part.sizeBytes, "bytes");
    addMountPoints(list, part.uses, part.node);
    addText(list, Attribute("Use", "Use", typeString()), otherUses(part.uses, part.node));
    return list;
}

/// `whole` heads what is used without being partitioned.
void showNamespace(const HostNamespace& part, const std::string& whole, const std::string& path, DriveOutput& out) {
    for (const PartitionInfo& partition : part.partitions) {
        if (path.empty() || path == partition.node)
            out.addAttributes("Partition " + partition.node, describe(partition, part.uses));
    }
    if (part.partitions.empty() && !part.uses.empty() && (path.empty() || path == part.node))
        out.addAttributes(whole + part.node, describeWhole(part));
}

}  // namespace

PartitionInformationJob::PartitionInformationJob()
    : CloneableJob(ostrel::interfaces::ostreli::JOB_PARTITION_INFORMATION, "Partition Information") {}

Status PartitionInformationJob::getProperties(const std::shared_ptr<xml::XmlObject>& output) {
    Status status = DriveJob::getProperties(output);
    auto& shown = output->objects.front()->objects;
    // Of all drives that were named none has the partition.
    if (shown.empty() && !arguments().text(xml::NAME_PATH).empty()) {
        shown.push_back(XmlConverter::statusToXml(statuses::partitionNotFoundOnDevice()));
        shown.back()->attributes[xml::KEY_NAME] = title();
        shown.back()->attributes[xml::KEY_KEY] = arguments().text(xml::NAME_PATH);
    }
    return status;
}

Status PartitionInformationJob::showDrive(nvme::Drive& drive, const Arguments& arguments, DriveOutput& out) {
    return show(drive.device(), arguments, out);
}

Status PartitionInformationJob::showAtaDrive(ata::Drive& drive, const Arguments& arguments, DriveOutput& out) {
    return show(drive.device(), arguments, out);
}

Status PartitionInformationJob::show(Device& device, const Arguments& arguments, DriveOutput& out) {
    TRY(const std::vector<HostNamespace> namespaces, readUsedNamespaces(device, transport::UseCheck::SHOW));
    const std::string whole = isAta(device) ? "Disk " : "Namespace ";
    const std::string path = arguments.text(xml::NAME_PATH);
    for (const HostNamespace& part : namespaces) showNamespace(part, whole, path, out);
    if (out.isEmpty() && path.empty())
        out.addStatus(title(), Status(0, 0, statuses::deviceHasNoPartitions().getMessage()));
    return Status();
}

}  // namespace features::jobs
