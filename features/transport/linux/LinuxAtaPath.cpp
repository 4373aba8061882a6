#include "features/transport/linux/LinuxAtaPath.h"

#include <fcntl.h>
#include <scsi/sg.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <optional>

#include "features/ata/AtaResult.h"
#include "features/ata/Commands.h"
#include "features/errors/PayloadCopy.h"
#include "features/transport/CommandLog.h"
#include "features/transport/DriveLock.h"
#include "features/transport/HostStatus.h"
#include "features/transport/SelectedDrive.h"
#include "features/transport/linux/AtaPassThrough.h"
#include "features/transport/linux/BlockOpener.h"
#include "features/transport/linux/BlockUses.h"
#include "features/transport/linux/ControllerLocation.h"
#include "features/transport/linux/PartitionTables.h"
#include "features/transport/linux/SelectedAtaDrive.h"
#include "features/transport/linux/Sysfs.h"
#include "ostrel/core/FileDescriptor.h"
#include "ostrel/core/StatusCatalogue.h"
#include "ostrel/core/SystemError.h"
#include "ostrel/core/UtcTime.h"

namespace features::transport {

using namespace ostrel::core;
using ata::AtaCommand;
using ata::AtaResult;

namespace {

constexpr uint64_t DEFAULT_TIMEOUT_SECONDS = 15;
constexpr uint32_t IDENTIFY_BYTES = 512;
constexpr uint64_t SECTOR_BYTES = 512;  // the unit of sizes in sysfs, whatever the drive's sectors
constexpr uint32_t THE_NAMESPACE = 1;   // a disk is shown as a drive with one namespace
constexpr std::size_t SENSE_BYTES = 96;

Status withText(Status status, const std::string& text) {
    status.setMessage(status.getMessage() + " " + text);
    return status;
}

int directionOf(const AtaCommand& command) {
    if (command.readsData()) return SG_DXFER_FROM_DEV;
    return command.writesData() ? SG_DXFER_TO_DEV : SG_DXFER_NONE;
}

/// Whether a request that the kernel refused may carry more than it takes at a time; nothing was sent. With some
/// drivers EIO says so, with others that the command failed: only what reads is tried again.
bool isTooMuch(int error, const AtaCommand& command) {
    return error == EINVAL || (error == EIO && command.readsData() && command.dataLength > SECTOR_BYTES);
}

/// An ioctl that failed.
Status requestStatus(int error, const AtaCommand& command, const std::string& node) {
    if (error == EPERM) {
        return withText(statuses::requiresAdminPrivileges(),
                        "No permission for ATA commands to " + node + ": it needs CAP_SYS_RAWIO (errno " +
                            std::to_string(error) + ": " + systemErrorText(error) + ").");
    }
    return hostStatus(error, node,
                      isTooMuch(error, command) ? statuses::invalidTransferSize : statuses::completionUnavailable);
}

/// How libata treats the commands of trusted computing.
Status withFilter(Status status, const AtaCommand& command) {
    constexpr uint8_t FIRST_TRUSTED = 0x5C;
    constexpr uint8_t LAST_TRUSTED = 0x5F;
    if (!status.is(0, 11) || command.opcode < FIRST_TRUSTED || command.opcode > LAST_TRUSTED) return status;
    if (command.opcode == ata::commands::level0Discovery.opcode)
        return withText(status,
                        "It was sent as SECURITY PROTOCOL IN, which libata passes on to a drive whose Identify "
                        "Device data log (30h) reports trusted computing.");
    return withText(status, "libata refuses it unless it is loaded with allow_tpm=1.");
}

AtaCommand identifyDevice() {
    AtaCommand command(ata::commands::identifyDevice);
    command.count = 1;
    command.dataLength = IDENTIFY_BYTES;
    return command;
}

}  // namespace

/// The request of SG_IO, with the buffer for its sense data. The command must outlive it.
class LinuxAtaPath::ScsiRequest {
public:
    ScsiRequest(const ScsiBlock& block, const AtaCommand& command, uint8_t* data, uint32_t timeoutMs)
        : command_(command), block_(block) {
        header_.interface_id = 'S';
        header_.dxfer_direction = directionOf(command);
        header_.cmdp = block_.data();
        header_.cmd_len = lengthOf(block_);
        header_.sbp = sense_.data();
        header_.mx_sb_len = static_cast<unsigned char>(sense_.size());
        header_.dxferp = command.dataLength == 0 ? nullptr : data;
        header_.dxfer_len = command.dataLength;
        header_.timeout = timeoutMs;
    }
    ScsiRequest(const ScsiRequest&) = delete;
    ScsiRequest& operator=(const ScsiRequest&) = delete;

