#pragma once

#include <cstdint>

#include "features/errors/Result.h"
#include "features/jobs/base/Arguments.h"

namespace features::jobs {

/// A self-test by its word in "TestType". NVMe and ATA have the same codes.
struct SelfTestRow {
    const char* word;
    uint8_t code;
    bool isOnNvme;
};

/// Which self-test is asked for, and how.
struct SelfTestRequest {
    const SelfTestRow* test;
    bool isCaptive;  ///< "Mode" is "captive"; otherwise "offline", also when there is none
};

/// Of the arguments "TestType" (short when there is none) and "Mode"; 10/46 for other words. `hasSata`: whether a SATA
/// drive is among those that the request is for, which has one test more.
Result<SelfTestRequest> readSelfTestRequest(const Arguments& arguments, bool hasSata);

}  // namespace features::jobs
