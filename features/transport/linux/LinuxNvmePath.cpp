#include "features/transport/linux/LinuxNvmePath.h"

#include <fcntl.h>
#include <linux/nvme_ioctl.h>
#include <sys/ioctl.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <map>
#include <optional>
#include <set>

#include "features/errors/PayloadCopy.h"
#include "features/nvme/Completion.h"
#include "features/nvme/Identify.h"
#include "features/nvme/IdentifyCns.h"
#include "features/nvme/Opcodes.h"
#include "features/transport/CommandLog.h"
#include "features/transport/DriveLock.h"
#include "features/transport/HostStatus.h"
#include "features/transport/KernelDrive.h"
#include "features/transport/SelectedDrive.h"
#include "features/transport/linux/BlockUses.h"
#include "features/transport/linux/ControllerLocation.h"
#include "features/transport/linux/IdentifiedNamespaces.h"
#include "features/transport/linux/PartitionTables.h"
#include "features/transport/linux/Sysfs.h"
#include "ostrel/core/Logging.h"
#include "ostrel/core/StatusCatalogue.h"
#include "ostrel/core/UtcTime.h"

namespace features::transport {

using namespace ostrel::core;
using nvme::Completion;
using nvme::NvmeCommand;
using nvme::Transfer;
using std::chrono::milliseconds;

namespace {

constexpr uint64_t DEFAULT_TIMEOUT_SECONDS = 30;
/// Some drives write more than they were asked for: buffers are whole pages.
constexpr uint32_t PAGE_BYTES = 4096;
/// How long a reset that another process began may delay the opening of a node or of a command that only reads.
constexpr milliseconds RESET_PATIENCE{10000};
constexpr milliseconds RESET_POLL{50};
constexpr uint32_t RESET_TIMEOUT_MS = 60000;
constexpr uint64_t SECTOR_BYTES = 512;  // the unit of sizes in sysfs, whatever the drive's blocks

/// The status code type of what happened on the way: the driver's own answers.
constexpr uint16_t STATUS_TYPE_PATH = 0x0300;
/// The driver's own status while a reset is under way: the command never reached the drive.
constexpr uint16_t STATUS_HOST_PATHING_ERROR = 0x0370;

uint32_t wholePages(uint32_t bytes) {
    return (bytes + PAGE_BYTES - 1) / PAGE_BYTES * PAGE_BYTES;
}

/// Commands that change nothing may be sent again when the first try did not reach the drive.
bool maySendAgain(const NvmeCommand& command) {
    return command.queue == nvme::Queue::ADMIN && !command.changesDrive();
}

/// EINVAL: the system takes less at a time than the command carries; nothing was sent. EACCES is also what newer
/// versions of Linux answer where a program, the root user's too, sets Number of Queues or Host Behavior Support:
/// Debian's 6.12.117 does, 6.12.107 does not.
Status commandStatus(int error, const NvmeCommand& command, const std::string& node) {
    Status status =
        hostStatus(error, node, error == EINVAL ? statuses::invalidTransferSize : statuses::completionUnavailable);
    if (error == EACCES && command.queue == nvme::Queue::ADMIN && command.opcode == nvme::OPC_SET_FEATURES)
        status.setMessage(status.getMessage() + " Newer versions of Linux let no program set some features.");
    return status;
}

nvme_passthru_cmd toKernelCommand(const NvmeCommand& command, uint32_t timeoutMs, const uint8_t* data,
                                  const uint8_t* metadata) {
    nvme_passthru_cmd request{};
    request.opcode = command.opcode;
    request.nsid = command.nsid;
    request.cdw2 = command.cdw2;
    request.cdw3 = command.cdw3;
    request.cdw10 = command.cdw10;
    request.cdw11 = command.cdw11;
    request.cdw12 = command.cdw12;
    request.cdw13 = command.cdw13;
    request.cdw14 = command.cdw14;
    request.cdw15 = command.cdw15;
    request.addr = reinterpret_cast<uintptr_t>(data);
    request.data_len = command.dataLength;
    request.metadata = reinterpret_cast<uintptr_t>(metadata);
    request.metadata_len = command.metadataLength;
    request.timeout_ms = timeoutMs;
    return request;
}

}  // namespace

/// The nodes that are opened once for all clones of the path: the controller's, and those of namespaces that are read.
struct LinuxNvmePath::Node {
    explicit Node(const std::string& locks) : lock(locks) {}

