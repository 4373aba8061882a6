#include "features/simulator/store/TcgDiscovery.h"

#include "features/nvme/Level0Discovery.h"

namespace features::simulator {

using namespace nvme;
using Bytes = std::vector<uint8_t>;

namespace {

// Of the Locking feature's first byte.
constexpr uint8_t LOCKING_SUPPORTED = 0x01;
constexpr uint8_t LOCKING_ENABLED = 0x02;
constexpr uint8_t LOCKED = 0x04;
constexpr uint8_t MEDIA_ENCRYPTION = 0x08;
constexpr uint8_t MBR_ENABLED = 0x10;

Bytes protocolList() {
    return {0, 0, 0, 0, 0, 0, 0, 2, SECURITY_PROTOCOL_INFORMATION, SECURITY_PROTOCOL_TCG};
}

uint8_t lockingFlags(TcgState state) {
    uint8_t flags = LOCKING_SUPPORTED | MEDIA_ENCRYPTION;
    if (state != TcgState::INACTIVE) flags |= LOCKING_ENABLED;
    if (isLocked(state)) flags |= LOCKED;
    if (state == TcgState::SHADOWED) flags |= MBR_ENABLED;
    return flags;
}

/// Version 1 of a descriptor, with zeros after its data.
void append(Bytes& bytes, uint16_t code, uint8_t length, const Bytes& data) {
    constexpr uint8_t VERSION_1 = 0x10;
    bytes.insert(bytes.end(), {static_cast<uint8_t>(code >> 8), static_cast<uint8_t>(code), VERSION_1, length});
    bytes.insert(bytes.end(), data.begin(), data.end());
    bytes.resize(bytes.size() + length - data.size());
}

/// TPer, Locking and Opal v2, with ComID 07FEh.
Bytes level0Discovery(TcgState state) {
    constexpr size_t HEADER_BYTES = 48;
    Bytes bytes(HEADER_BYTES);
    bytes[7] = 1;                       // minor version of the structure
    append(bytes, 0x0001, 12, {0x11});  // synchronous protocol, streaming
    append(bytes, 0x0002, 12, {lockingFlags(state)});
    append(bytes, 0x0203, 16, {0x07, 0xFE, 0x00, 0x01, 0x00, 0x00, 0x04, 0x00, 0x08});
    bytes[3] = static_cast<uint8_t>(bytes.size() - 4);
    return bytes;
}

}  // namespace

Bytes securityAnswer(uint8_t protocol, uint16_t specific, TcgState state) {
    if (protocol == SECURITY_PROTOCOL_INFORMATION && specific == 0) return protocolList();
    if (protocol == SECURITY_PROTOCOL_TCG && specific == COMID_LEVEL_0_DISCOVERY) return level0Discovery(state);
    return {};
}

}  // namespace features::simulator
