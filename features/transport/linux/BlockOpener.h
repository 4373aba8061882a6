#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

#include "features/transport/LookErrors.h"
#include "features/transport/linux/LinuxPaths.h"
#include "ostrel/core/FileDescriptor.h"

namespace features::transport {

/// A device number as sysfs writes it, "259:1"; absent when the text is none.
std::optional<dev_t> toDeviceNumber(const std::string& text);

/// Opens block devices by the number that sysfs has for them, so that what is opened is the device that was meant. A
/// node of the device folder that is missing, as in a container, or that is another device is not followed.
///
/// Threads: any number at once.
class BlockOpener {
public:
    /// What is done about a missing node.
    enum class MissingNode {
        REPORT,   ///< an error
        REPLACE,  ///< a node under a random name is made in the device folder, opened, and removed at once
    };
    BlockOpener(LinuxPaths paths, MissingNode missing) : paths_(std::move(paths)), missing_(missing) {}

    /// `block` is the name in /sys/class/block, `flags` are those of open(2). Not open: `error` is the errno, and
    /// `errors` has the call that failed.
    ostrel::core::FileDescriptor open(const std::string& block, int flags, int& error, LookErrors& errors) const;

private:
    ostrel::core::FileDescriptor openNode(const std::string& node, dev_t number, int flags, int& error) const;
    ostrel::core::FileDescriptor openTemporary(dev_t number, int flags, int& error, LookErrors& errors) const;

    LinuxPaths paths_;
    MissingNode missing_;
};

}  // namespace features::transport