    const AtaCommand& command() const { return command_; }
    sg_io_hdr* header() { return &header_; }
    std::chrono::milliseconds timeout() const { return std::chrono::milliseconds(header_.timeout); }
    ScsiEnd end() const { return {header_.status, header_.host_status, sense_.data(), header_.sb_len_wr}; }
    /// Bytes of data.
    uint32_t transferred() const {
        const auto missing = static_cast<uint32_t>(std::max(header_.resid, 0));
        return header_.dxfer_len - std::min(missing, header_.dxfer_len);
    }

private:
    const AtaCommand& command_;
    ScsiBlock block_;
    std::array<uint8_t, SENSE_BYTES> sense_{};
    sg_io_hdr header_{};
};

/// What all clones of a path share.
struct LinuxAtaPath::Node {
    Node(const std::string& locks, std::shared_ptr<std::mutex> ofPort) : port(std::move(ofPort)), lock(locks) {}

    std::mutex mutex;
    std::optional<SelectedAtaDrive> selected;  ///< before the first command
    FileDescriptor descriptor;
    std::atomic<bool> isSelected{false};  ///< the descriptor was seen to be of the drive that was selected
    std::atomic<bool> isSilent{false};    ///< a command to the drive timed out
    std::shared_ptr<std::mutex> port;
    DriveLock lock;
};

LinuxAtaPath::LinuxAtaPath(ScsiDisk disk, LinuxPaths paths, std::shared_ptr<std::mutex> port)
    : CommandPath("Linux SATA", DEFAULT_TIMEOUT_SECONDS * NANOSECONDS_PER_SECOND),
      disk_(std::move(disk)),
      paths_(std::move(paths)),
      node_(std::make_shared<Node>(paths_.locks, std::move(port))) {}

void LinuxAtaPath::select(const ata::Identity& identity) {
    const SelectedAtaDrive drive(identity);
    if (drive.isKnown()) node_->selected = drive;
}

std::unique_ptr<CommandPath> LinuxAtaPath::clone() const {
    return std::make_unique<LinuxAtaPath>(*this);
}

bool LinuxAtaPath::isSupported(const AttributeList&) const {
    LookErrors errors;
    return SataTopology(paths_).disk(disk_.block, errors).has_value() || !errors.isEmpty();
}

uint32_t LinuxAtaPath::timeoutMs(uint32_t ofCommand) const {
    return ofCommand != 0 ? ofCommand : static_cast<uint32_t>(getTimeoutNanoseconds() / 1000000);
}

CommandResult LinuxAtaPath::send(const Command& command, const Payload& payload, const AttributeList&) {
    CommandResult result;
    result.command = command.clone();
    result.outputPayload = payload;
    result.startTime = utcNow();
    if (const auto* ataCommand = dynamic_cast<const AtaCommand*>(&command)) {
        result.status = sendAta(*ataCommand, payload, result);
    } else if (const auto* hostCommand = dynamic_cast<const HostCommand*>(&command)) {
        result.status = sendHost(*hostCommand, result);
    } else {
        result.status = statuses::commandSetNotSupported();
    }
    result.endTime = utcNow();
    result.duration = result.endTime - result.startTime;
    return result;
}

Result<int> LinuxAtaPath::openNode() {
    const std::lock_guard<std::mutex> lock(node_->mutex);
    if (!node_->descriptor.isOpen()) {
        int error = 0;
        LookErrors errors;
        // To read: closing a disk that was open for writing makes the system look at all of it again.
        node_->descriptor = BlockOpener(paths_, BlockOpener::MissingNode::REPORT)
                                .open(disk_.block, O_RDONLY | O_NONBLOCK, error, errors);
        if (!node_->descriptor.isOpen()) return hostStatus(error, nodePath(), statuses::noConnectionToOpen);
    }
    return node_->descriptor.get();
}

Result<int> LinuxAtaPath::openSelected() {
    TRY(const int node, openNode());
    if (!node_->isSelected) {
        RETURN_IF_FAILED(checkIdentity(node));
        node_->isSelected = true;
    }
    return node;
}

Status LinuxAtaPath::checkIdentity(int node) {
    const auto& selected = node_->selected;
    if (!selected) return unknownIdentity(nodePath());
    CommandResult result;
    RETURN_IF_FAILED(passThrough(node, identifyDevice(), {}, result));
    const auto* answer = dynamic_cast<const AtaResult*>(result.protocolResult.get());
    if (answer == nullptr || !answer->succeeded || result.inputPayload.getSize() != IDENTIFY_BYTES)
        return unknownIdentity(nodePath());
    const SelectedAtaDrive found{ata::Identity(result.inputPayload.getData())};
    if (selected->isThatOf(found)) return Status();
    return anotherDrive(nodePath(), selected->text(), found.text());
}

Status LinuxAtaPath::checkEnclosure() const {
    if (!disk_.isUsb) return Status();
    return withText(statuses::featureNotSupported(),
                    "The drive of " + nodePath() + " is in a USB enclosure: it is read and not changed.");
}

/// The kernel has a list of drives that lose data, or hang, when they are trimmed; the administrator can add to it.
Status LinuxAtaPath::checkTrim() const {
    LookErrors errors;
    const auto trim = SataTopology(paths_).trim(disk_, errors);
    RETURN_IF_FAILED(errors.status());
    if (trim != "forced_unsupported") return Status();
    return withText(statuses::trimNotSupported(), "The kernel has disabled it for the drive of " + nodePath() +
                                                      " (forced_unsupported): such drives lose data by it, or hang.");
}

Status LinuxAtaPath::sendAta(const AtaCommand& command, const Payload& payload, CommandResult& result) {
    if (command.changesDrive()) RETURN_IF_FAILED(checkEnclosure());
    if (command.opcode == ata::commands::dataSetManagement.opcode) RETURN_IF_FAILED(checkTrim());
    if (command.writesData() && payload.getSize() != command.dataLength) return statuses::invalidTransferSize();
    TRY(const int node, command.needsSelectedDrive() ? openSelected() : openNode());
    return passThrough(node, command, payload, result);
}

Status LinuxAtaPath::passThrough(int node, const AtaCommand& command, const Payload& toDrive, CommandResult& result) {
    if (node_->isSilent) return timedOut();  // nothing is sent, and nothing logged
    const auto start = paths_.kernel->now();
    Status status = submit(node, command, toDrive, result);
    logCommand(nodePath(), command, status, result.protocolResult.get(), paths_.kernel->now() - start);
    return status;
}

Status LinuxAtaPath::timedOut() {
    node_->isSilent = true;
    return hostStatus(ETIME, nodePath());
}

Status LinuxAtaPath::run(int node, ScsiRequest& request) {
    if (node_->isSilent) return timedOut();
    const auto start = paths_.kernel->now();
    // Not sent again, not even on EINTR: the drive may have run it, and a second erase is no repeat of the first.
    if (paths_.kernel->ioctl(node, SG_IO, request.header()) < 0) {
        const int error = errno;
        return error == ETIMEDOUT || error == ETIME ? timedOut() : requestStatus(error, request.command(), nodePath());
    }
    const bool isOver = paths_.kernel->now() - start >= request.timeout();
    return isTimeout(request.end(), isOver) ? timedOut() : Status();
}

Status LinuxAtaPath::submit(int node, const AtaCommand& command, const Payload& toDrive, CommandResult& result) {
    TRY(const ScsiBlock block, toScsi(command));
    Payload data = command.readsData() ? Payload(command.dataLength) : toDrive;
    if (command.readsData()) {
        if (data.getSize() == 0) return hostStatus(ENOMEM, nodePath());
        // A driver may report a success that brought nothing: that must not be what was in the memory before.
        std::memset(data.getData(), 0, data.getSize());
    }
    ScsiRequest request(block, command, data.getData(), timeoutMs(command.timeoutMs));
    const auto runAtPort = [&] {
        const std::lock_guard<std::mutex> port(*node_->port);
        return run(node, request);
    };
    RETURN_IF_FAILED(runAtPort());
    if (isUnitAttention(request.end())) {
        // The command was not carried out. The drive was reset, say, or another one is there: by now that is reported.
        node_->isSelected = false;
        if (command.needsSelectedDrive()) RETURN_IF_FAILED(openSelected());
        RETURN_IF_FAILED(runAtPort());
        // Once is enough, and the next command must not rely on an identity from before this one either.
        if (isUnitAttention(request.end())) node_->isSelected = false;
    }
    auto outcome = ataResultOf(command, request.end(), nodePath());
    if (!outcome) return withFilter(outcome.error(), command);
    if (command.readsData() && outcome->succeeded) {
        const uint32_t bytes = request.transferred();
        result.inputPayload = bytes == command.dataLength ? data : copyOf(data.getData(), bytes);
    }
    result.protocolResult = std::make_unique<AtaResult>(std::move(*outcome));
    return Status();
}

Status LinuxAtaPath::sendHost(const HostCommand& command, CommandResult& result) {
    switch (command.request) {
        case HostRequest::NAMESPACES:
        case HostRequest::SIZES:
        case HostRequest::USES: {
            TRY(HostNamespace found,
                command.request == HostRequest::USES ? usedNamespace(command.useCheck) : hostNamespace());
            result.protocolResult = std::make_unique<HostResult>(std::vector<HostNamespace>{std::move(found)});
            return Status();
        }
        case HostRequest::LOCATION: {
            LookErrors errors;
            HostLocation location;
            location.byId = byIdLinks(paths_, errors);
            RETURN_IF_FAILED(errors.status());
            result.protocolResult = std::make_unique<HostResult>(std::move(location));
            return Status();
        }
        case HostRequest::RESET_CONTROLLER:
        case HostRequest::RESET_SUBSYSTEM:
            return statuses::featureNotSupported();
        case HostRequest::RESCAN:
            RETURN_IF_FAILED(checkEnclosure());
            return rescan();
        case HostRequest::LOCK_DRIVE:
            RETURN_IF_FAILED(checkEnclosure());
            if (!node_->selected) return unknownIdentity(nodePath());
            return node_->lock.acquire(node_->selected->driveName());
        case HostRequest::UNLOCK_DRIVE:
            node_->lock.release();
            break;
    }
    return Status();
}

Status LinuxAtaPath::rescan() const {
    const std::string path = SataTopology(paths_).blockFolder(disk_.block) + "/device/rescan";
    const FileDescriptor file(paths_.kernel->open(path, O_WRONLY));
    const int opened = errno;
    if (!file.isOpen()) return hostStatus(opened, path);
    if (const int error = writeFully(file.get(), "1\n"); error != 0) return hostStatus(error, path);
    rereadPartitionTables(paths_, {disk_.block});
    return Status();
}

std::vector<std::string> LinuxAtaPath::blocksOfDrive(LookErrors& errors) const {
    std::vector<std::string> blocks{disk_.block};
    if (!node_->selected) return blocks;
    for (const ScsiDisk& other : SataTopology(paths_).disks(errors)) {
        if (other.block == disk_.block || other.identify.getSize() != IDENTIFY_BYTES) continue;
        const SelectedAtaDrive drive{ata::Identity(other.identify.getData())};
        if (node_->selected->isOneDriveWith(drive)) blocks.push_back(other.block);
    }
    return blocks;
}

Result<HostNamespace> LinuxAtaPath::hostNamespace() const {
    LookErrors errors;
    const std::string folder = SataTopology(paths_).blockFolder(disk_.block);
    HostNamespace entry;
    entry.nsid = THE_NAMESPACE;
    entry.node = "/dev/" + disk_.block;
    const auto sectors = readNumber(folder + "/size", errors);
    if (!sectors && errors.isEmpty()) return hostStatus(ENODEV, nodePath());
    entry.sizeBytes = sectors.value_or(0) * SECTOR_BYTES;
    entry.blockBytes = static_cast<uint32_t>(readNumber(folder + "/queue/logical_block_size", errors).value_or(0));
    RETURN_IF_FAILED(errors.status());
    return entry;
}

Result<HostNamespace> LinuxAtaPath::usedNamespace(UseCheck check) const {
    TRY(HostNamespace entry, hostNamespace());
    const BlockUses uses(paths_, check);
    LookErrors errors;
    for (const std::string& block : blocksOfDrive(errors)) {
        const auto used = uses.usesOf(block);
        const auto partitions = uses.partitionsOf(block);
        entry.uses.insert(entry.uses.end(), used.begin(), used.end());
        entry.partitions.insert(entry.partitions.end(), partitions.begin(), partitions.end());
    }
    errors.add(uses.errors());
    RETURN_IF_FAILED(errors.status());
    return entry;
}

}  // namespace features::transport
