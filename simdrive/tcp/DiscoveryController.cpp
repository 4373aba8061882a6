#include "simdrive/tcp/DiscoveryController.h"

#include <algorithm>
#include <cstring>

#include "features/nvme/FeatureIds.h"
#include "features/nvme/IdentifyCns.h"
#include "features/nvme/LogPageIds.h"
#include "features/nvme/Opcodes.h"

namespace simdrive::tcp {

using namespace features::nvme;

namespace {

constexpr size_t IDENTIFY_BYTES = 4096;
constexpr size_t RECORD_BYTES = 1024;
constexpr uint8_t TRANSPORT_TCP = 3;
constexpr uint8_t ADDRESS_IPV4 = 1;
constexpr uint8_t ADDRESS_IPV6 = 2;
constexpr uint8_t SUBTYPE_NVM = 2;
constexpr uint8_t TREQ_FLOW_CONTROL_OPTIONAL = 1 << 2;
constexpr uint16_t ANY_CONTROLLER = 0xFFFF;

void putText(uint8_t* at, size_t width, const std::string& text, char fill) {
    std::memset(at, fill, width);
    std::copy_n(text.begin(), std::min(width, text.size()), at);
}

void putRecord(const Place& place, size_t port, uint8_t* at) {
    at[0] = TRANSPORT_TCP;
    at[1] = place.isIpv6 ? ADDRESS_IPV6 : ADDRESS_IPV4;
    at[2] = SUBTYPE_NVM;
    at[3] = TREQ_FLOW_CONTROL_OPTIONAL;
    putLe16(at + 4, static_cast<uint16_t>(port));
    putLe16(at + 6, ANY_CONTROLLER);
    putLe16(at + 8, 32);  // ASQSZ
    putText(at + 32, 32, std::to_string(place.port), ' ');
    putText(at + 256, 256, place.subsystem, 0);
    putText(at + 512, 256, place.address, ' ');
}

/// The header and a record for each port of the drive.
std::vector<uint8_t> discoveryLog(const std::vector<Place>& places) {
    std::vector<uint8_t> log((1 + places.size()) * RECORD_BYTES);
    putLe64(log.data(), 1);  // GENCTR: nothing ever changes
    putLe64(log.data() + 8, places.size());
    for (size_t i = 0; i < places.size(); ++i) putRecord(places[i], i + 1, log.data() + (i + 1) * RECORD_BYTES);
    return log;
}

}  // namespace

Reply DiscoveryController::runAdmin(const Capsule& capsule, std::vector<uint8_t>& data) {
    const bool isEventConfiguration = (capsule.cdw(10) & 0xFF) == FID_ASYNCHRONOUS_EVENT;
    switch (capsule.opcode()) {
        case OPC_IDENTIFY:
            return identify(capsule, data);
        case OPC_GET_LOG_PAGE:
            return getLogPage(capsule, data);
        case OPC_SET_FEATURES:
            if (!isEventConfiguration) break;
            eventConfiguration_ = capsule.cdw(11);
            return {};
        case OPC_GET_FEATURES:
            if (!isEventConfiguration) break;
            return Reply{0, eventConfiguration_, false};
        default:
            return Reply::refusal(SC_INVALID_OPCODE);
    }
    return Reply::refusal(SC_INVALID_FIELD);
}

Reply DiscoveryController::runIo(const Capsule&, std::vector<uint8_t>&) {
    return Reply::refusal(SC_INVALID_OPCODE);  // there are no I/O queues
}

Reply DiscoveryController::identify(const Capsule& capsule, std::vector<uint8_t>& data) const {
    constexpr uint8_t TYPE_DISCOVERY = 2;
    if ((capsule.cdw(10) & 0xFF) != CNS_CONTROLLER) return Reply::refusal(SC_INVALID_FIELD);
    data.assign(IDENTIFY_BYTES, 0);
    uint8_t* at = data.data();
    putText(at + 4, 20, "", ' ');
    putText(at + 24, 40, "nimbrel-simdrive discovery", ' ');
    putText(at + 64, 8, "1.0", ' ');
    putLe16(at + 78, id());
    putLe32(at + 80, version());
    at[111] = TYPE_DISCOVERY;
    at[259] = 3;     // AERL
    at[261] = 0x04;  // LPA: extended data, that is offsets
    putText(at + 768, 256, DISCOVERY_NQN, 0);
    putFabricsIdentity(data);
    return {};
}

Reply DiscoveryController::getLogPage(const Capsule& capsule, std::vector<uint8_t>& data) const {
    if ((capsule.cdw(10) & 0xFF) != LID_DISCOVERY) return Reply::refusal(SC_INVALID_LOG_PAGE);
    const uint64_t length = ((capsule.cdw(10) >> 16 | uint64_t{capsule.cdw(11) & 0xFFFF} << 16) + 1) * 4;
    const uint64_t offset = capsule.cdw(12) | uint64_t{capsule.cdw(13)} << 32;
    const std::vector<uint8_t> log = discoveryLog(places_);
    if (offset % 4 != 0 || offset >= log.size() || length > MAX_TRANSFER_BYTES) {
        return Reply::refusal(SC_INVALID_FIELD);
    }
    data.assign(length, 0);
    const uint64_t count = std::min(length, log.size() - offset);
    std::copy_n(log.begin() + static_cast<std::ptrdiff_t>(offset), count, data.begin());
    return {};
}

}  // namespace simdrive::tcp
