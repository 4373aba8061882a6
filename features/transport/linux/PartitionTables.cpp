#include "features/transport/linux/PartitionTables.h"

#include <fcntl.h>
#include <linux/fs.h>

#include <algorithm>

#include "features/transport/linux/BlockOpener.h"
#include "features/transport/linux/BlockUses.h"

namespace features::transport {

using ostrel::core::FileDescriptor;

void rereadPartitionTables(const LinuxPaths& paths, const std::vector<std::string>& blocks) {
    const BlockUses uses(paths, UseCheck::DESTROY);
    if (!uses.errors().isEmpty()) return;
    LookErrors errors;  // a disk that is not found or opened is left alone
    const BlockOpener opener(paths, BlockOpener::MissingNode::REPLACE);
    for (const std::string& block : blocks) {
        const std::vector<NamespaceUse> found = uses.usesOf(block);
        if (!uses.errors().isEmpty()) return;
        const bool isUsed =
            std::any_of(found.begin(), found.end(), [](const NamespaceUse& use) { return !use.isContentAlone(); });
        if (isUsed) continue;
        int error = 0;
        const FileDescriptor node = opener.open(block, O_RDONLY, error, errors);
        if (node.isOpen()) (void)paths.kernel->ioctl(node.get(), BLKRRPART, nullptr);  // see above
    }
}

}  // namespace features::transport
