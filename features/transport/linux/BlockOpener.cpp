#include "features/transport/linux/BlockOpener.h"

#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <cerrno>
#include <charconv>
#include <random>

#include "features/transport/linux/Sysfs.h"
#include "ostrel/core/SignalBlock.h"

namespace features::transport {

using ostrel::core::FileDescriptor;

namespace {

constexpr mode_t NODE_MODE = S_IFBLK | 0600;

/// No other process can prepare a file of that name; mknod(2) follows no link and replaces nothing.
std::string randomName() {
    std::random_device random;
    char digits[17] = {};
    const uint64_t number = uint64_t{random()} << 32 | random();
    (void)std::to_chars(digits, digits + sizeof digits - 1, number, 16);  // 16 digits are enough
    return std::string(".nimbrel-") + digits;
}

bool isDevice(const struct stat& status, dev_t number) {
    return S_ISBLK(status.st_mode) && status.st_rdev == number;
}

}  // namespace

std::optional<dev_t> toDeviceNumber(const std::string& text) {
    unsigned major = 0;
    unsigned minor = 0;
    const char* const end = text.data() + text.size();
    const auto first = std::from_chars(text.data(), end, major);
    if (first.ec != std::errc() || first.ptr == end || *first.ptr != ':') return std::nullopt;
    const auto second = std::from_chars(first.ptr + 1, end, minor);
    if (second.ec != std::errc() || second.ptr != end) return std::nullopt;
    return makedev(major, minor);
}

/// ENOENT also means that the node is another device.
FileDescriptor BlockOpener::openNode(const std::string& node, dev_t number, int flags, int& error) const {
    struct stat status{};
    if (paths_.kernel->stat(node, status) < 0) {
        error = errno;
        return {};
    }
    error = ENOENT;
    if (!isDevice(status, number)) return {};
    FileDescriptor opened(paths_.kernel->open(node, flags));
    if (!opened.isOpen()) {
        error = errno;
        return {};
    }
    // The node may have been replaced since.
    if (paths_.kernel->stat(opened.get(), status) < 0 || !isDevice(status, number)) return {};
    error = 0;
    return opened;
}

FileDescriptor BlockOpener::openTemporary(dev_t number, int flags, int& error, LookErrors& errors) const {
    const ostrel::core::SignalBlock untilItIsRemoved;
    const std::string node = paths_.dev + "/" + randomName();
    if (paths_.kernel->makeNode(node, NODE_MODE, number) < 0) {
        error = errno;
        errors.add("mknod " + node, error);
        return {};
    }
    FileDescriptor opened = openNode(node, number, flags, error);
    if (error != 0) errors.add("open " + node, error);
    if (paths_.kernel->unlink(node) == 0) return opened;
    error = errno;
    errors.add("unlink " + node, error);
    return {};
}

FileDescriptor BlockOpener::open(const std::string& block, int flags, int& error, LookErrors& errors) const {
    const std::string file = paths_.sys + "/class/block/" + block + "/dev";
    const auto line = readLine(file, errors);
    const auto number = line ? toDeviceNumber(*line) : std::nullopt;
    if (!number) {
        error = ENOENT;
        errors.add(file, error, "no device number");
        return {};
    }
    const std::string node = paths_.dev + "/" + block;
    FileDescriptor opened = openNode(node, *number, flags, error);
    if (error == ENOENT && missing_ == MissingNode::REPLACE) return openTemporary(*number, flags, error, errors);
    if (error != 0) errors.add("open " + node, error);
    return opened;
}

}  // namespace features::transport