    std::mutex mutex;
    std::optional<nvme::ControllerIdentity> selected;  ///< before the first command
    FileDescriptor descriptor;
    std::atomic<bool> isSelected{false};  ///< the descriptor was seen to be of the drive that was selected
    /// Those that this path has asked for or met. A fabrics controller connects again, to the drive that has the name
    /// by then.
    std::atomic<uint32_t> resets{0};
    std::map<uint32_t, NamespaceFile> namespaces;
    DriveLock lock;
};

LinuxNvmePath::LinuxNvmePath(std::string controller, LinuxPaths paths, std::shared_ptr<const NvmeTopology> topology)
    : CommandPath(KERNEL_NVME_PATH, DEFAULT_TIMEOUT_SECONDS * NANOSECONDS_PER_SECOND),
      controller_(std::move(controller)),
      paths_(std::move(paths)),
      topology_(std::move(topology)),
      node_(std::make_shared<Node>(paths_.locks)) {}

void LinuxNvmePath::select(const nvme::ControllerIdentity& identity) {
    node_->selected = identity;
}

std::unique_ptr<CommandPath> LinuxNvmePath::clone() const {
    return std::make_unique<LinuxNvmePath>(*this);
}

std::optional<std::string> LinuxNvmePath::state(LookErrors& errors) const {
    auto line = readLine(topology_->controllerFolder(controller_) + "/state", errors);
    if (!line) (void)topology_->isVisible(errors);  // a controller that is gone, or nothing to be seen at all
    return line;
}

bool LinuxNvmePath::isSupported(const AttributeList&) const {
    LookErrors errors;
    return state(errors).has_value() || !errors.isEmpty();
}

bool LinuxNvmePath::isLeaving() const {
    LookErrors errors;
    const auto line = state(errors);
    // What cannot be looked at takes nothing from the error that is asked about.
    if (!line) return errors.isEmpty();
    return line->compare(0, 8, "deleting") == 0 || *line == "dead";
}

uint32_t LinuxNvmePath::timeoutMs(uint32_t ofCommand) const {
    return ofCommand != 0 ? ofCommand : static_cast<uint32_t>(getTimeoutNanoseconds() / 1000000);
}

CommandResult LinuxNvmePath::send(const Command& command, const Payload& payload, const AttributeList&) {
    CommandResult result;
    result.command = command.clone();
    result.outputPayload = payload;
    result.startTime = utcNow();
    if (const auto* nvmeCommand = dynamic_cast<const NvmeCommand*>(&command)) {
        result.status = sendNvme(*nvmeCommand, payload, result);
    } else if (const auto* hostCommand = dynamic_cast<const HostCommand*>(&command)) {
        result.status = sendHost(*hostCommand, result);
    } else {
        result.status = statuses::commandSetNotSupported();
    }
    result.endTime = utcNow();
    result.duration = result.endTime - result.startTime;
    return result;
}

/// While a reset is under way the driver says EAGAIN (or EBUSY).
Result<FileDescriptor> LinuxNvmePath::openNode(const std::string& path) const {
    const auto deadline = paths_.kernel->now() + RESET_PATIENCE;
    for (;;) {
        FileDescriptor node(paths_.kernel->open(path, O_RDONLY));
        if (node.isOpen()) return node;
        const int error = errno;
        if (isLeaving()) return hostStatus(ENODEV, path);
        if ((error != EAGAIN && error != EBUSY) || paths_.kernel->now() > deadline)
            return hostStatus(error, path, statuses::noConnectionToOpen);
        paths_.kernel->sleep(RESET_POLL);
    }
}

Result<int> LinuxNvmePath::openController() {
    const std::lock_guard<std::mutex> lock(node_->mutex);
    if (!node_->descriptor.isOpen()) {
        TRY(node_->descriptor, openNode(controllerNode()));
    }
    return node_->descriptor.get();
}

Result<int> LinuxNvmePath::openSelected() {
    TRY(const int node, openController());
    if (!node_->isSelected) {
        RETURN_IF_FAILED(checkIdentity(node, controllerNode()));
        node_->isSelected = true;
    }
    return node;
}

Status LinuxNvmePath::checkIdentity(int node, const std::string& nodePath) {
    const auto& selected = node_->selected;
    if (!selected) return unknownIdentity(nodePath);
    NvmeCommand identify(nvme::Queue::ADMIN, nvme::OPC_IDENTIFY, "Identify");
    identify.cdw10 = nvme::CNS_CONTROLLER;
    identify.dataLength = nvme::IDENTIFY_BYTES;
    CommandResult result;
    RETURN_IF_FAILED(passThrough(node, nodePath, identify, {}, result));
    const auto* completion = dynamic_cast<const Completion*>(result.protocolResult.get());
    if (completion == nullptr || !completion->isSuccess()) return unknownIdentity(nodePath);
    const nvme::ControllerIdentity found(result.inputPayload.getData());
    if (selected->isThatOf(found)) return Status();
    return anotherDrive(nodePath, selected->text(), found.text());
}

void LinuxNvmePath::forgetIdentity() {
    ++node_->resets;
    node_->isSelected = false;
}

Status LinuxNvmePath::checkNamespace(int node, const std::string& nodePath, uint32_t nsid) {
    const int found = paths_.kernel->ioctl(node, NVME_IOCTL_ID, nullptr);
    if (found < 0) {
        const int error = errno;
        return hostStatus(error, nodePath);
    }
    if (static_cast<uint32_t>(found) == nsid) return checkIdentity(node, nodePath);
    return anotherDrive(nodePath, "namespace " + std::to_string(nsid), "namespace " + std::to_string(found));
}

Result<LinuxNvmePath::NamespaceFile> LinuxNvmePath::openNamespace(uint32_t nsid) const {
    LookErrors errors;
    for (const NamespaceNode& part : topology_->namespacesOf(controller_, errors)) {
        if (part.nsid != nsid || part.block.empty()) continue;
        std::string path = paths_.dev + "/" + part.block;
        TRY(FileDescriptor node, openNode(path));
        return NamespaceFile{std::move(path), std::move(node)};
    }
    if (!errors.isEmpty()) return errors.status();
    return Status(CATEGORY_FEATURE, 80,
                  statuses::invalidNamespaceId().getMessage() + " Namespace " + std::to_string(nsid) +
                      " is not attached to " + controller_ + ".");
}

Result<const LinuxNvmePath::NamespaceFile*> LinuxNvmePath::openToRead(uint32_t nsid, bool onlySelectedDrive) {
    const std::lock_guard<std::mutex> lock(node_->mutex);
    auto found = node_->namespaces.find(nsid);
    if (found == node_->namespaces.end()) {
        TRY(NamespaceFile opened, openNamespace(nsid));
        found = node_->namespaces.emplace(nsid, std::move(opened)).first;
    }
    NamespaceFile& file = found->second;
    const uint32_t resets = node_->resets;
    if (onlySelectedDrive && file.selectedAfter != resets) {
        RETURN_IF_FAILED(checkNamespace(file.descriptor.get(), file.path, nsid));
        file.selectedAfter = resets;
    }
    return &file;
}

Status LinuxNvmePath::sendNvme(const NvmeCommand& command, const Payload& payload, CommandResult& result) {
    if (command.queue == nvme::Queue::ADMIN) {
        TRY(const int node, command.needsSelectedDrive() ? openSelected() : openController());
        return passThrough(node, controllerNode(), command, payload, result);
    }
    if (!command.changesDrive()) {
        // A caller that reads a namespace reads much of it. Should the node name another by now, the wrong
        // blocks are read, and nothing is lost; a command that writes looks for its namespace every time.
        TRY(const NamespaceFile* const opened, openToRead(command.nsid, command.onlySelectedDrive));
        return passThrough(opened->descriptor.get(), opened->path, command, payload, result);
    }
    TRY(const NamespaceFile opened, openNamespace(command.nsid));
    RETURN_IF_FAILED(checkNamespace(opened.descriptor.get(), opened.path, command.nsid));
    return passThrough(opened.descriptor.get(), opened.path, command, payload, result);
}

Status LinuxNvmePath::passThrough(int node, const std::string& nodePath, const NvmeCommand& command,
                                  const Payload& toController, CommandResult& result) {
    const auto start = paths_.kernel->now();
    Status status = submit(node, nodePath, command, toController, result);
    logCommand(nodePath, command, status, result.protocolResult.get(), paths_.kernel->now() - start);
    return status;
}

Status LinuxNvmePath::submit(int node, const std::string& nodePath, const NvmeCommand& command,
                             const Payload& toController, CommandResult& result) {
    const bool reads = command.transfer() == Transfer::FROM_CONTROLLER && command.dataLength != 0;
    const bool hasBuffer = reads && toController.getSize() >= wholePages(command.dataLength);
    Payload data = reads && !hasBuffer ? Payload(wholePages(command.dataLength)) : toController;
    Payload metadata(wholePages(command.metadataLength));
    if (reads) {
        if (data.getSize() == 0 || metadata.getSize() < command.metadataLength) return hostStatus(ENOMEM, nodePath);
        // What the drive leaves alone must not be what was in the memory before.
        if (!hasBuffer) std::memset(data.getData(), 0, data.getSize());
    }
    const unsigned long request =
        command.queue == nvme::Queue::ADMIN ? NVME_IOCTL_ADMIN_CMD : static_cast<unsigned long>(NVME_IOCTL_IO_CMD);
    const auto deadline = paths_.kernel->now() + RESET_PATIENCE;
    for (;;) {
        nvme_passthru_cmd kernelCommand =
            toKernelCommand(command, timeoutMs(command.timeoutMs), data.getData(), metadata.getData());
        const int outcome = paths_.kernel->ioctl(node, request, &kernelCommand);
        // Not sent again, not even on EINTR: the drive may have run it, and a second Format NVM is no repeat of the
        // first.
        if (outcome < 0) {
            const int error = errno;
            return commandStatus(isLeaving() ? ENODEV : error, command, nodePath);
        }
        if ((outcome & 0x700) == STATUS_TYPE_PATH && isLeaving()) return hostStatus(ENODEV, nodePath);
        const bool underReset = (outcome & 0x7FF) == STATUS_HOST_PATHING_ERROR;
        if (underReset) forgetIdentity();
        if (underReset && maySendAgain(command) && paths_.kernel->now() < deadline) {
            paths_.kernel->sleep(RESET_POLL);
            if (command.onlySelectedDrive) RETURN_IF_FAILED(openSelected());
            continue;
        }
        result.protocolResult = std::make_unique<Completion>(static_cast<uint16_t>(outcome), kernelCommand.result);
        if (reads) {
            result.inputPayload =
                hasBuffer || data.getSize() == command.dataLength ? data : copyOf(data.getData(), command.dataLength);
        }
        return Status();
    }
}

Status LinuxNvmePath::sendHost(const HostCommand& command, CommandResult& result) {
    switch (command.request) {
        case HostRequest::NAMESPACES:
        case HostRequest::SIZES:
        case HostRequest::USES: {
            TRY(std::vector<HostNamespace> found, command.request == HostRequest::USES
                                                      ? usedNamespaces(command.useCheck)
                                                      : attachedNamespaces(command.request == HostRequest::SIZES));
            result.protocolResult = std::make_unique<HostResult>(std::move(found));
            return Status();
        }
        case HostRequest::LOCATION: {
            LookErrors errors;
            HostLocation location = locateController(paths_, topology_->controllerFolder(controller_), errors);
            RETURN_IF_FAILED(errors.status());
            result.protocolResult = std::make_unique<HostResult>(std::move(location));
            return Status();
        }
        case HostRequest::RESET_CONTROLLER:
            return resetController(NVME_IOCTL_RESET, command.timeoutMs);
        case HostRequest::RESET_SUBSYSTEM:
            return resetController(NVME_IOCTL_SUBSYS_RESET, command.timeoutMs);
        case HostRequest::RESCAN:
            return rescan();
        case HostRequest::LOCK_DRIVE:
            if (!node_->selected) return unknownIdentity(controllerNode());
            return node_->lock.acquire(node_->selected->driveName());
        case HostRequest::UNLOCK_DRIVE:
            node_->lock.release();
            break;
    }
    return Status();
}

Status LinuxNvmePath::rescan() {
    TRY(const int node, openController());
    if (paths_.kernel->ioctl(node, NVME_IOCTL_RESCAN, nullptr) < 0) {
        const int error = errno;
        return hostStatus(error, controllerNode());
    }
    LookErrors errors;  // a namespace that is not found is left alone
    std::vector<std::string> blocks;
    for (const NamespaceNode& part : topology_->namespacesOf(controller_, errors)) {
        if (!part.block.empty()) blocks.push_back(part.block);
    }
    rereadPartitionTables(paths_, blocks);
    return Status();
}

Status LinuxNvmePath::resetController(unsigned long request, uint32_t ofCommand) {
    TRY(const int node, openSelected());
    forgetIdentity();
    if (paths_.kernel->ioctl(node, request, nullptr) < 0) {
        const int error = errno;
        if (error == ENOTTY) return statuses::featureNotSupported();
        return hostStatus(error, controllerNode());
    }
    return awaitController(ofCommand != 0 ? ofCommand : RESET_TIMEOUT_MS);
}

Status LinuxNvmePath::awaitController(uint32_t limitMs) {
    const auto deadline = paths_.kernel->now() + milliseconds(limitMs);
    for (;;) {
        LookErrors errors;
        const auto line = state(errors);
        if (!line) return errors.isEmpty() ? hostStatus(ENODEV, controllerNode()) : errors.status();
        if (*line == "live") return Status();
        if (paths_.kernel->now() > deadline) return hostStatus(ETIME, controllerNode());
        paths_.kernel->sleep(RESET_POLL);
    }
}

HostNamespace LinuxNvmePath::hostNamespace(const NamespaceNode& node, bool attached) {
    HostNamespace entry;
    entry.nsid = node.nsid;
    entry.attached = attached;
    if (!node.block.empty()) entry.node = "/dev/" + node.block;  // otherwise a path whose head is gone
    return entry;
}

void LinuxNvmePath::addSizes(const NamespaceNode& node, HostNamespace& entry, LookErrors& errors) const {
    if (node.block.empty()) return;
    const std::string folder = topology_->blockFolder(node.block);
    entry.sizeBytes = readNumber(folder + "/size", errors).value_or(0) * SECTOR_BYTES;
    entry.blockBytes = static_cast<uint32_t>(readNumber(folder + "/queue/logical_block_size", errors).value_or(0));
}

Result<Payload> LinuxNvmePath::read(const NvmeCommand& command) {
    CommandResult result;
    RETURN_IF_FAILED(sendNvme(command, {}, result));
    const auto* completion = dynamic_cast<const Completion*>(result.protocolResult.get());
    if (completion != nullptr && completion->isSuccess()) return result.inputPayload;
    Status refused = statuses::deviceDataRetrievalFailed();
    refused.setMessage(refused.getMessage() + " " + command.getName() + " failed on " + controllerNode() +
                       (completion == nullptr ? "." : ": " + completion->meaning() + "."));
    return refused;
}

Result<std::vector<HostNamespace>> LinuxNvmePath::attachedNamespaces(bool withSizes) {
    LookErrors errors;
    if (!topology_->wasVisible(errors)) return identifyNamespaces([this](const NvmeCommand& c) { return read(c); });
    std::vector<HostNamespace> found;
    for (const NamespaceNode& node : topology_->namespacesOf(controller_, errors)) {
        found.push_back(hostNamespace(node, true));
        if (withSizes) addSizes(node, found.back(), errors);
    }
    RETURN_IF_FAILED(errors.status());
    return found;
}

void LinuxNvmePath::addUses(const BlockUses& uses, const NamespaceNode& node, UseCheck check,
                            HostNamespace& entry) const {
    if (node.block.empty()) {
        if (check == UseCheck::SHOW) return;
        entry.uses.push_back({NamespaceUse::Kind::UNKNOWN, "namespace " + std::to_string(node.nsid),
                              "the kernel shows no block device of it", false});
        return;
    }
    const auto used = uses.usesOf(node.block);
    const auto partitions = uses.partitionsOf(node.block);
    entry.uses.insert(entry.uses.end(), used.begin(), used.end());
    entry.partitions.insert(entry.partitions.end(), partitions.begin(), partitions.end());
}

Result<std::vector<HostNamespace>> LinuxNvmePath::usedNamespaces(UseCheck check) const {
    const BlockUses uses(paths_, check);
    LookErrors errors;
    std::map<uint32_t, HostNamespace> namespaces;
    std::vector<NamespaceUse> ofControllers;
    // Without multipath a shared namespace has a node for each controller, and one may be in use while the other is
    // not. Private namespaces of two controllers may even have one identifier.
    std::set<std::pair<uint32_t, std::string>> seen;
    for (const std::string& controller : topology_->subsystemOf(controller_, errors)) {
        const bool attached = controller == controller_;
        const auto ofController = uses.usesOfController(controller);
        ofControllers.insert(ofControllers.end(), ofController.begin(), ofController.end());
        for (const NamespaceNode& node : topology_->namespacesOf(controller, errors)) {
            const auto [entry, isNew] = namespaces.try_emplace(node.nsid);
            if (isNew) {
                entry->second = hostNamespace(node, attached);
                addSizes(node, entry->second, errors);
            }
            entry->second.attached = entry->second.attached || attached;
            if (seen.insert({node.nsid, node.block}).second) addUses(uses, node, check, entry->second);
        }
    }
    std::vector<HostNamespace> found;
    for (auto& [nsid, entry] : namespaces) {
        entry.uses.insert(entry.uses.end(), ofControllers.begin(), ofControllers.end());
        found.push_back(std::move(entry));
    }
    errors.add(uses.errors());
    RETURN_IF_FAILED(errors.status());
    return found;
}

}  // namespace features::transport
