#include "features/transport/linux/DeviceClaims.h"

#include "features/transport/linux/ClaimReaders.h"

namespace features::transport {

namespace {

constexpr void (*READERS[])(const ClaimSearch&) = {
    readLoopClaims,
    readNvmeTargetClaims,
    readScsiTargetClaims,
    readBtrfsClaims,
};

}  // namespace

DeviceClaims::DeviceClaims(const LinuxPaths& paths, const BlockOpener& opener) {
    for (const auto read : READERS) read({paths, opener, claims_, errors_});
}

}  // namespace features::transport
