#include "features/nvme/Level0Discovery.h"

#include <algorithm>
#include <iterator>

#include "features/nvme/Bytes.h"
#include "features/nvme/FieldTree.h"

namespace features::nvme {

using ostrel::core::Payload;

namespace {

/// Numbers of TCG are big endian.
uint16_t be16(const uint8_t* at) {
    return static_cast<uint16_t>(at[0] << 8 | at[1]);
}
uint32_t be32(const uint8_t* at) {
    return static_cast<uint32_t>(be16(at)) << 16 | be16(at + 2);
}

constexpr size_t HEADER_BYTES = 48;
constexpr size_t LENGTH_BYTES = 4;  // which the length itself does not count
constexpr size_t DESCRIPTOR_HEAD_BYTES = 4;
constexpr uint16_t FEATURE_LOCKING = 0x0002;
constexpr uint16_t FIRST_VENDOR_FEATURE = 0xC000;

struct FeatureRow {
    uint16_t code;
    const char* name;
    uint8_t bytes;  ///< of its data at least; later versions add some at the end
};
constexpr FeatureRow FEATURES[] = {
    {0x0001, "TPer", 12},
    {FEATURE_LOCKING, "Locking", 12},
    {0x0003, "Geometry Reporting", 28},
    {0x0004, "Secure Messaging", 0},
    {0x0005, "Storage Interface Interactions", 0},
    {0x0100, "Enterprise", 16},
    {0x0200, "Opal v1", 16},
    {0x0201, "Single User Mode", 0},
    {0x0202, "Additional DataStore Tables", 12},
    {0x0203, "Opal v2", 16},
    {0x0301, "Opalite", 16},
    {0x0302, "Pyrite v1", 16},
    {0x0303, "Pyrite v2", 16},
    {0x0304, "Ruby", 16},
    {0x0305, "Key Per I/O", 0},
    {0x0402, "Block SID Authentication", 12},
    {0x0403, "Configurable Namespace Locking", 0},
    {0x0404, "Supported Data Removal Mechanism", 0},
    {0x0405, "Namespace Geometry Reporting", 0},
    {0x0407, "Shadow MBR for Multiple Namespaces", 0},
};

const FeatureRow* findFeature(uint16_t code) {
    const auto* row =
        std::find_if(std::begin(FEATURES), std::end(FEATURES), [code](const FeatureRow& r) { return r.code == code; });
    return row == std::end(FEATURES) ? nullptr : row;
}

std::string nameOf(uint16_t code) {
    if (const FeatureRow* const row = findFeature(code)) return row->name;
    return (code >= FIRST_VENDOR_FEATURE ? "Vendor specific " : "") + hexText(code, 4);
}

void addLocking(uint8_t flags, Level0Discovery& discovery) {
    constexpr unsigned LOCKING_ENABLED = 1;
    constexpr unsigned LOCKED = 2;
    constexpr unsigned MBR_ENABLED = 4;
    constexpr unsigned MBR_DONE = 5;
    discovery.isLockingEnabled |= bit(flags, LOCKING_ENABLED);
    discovery.isLocked |= bit(flags, LOCKED);
    discovery.isMbrShadowed |= bit(flags, MBR_ENABLED) && !bit(flags, MBR_DONE);
}

}  // namespace

std::string Level0Discovery::featureText() const {
    if (features.empty()) return "none";
    std::string text;
    for (const uint16_t code : features) text += (text.empty() ? "" : ", ") + nameOf(code);
    return text;
}

bool isSecurityProtocolListed(const Payload& list, uint8_t protocol) {
    constexpr size_t LIST_HEAD_BYTES = 8;
    if (list.getSize() < LIST_HEAD_BYTES) return false;
    const uint8_t* const first = list.getData() + LIST_HEAD_BYTES;
    const size_t count = std::min<size_t>(be16(list.getData() + 6), list.getSize() - LIST_HEAD_BYTES);
    return std::find(first, first + count, protocol) != first + count;
}

std::optional<Level0Discovery> decodeLevel0Discovery(const Payload& data) {
    if (data.getSize() < HEADER_BYTES) return std::nullopt;
    const uint64_t end = uint64_t{be32(data.getData())} + LENGTH_BYTES;
    if (end < HEADER_BYTES || end > data.getSize()) return std::nullopt;
    Level0Discovery discovery;
    for (size_t at = HEADER_BYTES; at < end;) {
        if (end - at < DESCRIPTOR_HEAD_BYTES) return std::nullopt;
        const uint8_t* const descriptor = data.getData() + at;
        const uint16_t code = be16(descriptor);
        const size_t bytes = descriptor[3];
        const FeatureRow* const row = findFeature(code);
        if (bytes > end - at - DESCRIPTOR_HEAD_BYTES || (row != nullptr && bytes < row->bytes)) return std::nullopt;
        if (code == FEATURE_LOCKING) addLocking(descriptor[DESCRIPTOR_HEAD_BYTES], discovery);
        // Code 0 is reserved: some drives fill up with zeros, and count them.
        if (code != 0) discovery.features.push_back(code);
        at += DESCRIPTOR_HEAD_BYTES + bytes;
    }
    return discovery;
}

}  // namespace features::nvme
