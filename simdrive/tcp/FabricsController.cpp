#include "simdrive/tcp/FabricsController.h"

#include <algorithm>

#include "features/nvme/FeatureIds.h"
#include "features/nvme/structures/IdentifyController.h"

namespace simdrive::tcp {

using namespace features::nvme;

namespace {

constexpr uint8_t FABRICS_PROPERTY_SET = 0x00;
constexpr uint8_t FABRICS_CONNECT = 0x01;
constexpr uint8_t FABRICS_PROPERTY_GET = 0x04;
constexpr uint8_t FABRICS_DISCONNECT = 0x08;

constexpr uint8_t ADMIN_ABORT = 0x08;
constexpr uint8_t ADMIN_SET_FEATURES = 0x09;
constexpr uint8_t ADMIN_GET_FEATURES = 0x0A;
constexpr uint8_t ADMIN_EVENT_REQUEST = 0x0C;
constexpr uint8_t ADMIN_KEEP_ALIVE = 0x18;

constexpr uint32_t PROPERTY_CAP = 0x00;
constexpr uint32_t PROPERTY_VS = 0x08;
constexpr uint32_t PROPERTY_CC = 0x14;
constexpr uint32_t PROPERTY_CSTS = 0x1C;
constexpr uint32_t PROPERTY_NSSR = 0x20;
/// 128 entries a queue, contiguous queues, 10 s to become ready, subsystem reset, the NVM command set, pages of 4 KiB.
constexpr uint64_t CAP = 127 | 1U << 16 | 20U << 24 | uint64_t{1} << 36 | uint64_t{1} << 37;
constexpr uint32_t CC_ENABLE = 1;
constexpr uint32_t CC_SHUTDOWN = 3 << 14;
constexpr uint32_t CSTS_READY = 1;
constexpr uint32_t CSTS_SHUTDOWN_COMPLETE = 2 << 2;
constexpr uint32_t NSSR_NVME = 0x4E564D65;

constexpr size_t MAX_EVENT_REQUESTS = 4;
/// KAS: a host may be so much later than it promised.
constexpr uint32_t KEEP_ALIVE_GRANULARITY_MS = 1000;

}  // namespace

FabricsController::FabricsController(uint16_t id, Host host, uint32_t keepAliveMs, uint64_t nowMs)
    : id_(id),
      host_(std::move(host)),
      keepAliveMs_(keepAliveMs),
      deadlineMs_(nowMs + keepAliveMs + KEEP_ALIVE_GRANULARITY_MS) {}

Connection* FabricsController::findQueue(uint16_t queueId) const {
    const auto found =
        std::find_if(queues_.begin(), queues_.end(), [&](const Connection* each) { return each->queue.id == queueId; });
    return found == queues_.end() ? nullptr : *found;
}

void FabricsController::forget(const Connection& connection) {
    queues_.erase(std::remove(queues_.begin(), queues_.end(), &connection), queues_.end());
    if (connection.queue.id == 0) end();
}

void FabricsController::end() {
    if (isOver_) return;
    isOver_ = true;
    for (Connection* each : queues_) each->closeNow();
    if (isEnabled()) resetController();
}

bool FabricsController::isEnabled() const {
    return (configuration_ & CC_ENABLE) != 0;
}

Reply FabricsController::handle(Connection& connection, const Capsule& capsule, std::vector<uint8_t>& data,
                                uint64_t nowMs) {
    deadlineMs_ = nowMs + keepAliveMs_ + KEEP_ALIVE_GRANULARITY_MS;
    if (capsule.isFabrics()) return handleFabrics(connection, capsule);
    if (!isEnabled()) return Reply::refusal(SC_COMMAND_SEQUENCE_ERROR);
    if (connection.queue.id != 0) return runIo(capsule, data);
    const Reply reply = handleAdmin(capsule, data);
    if (reply.isSuccess()) deadlineMs_ = nowMs + keepAliveMs_ + KEEP_ALIVE_GRANULARITY_MS;  // it may be another now
    return reply;
}

Reply FabricsController::handleFabrics(Connection& connection, const Capsule& capsule) {
    const bool isAdminQueue = connection.queue.id == 0;
    switch (capsule.fabricsType()) {
        case FABRICS_CONNECT:
            return Reply::refusal(SC_COMMAND_SEQUENCE_ERROR);  // it is connected
        case FABRICS_PROPERTY_GET:
            return isAdminQueue ? getProperty(capsule) : Reply::refusal(SC_INVALID_QUEUE_TYPE);
        case FABRICS_PROPERTY_SET:
            return isAdminQueue ? setProperty(capsule) : Reply::refusal(SC_INVALID_QUEUE_TYPE);
        case FABRICS_DISCONNECT:
            if (isAdminQueue) return Reply::refusal(SC_INVALID_QUEUE_TYPE);
            connection.close();
            return {};
        default:
            return Reply::refusal(SC_INVALID_OPCODE);
    }
}

Reply FabricsController::getProperty(const Capsule& capsule) const {
    const bool isWide = (capsule.byte(40) & 7) == 1;
    switch (capsule.dword(44)) {
        case PROPERTY_CAP:
            return isWide ? Reply{0, CAP, false} : Reply::refusal(SC_INVALID_FIELD);
        case PROPERTY_VS:
            return Reply{0, version(), false};
        case PROPERTY_CC:
            return Reply{0, configuration_, false};
        case PROPERTY_CSTS:
            return Reply{0, status_, false};
        case PROPERTY_NSSR:
            return Reply{0, 0, false};
        default:
            return Reply::refusal(SC_INVALID_FIELD);
    }
}

Reply FabricsController::setProperty(const Capsule& capsule) {
    const uint32_t value = capsule.dword(48);
    const bool isWide = (capsule.byte(40) & 7) != 0;
    if (isWide) return Reply::refusal(SC_INVALID_FIELD);
    if (capsule.dword(44) == PROPERTY_CC) {
        configure(value);
        return {};
    }
    if (capsule.dword(44) != PROPERTY_NSSR) return Reply::refusal(SC_INVALID_FIELD);
    // Any other value has no effect. The admin queue stays: the Linux driver waits for the answer, and then disables
    // the controller and connects again.
    if (value == NSSR_NVME && resetSubsystem()) disable();
    return {};
}

void FabricsController::configure(uint32_t value) {
    const uint32_t before = configuration_;
    configuration_ = value;
    const bool isOn = (value & CC_ENABLE) != 0;
    const bool wasOn = (before & CC_ENABLE) != 0;
    if (isOn && !wasOn) status_ = CSTS_READY;
    if (!isOn && wasOn) {
        disable();
        configuration_ = value;
        resetController();
    }
    if ((value & CC_SHUTDOWN) != 0) status_ |= CSTS_SHUTDOWN_COMPLETE;
}

/// What a reset of any kind does here: I/O queues are deleted, held commands forgotten.
void FabricsController::disable() {
    configuration_ = status_ = 0;
    eventRequests_.clear();
    for (Connection* each : queues_) {
        if (each->queue.id == 0) {
            each->dropHeld();
        } else {
            each->closeNow();
        }
    }
}

Reply FabricsController::handleAdmin(const Capsule& capsule, std::vector<uint8_t>& data) {
    const auto fid = static_cast<uint8_t>(capsule.cdw(10));
    switch (capsule.opcode()) {
        case ADMIN_ABORT:
            return abort(capsule);
        case ADMIN_EVENT_REQUEST:
            return takeEventRequest(capsule);
        case ADMIN_KEEP_ALIVE:
            return {};
        case ADMIN_SET_FEATURES:
        case ADMIN_GET_FEATURES:
            return fid == FID_KEEP_ALIVE ? keepAliveFeature(capsule) : runAdmin(capsule, data);
        default:
            return runAdmin(capsule, data);
    }
}

/// Only a command that is held can be aborted: the others are complete before the next one is read.
Reply FabricsController::abort(const Capsule& capsule) {
    constexpr uint64_t NOT_ABORTED = 1;
    const auto queueId = static_cast<uint16_t>(capsule.cdw(10));
    const auto commandId = static_cast<uint16_t>(capsule.cdw(10) >> 16);
    Connection* queue = findQueue(queueId);
    if (queue == nullptr || !queue->completeHeld(commandId, Reply::passingRefusal(SC_ABORT_REQUESTED))) {
        return Reply{0, NOT_ABORTED, false};
    }
    const auto event = std::find(eventRequests_.begin(), eventRequests_.end(), commandId);
    if (queueId == 0 && event != eventRequests_.end()) {
        eventRequests_.erase(event);
        cancelEventRequest();
    }
    return {};
}

Reply FabricsController::takeEventRequest(const Capsule& capsule) {
    if (eventRequests_.size() == MAX_EVENT_REQUESTS) return Reply::refusal(SC_EVENT_REQUEST_LIMIT_EXCEEDED);
    const Reply reply = requestEvent(capsule);
    if (reply.isHeld) eventRequests_.push_back(capsule.commandId());
    return reply;
}

void FabricsController::completeEventRequest(uint32_t result) {
    const uint16_t commandId = eventRequests_.front();
    eventRequests_.erase(eventRequests_.begin());
    if (Connection* admin = findQueue(0)) admin->completeHeld(commandId, Reply{0, result, false});
}

/// Keep Alive Timer belongs to the association: the drive itself knows nothing of it.
Reply FabricsController::keepAliveFeature(const Capsule& capsule) {
    constexpr uint32_t SAVE = 1U << 31;
    constexpr uint32_t MAX_MS = 0xFFFF * 1000U;
    if (capsule.opcode() == ADMIN_GET_FEATURES) {
        constexpr uint32_t CAPABILITY_CHANGEABLE = 4;
        const uint32_t select = capsule.cdw(10) >> 8 & 7;
        if (select > 3) return Reply::refusal(SC_INVALID_FIELD);
        if (select == 3) return Reply{0, CAPABILITY_CHANGEABLE, false};
        return Reply{0, select == 0 ? keepAliveMs_ : 0, false};
    }
    if ((capsule.cdw(10) & SAVE) != 0) return Reply::refusal(SC_FEATURE_NOT_SAVEABLE);
    if (capsule.cdw(11) > MAX_MS) return Reply::refusal(SC_KEEP_ALIVE_TIMEOUT_INVALID);
    keepAliveMs_ = capsule.cdw(11);
    return {};
}

void putFabricsIdentity(std::vector<uint8_t>& identify) {
    constexpr uint8_t MDTS = 8;  // pages of 4 KiB: MAX_TRANSFER_BYTES
    auto controller = structureAt<IdentifyController>(identify.data());
    if (controller.mdts == 0 || controller.mdts > MDTS) controller.mdts = MDTS;
    controller.kas = KEEP_ALIVE_GRANULARITY_MS / 100;
    if (controller.maxcmd == 0) controller.maxcmd = 128;
    // Supported, data longer than the command needs, an offset into the capsule, the transport's data block.
    controller.sgls = 1U | 1U << 18 | 1U << 20 | 1U << 21;
    controller.ioccsz = (Capsule::BYTES + IN_CAPSULE_BYTES) / 16;
    controller.iorcsz = 1;
    controller.icdoff = 0;
    controller.fcatt = 0;  // dynamic controllers
    controller.msdbd = 1;
    controller.ofcs = 1;  // Disconnect
    putStructure(identify.data(), controller);
}

}  // namespace simdrive::tcp
