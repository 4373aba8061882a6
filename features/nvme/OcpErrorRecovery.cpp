#include "features/nvme/OcpErrorRecovery.h"

#include <cstring>

#include "features/nvme/Bytes.h"

namespace features::nvme {

namespace {

constexpr size_t OFFSET_PANIC_ID = 4;
constexpr size_t OFFSET_VERSION = 494;  // of every OCP log page, before its GUID
constexpr size_t OFFSET_GUID = 496;
constexpr uint16_t SMART_VERSION_OF_OCP_2_0 = 3;

/// 5A1983BA-3DFD-4DAB-AE34-30FE2131D944, from its last byte to its first.
constexpr uint8_t GUID[] = {0x44, 0xD9, 0x31, 0x21, 0xFE, 0x30, 0x34, 0xAE,
                            0xAB, 0x4D, 0xFD, 0x3D, 0xBA, 0x83, 0x19, 0x5A};

}  // namespace

bool hasOcpErrorRecovery(const uint8_t* ocpSmart) {
    return le16(ocpSmart + OFFSET_VERSION) >= SMART_VERSION_OF_OCP_2_0;
}

bool isOcpErrorRecovery(const ostrel::core::Payload& data) {
    return data.getSize() >= OCP_ERROR_RECOVERY_BYTES &&
           std::memcmp(data.getData() + OFFSET_GUID, GUID, sizeof GUID) == 0;
}

uint64_t ocpPanicId(const uint8_t* page) {
    return le64(page + OFFSET_PANIC_ID);
}

}  // namespace features::nvme
