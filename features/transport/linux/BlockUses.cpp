#include "features/transport/linux/BlockUses.h"

#include <fcntl.h>
#include <sys/statvfs.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdlib>

#include "features/transport/linux/MediaContent.h"
#include "features/transport/linux/Sysfs.h"
#include "ostrel/core/FileDescriptor.h"
#include "ostrel/core/Strings.h"

namespace features::transport {

using ostrel::core::FileDescriptor;

namespace {

constexpr uint64_t SECTOR_BYTES = 512;  // the unit of sysfs, whatever the drive's blocks

/// The kernel holds a disk exclusively while it looks for partitions, and another run of this tool while it asks here:
/// neither is a use. Half a second together.
constexpr int EXCLUSIVE_OPEN_TRIES = 11;
constexpr std::chrono::milliseconds EXCLUSIVE_OPEN_POLL{50};

/// A backslash and the three octal digits of one byte.
bool isEscape(const std::string& text, size_t at) {
    const auto isDigit = [&](size_t i, char last) { return i < text.size() && text[i] >= '0' && text[i] <= last; };
    return text[at] == '\\' && isDigit(at + 1, '3') && isDigit(at + 2, '7') && isDigit(at + 3, '7');
}

/// "/mnt/my\040disk" as it is meant: the kernel writes blanks and the like as three octal digits.
std::string unescaped(const std::string& text) {
    std::string plain;
    for (size_t i = 0; i < text.size(); ++i) {
        if (!isEscape(text, i)) {
            plain += text[i];
            continue;
        }
        plain += static_cast<char>((text[i + 1] - '0') * 64 + (text[i + 2] - '0') * 8 + (text[i + 3] - '0'));
        i += 3;
    }
    return plain;
}

/// Mount points that the running system cannot lose.
bool isSystemMount(const std::string& point) {
    for (const char* const system : {"/", "/usr", "/boot", "/efi"}) {
        if (point == system) return true;
    }
    return point.compare(0, 6, "/boot/") == 0;
}

std::string withoutPeriod(std::string sentence) {
    if (!sentence.empty() && sentence.back() == '.') sentence.pop_back();
    return sentence;
}

}  // namespace

BlockUses::BlockUses(LinuxPaths paths, UseCheck check)
    : paths_(std::move(paths)),
      check_(check),
      opener_(paths_, check == UseCheck::SHOW ? BlockOpener::MissingNode::REPORT : BlockOpener::MissingNode::REPLACE),
      claims_(paths_, opener_) {
    (void)isSysfs(paths_, errors_);  // noted there, as everything else
    (void)isProcfs(paths_, errors_);
    readMounts();
    readSwaps();
}

/// The kernel's name of a device node, links followed; empty for what is no node. A node that is missing, as in a
/// container, has the name that it would have.
std::string BlockUses::blockOf(const std::string& node) const {
    char target[PATH_MAX];
    if (node.compare(0, 1, "/") != 0) return {};
    const std::string path = ::realpath(node.c_str(), target) == nullptr ? node : target;
    return path.substr(path.rfind('/') + 1);
}

void BlockUses::readMounts() {
    // "36 35 98:0 /mnt1 /mnt2 rw,noatime master:1 - ext3 /dev/root rw,errors=continue"
    const std::string path = paths_.proc + "/self/mountinfo";
    const auto table = readAll(path, errors_);
    if (!table) errors_.add(path, ENOENT);  // every kernel has it
    constexpr std::ptrdiff_t DEVICE = 2, POINT = 4, OPTIONAL_FIELDS = 5;
    for (const std::string& line : ostrel::core::splitLines(table.value_or(std::string()))) {
        const std::vector<std::string> fields = ostrel::core::splitWords(line);
        if (fields.size() <= OPTIONAL_FIELDS) continue;
        const auto dash = std::find(fields.begin() + OPTIONAL_FIELDS, fields.end(), "-");
        if (fields.end() - dash < 3) continue;
        mounts_.push_back({fields[DEVICE], blockOf(unescaped(dash[2])), unescaped(fields[POINT]), dash[1]});
    }
}

void BlockUses::readSwaps() {
    // A kernel without swap does not have the file.
    const auto lines = ostrel::core::splitLines(readAll(paths_.proc + "/swaps", errors_).value_or(std::string()));
    for (size_t i = 1; i < lines.size(); ++i) {  // after the headings
        const std::string& line = lines[i];
        const std::string block = blockOf(unescaped(line.substr(0, line.find_first_of(" \t"))));
        if (!block.empty()) swaps_.push_back(block);
    }
}

std::vector<std::string> BlockUses::partitionNames(const std::string& block) const {
    std::vector<std::string> names;
    for (const std::string& entry : listFolder(folder(block), errors_)) {
        if (entry.compare(0, block.size(), block) == 0 &&
            readNumber(folder(block) + "/" + entry + "/partition", errors_)) {
            names.push_back(entry);
        }
    }
    return names;
}

std::vector<const BlockUses::Mount*> BlockUses::mountsOf(const std::string& block) const {
    std::vector<const Mount*> found;
    const auto device = readLine(folder(block) + "/dev", errors_);
    for (const Mount& mount : mounts_) {
        if ((device && mount.device == *device) || mount.block == block) found.push_back(&mount);
    }
    return found;
}

bool BlockUses::isSwap(const std::string& block) const {
    return std::find(swaps_.begin(), swaps_.end(), block) != swaps_.end();
}

std::vector<const DeviceClaim*> BlockUses::claimsOn(DeviceClaim::Kind kind, const std::string& deviceFolder) const {
    std::vector<const DeviceClaim*> found;
    const auto line = readLine(deviceFolder + "/dev", errors_);
    const auto number = line ? toDeviceNumber(*line) : std::nullopt;
    for (const DeviceClaim& claim : claims_.all()) {
        if (number && claim.kind == kind && claim.device == *number) found.push_back(&claim);
    }
    return found;
}

bool BlockUses::holdsSystem(const DeviceClaim& claim) const {
    return std::any_of(claim.blocks.begin(), claim.blocks.end(),
                       [this](const std::string& block) { return holdsSystem(block); });
}

bool BlockUses::holdsSystem(const std::string& block) const {
    std::set<std::string> seen;
    return holdsSystem(block, seen);
}

/// `seen`: the devices of one file system lead to each other.
bool BlockUses::holdsSystem(const std::string& block, std::set<std::string>& seen) const {
    if (!seen.insert(block).second) return false;
    if (isSwap(block)) return true;
    const auto mounts = mountsOf(block);
    if (std::any_of(mounts.begin(), mounts.end(), [](const Mount* mount) { return isSystemMount(mount->point); })) {
        return true;
    }
    std::vector<std::string> above = listFolder(folder(block) + "/holders", errors_);
    const std::vector<std::string> partitions = partitionNames(block);
    above.insert(above.end(), partitions.begin(), partitions.end());
    for (const DeviceClaim* claim : claimsOn(DeviceClaim::Kind::BLOCK, folder(block))) {
        above.insert(above.end(), claim->blocks.begin(), claim->blocks.end());
    }
    return std::any_of(above.begin(), above.end(), [&](const std::string& name) { return holdsSystem(name, seen); });
}

/// "md0", or "dm-0 (vg-data)" for what has a name of its own.
std::string BlockUses::holderText(const std::string& holder) const {
    const auto name = readLine(folder(holder) + "/dm/name", errors_);
    return name ? holder + " (" + *name + ")" : holder;
}

void BlockUses::addUses(const std::string& block, std::vector<NamespaceUse>& uses) const {
    const std::string node = "/dev/" + block;
    for (const Mount* mount : mountsOf(block)) {
        uses.push_back({NamespaceUse::Kind::MOUNTED, node, mount->point, isSystemMount(mount->point)});
    }
    if (isSwap(block)) uses.push_back({NamespaceUse::Kind::SWAP, node, {}, true});
    for (const std::string& holder : listFolder(folder(block) + "/holders", errors_)) {
        uses.push_back({NamespaceUse::Kind::HELD, node, holderText(holder), holdsSystem(holder)});
    }
    for (const DeviceClaim* claim : claimsOn(DeviceClaim::Kind::BLOCK, folder(block))) {
        uses.push_back({NamespaceUse::Kind::HELD, node, claim->user, holdsSystem(*claim)});
    }
}

std::vector<NamespaceUse> BlockUses::usesOfController(const std::string& controller) const {
    std::vector<NamespaceUse> uses;
    for (const DeviceClaim* claim : claimsOn(DeviceClaim::Kind::CHARACTER, paths_.sys + "/class/nvme/" + controller)) {
        uses.push_back({NamespaceUse::Kind::HELD, "/dev/" + controller, claim->user, false});
    }
    return uses;
}

FileDescriptor BlockUses::openExclusively(const std::string& block, int& error, LookErrors& errors) const {
    for (int tries = 1;; ++tries) {
        LookErrors failed;
        FileDescriptor node = opener_.open(block, O_RDONLY | O_EXCL | O_NONBLOCK, error, failed);
        if (node.isOpen() || error != EBUSY || tries == EXCLUSIVE_OPEN_TRIES) {
            errors.add(failed);
            return node;
        }
        paths_.kernel->sleep(EXCLUSIVE_OPEN_POLL);
    }
}

void BlockUses::addUnlisted(const std::string& block, bool hasPartitions, std::vector<NamespaceUse>& uses) const {
    const auto add = [&](NamespaceUse::Kind kind, const std::string& detail) {
        uses.push_back({kind, "/dev/" + block, detail, false});
    };
    int error = 0;
    LookErrors failed;
    const FileDescriptor node = openExclusively(block, error, failed);
    if (!node.isOpen() && error == EBUSY) return add(NamespaceUse::Kind::OPENED, {});
    if (node.isOpen()) failed = claims_.errors();
    if (!failed.isEmpty()) return add(NamespaceUse::Kind::UNKNOWN, withoutPeriod(failed.text()));
    if (check_ != UseCheck::CONTENT || hasPartitions) return;
    const MediaContent content = readMediaContent(node.get());
    if (content.kind == MediaContent::Kind::KNOWN) add(NamespaceUse::Kind::CONTENT, content.text);
    if (content.kind == MediaContent::Kind::UNREADABLE) add(NamespaceUse::Kind::UNREADABLE, content.text);
}

std::vector<NamespaceUse> BlockUses::usesOf(const std::string& block) const {
    std::vector<NamespaceUse> uses;
    addUses(block, uses);
    std::vector<NamespaceUse> idle;
    for (const std::string& partition : partitionNames(block)) {
        const size_t before = uses.size();
        addUses(partition, uses);
        if (uses.size() == before) idle.push_back({NamespaceUse::Kind::PARTITION, "/dev/" + partition, {}, false});
    }
    if (uses.empty()) addUnlisted(block, !idle.empty(), uses);
    uses.insert(uses.end(), idle.begin(), idle.end());
    return uses;
}

std::vector<PartitionInfo> BlockUses::partitionsOf(const std::string& block) const {
    std::vector<PartitionInfo> partitions;
    for (const std::string& name : partitionNames(block)) {
        PartitionInfo info;
        info.node = "/dev/" + name;
        info.startBytes = readNumber(folder(name) + "/start", errors_).value_or(0) * SECTOR_BYTES;
        info.sizeBytes = readNumber(folder(name) + "/size", errors_).value_or(0) * SECTOR_BYTES;
        const auto mounts = mountsOf(name);
        if (!mounts.empty()) {
            info.fileSystem = mounts.front()->type;
            info.mountPoint = mounts.front()->point;
            struct statvfs numbers{};
            if (::statvfs(info.mountPoint.c_str(), &numbers) == 0) {
                info.freeBytes = uint64_t{numbers.f_bavail} * numbers.f_frsize;
            }
        }
        partitions.push_back(info);
    }
    return partitions;
}

/// `seen`: what lies below a device is looked at once, however many ways lead to it.
void BlockUses::addBottom(const std::string& block, std::set<std::string>& seen,
                          std::vector<std::string>& bottom) const {
    if (!seen.insert(block).second) return;
    const std::vector<std::string> slaves = listFolder(folder(block) + "/slaves", errors_);
    if (slaves.empty()) bottom.push_back(block);
    for (const std::string& slave : slaves) addBottom(slave, seen, bottom);
}

std::vector<std::string> BlockUses::rootDevices() const {
    std::vector<std::string> bottom;
    std::set<std::string> seen;
    for (const Mount& mount : mounts_) {
        if (mount.point != "/") continue;
        const auto byNumber = linkName(paths_.sys + "/dev/block/" + mount.device, errors_);
        const std::string block = byNumber ? *byNumber : mount.block;
        if (!block.empty()) addBottom(block, seen, bottom);
    }
    return bottom;
}

}  // namespace features::transport
