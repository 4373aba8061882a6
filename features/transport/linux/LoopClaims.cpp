#include <fcntl.h>
#include <linux/loop.h>

#include <cerrno>

#include "features/transport/linux/ClaimReaders.h"
#include "features/transport/linux/Sysfs.h"

namespace features::transport {

using ostrel::core::FileDescriptor;

void readLoopClaims(const ClaimSearch& search) {
    const std::string folder = search.paths.sys + "/class/block";
    for (const std::string& block : listFolder(folder, search.errors)) {
        if (block.compare(0, 4, "loop") != 0) continue;
        const auto backing = readLine(folder + "/" + block + "/loop/backing_file", search.errors);
        if (!backing) continue;  // not set up, or the partition of one
        // The path is that of another time, maybe of another mount namespace: the device number decides.
        int error = 0;
        const FileDescriptor node = search.opener.open(block, O_RDONLY | O_NONBLOCK, error, search.errors);
        if (!node.isOpen()) continue;
        loop_info64 info{};
        if (search.paths.kernel->ioctl(node.get(), LOOP_GET_STATUS64, &info) < 0) {
            error = errno;
            if (error != ENXIO) search.errors.add("/dev/" + block, error);  // ENXIO: released meanwhile
            continue;
        }
        // A file has no device number: then that of its file system.
        const dev_t device = info.lo_rdevice != 0 ? info.lo_rdevice : info.lo_device;
        search.claims.push_back({DeviceClaim::Kind::BLOCK, device, block + " (" + *backing + ")", {block}});
    }
}

}  // namespace features::transport
