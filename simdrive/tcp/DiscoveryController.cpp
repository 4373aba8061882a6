#include "simdrive/tcp/DiscoveryController.h"

#include <algorithm>

#include "features/nvme/FeatureIds.h"
#include "features/nvme/IdentifyCns.h"
#include "features/nvme/LogPageIds.h"
#include "features/nvme/Opcodes.h"
#include "features/nvme/structures/IdentifyController.h"
#include "features/simulator/store/PaddedText.h"
#include "simdrive/tcp/DiscoveryLog.h"

namespace simdrive::tcp {

using namespace features::nvme;
using features::simulator::putText;

namespace {

constexpr uint8_t TRANSPORT_TCP = 3;
constexpr uint8_t ADDRESS_IPV4 = 1;
constexpr uint8_t ADDRESS_IPV6 = 2;
constexpr uint8_t SUBTYPE_NVM = 2;
constexpr uint8_t TREQ_FLOW_CONTROL_OPTIONAL = 1 << 2;
constexpr uint16_t ANY_CONTROLLER = 0xFFFF;

/// Zeros after the text, not the blanks of other texts.
void putName(ByteArray<256>& bytes, const std::string& name) {
    std::copy_n(name.begin(), std::min(bytes.size(), name.size()), bytes.begin());
}

DiscoveryLogEntry entryOf(const Place& place, size_t port) {
    DiscoveryLogEntry entry{};
    entry.transportType = TRANSPORT_TCP;
    entry.addressFamily = place.isIpv6 ? ADDRESS_IPV6 : ADDRESS_IPV4;
    entry.subsystemType = SUBTYPE_NVM;
    entry.transportRequirements = TREQ_FLOW_CONTROL_OPTIONAL;
    entry.portId = static_cast<uint16_t>(port);
    entry.controllerId = ANY_CONTROLLER;
    entry.maxAdminQueueEntries = 32;
    putText(entry.serviceId, std::to_string(place.port));
    putName(entry.subsystem, place.subsystem);
    putText(entry.address, place.address);
    return entry;
}

/// The header and an entry for each port of the drive.
std::vector<uint8_t> discoveryLog(const std::vector<Place>& places) {
    DiscoveryLogHeader header{};
    header.generation = 1;  // nothing ever changes
    header.records = places.size();
    std::vector<uint8_t> log = bytesOf(header);
    for (size_t i = 0; i < places.size(); ++i) {
        const std::vector<uint8_t> entry = bytesOf(entryOf(places[i], i + 1));
        log.insert(log.end(), entry.begin(), entry.end());
    }
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
    IdentifyController controller{};
    putText(controller.sn, "");
    putText(controller.mn, "nimbrel-simdrive discovery");
    putText(controller.fr, "1.0");
    controller.cntlid = id();
    controller.ver = version();
    controller.cntrltype = TYPE_DISCOVERY;
    controller.aerl = 3;
    controller.lpa = 0x04;  // extended data, that is offsets
    putName(controller.subnqn, DISCOVERY_NQN);
    data = bytesOf(controller);
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
    data.assign(static_cast<size_t>(length), 0);
    const uint64_t count = std::min(length, log.size() - offset);
    std::copy_n(log.begin() + static_cast<std::ptrdiff_t>(offset), count, data.begin());
    return {};
}

}  // namespace simdrive::tcp
