#pragma once

#include <cstdint>

namespace ostrel::core {

/// A Windows facility. It is here so that code written for both systems compiles; on Linux it refuses and logs.
/// Its one virtual operation is binary interface: there is no virtual destructor, and no deleting through a base.
class DeviceIOControlUtility {
public:
    /// The arguments are those of DeviceIoControl. Always false here, and nothing is touched.
    virtual bool sendIoctl(void* device, uint32_t controlCode, void* input, uint32_t inputSize, void* output,
                           uint32_t outputSize, uint32_t* bytesReturned);
};

}  // namespace ostrel::core
