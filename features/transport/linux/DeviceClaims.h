#pragma once

#include <vector>

#include "features/transport/LookErrors.h"
#include "features/transport/linux/BlockOpener.h"
#include "features/transport/linux/DeviceClaim.h"
#include "features/transport/linux/LinuxPaths.h"

namespace features::transport {

/// All uses of that kind that the kernel shows: a row of the table in DeviceClaims.cpp for each kind. A snapshot.
class DeviceClaims {
public:
    DeviceClaims(const LinuxPaths& paths, const BlockOpener& opener);

    const std::vector<DeviceClaim>& all() const { return claims_; }
    /// What could not be looked at: any device may be in use that way.
    const LookErrors& errors() const { return errors_; }

private:
    std::vector<DeviceClaim> claims_;
    LookErrors errors_;
};

}  // namespace features::transport
