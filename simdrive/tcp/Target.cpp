#include "simdrive/tcp/Target.h"

#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "ostrel/core/SystemError.h"
#include "simdrive/net/Sockets.h"
#include "simdrive/net/Time.h"
#include "simdrive/tcp/DriveController.h"

namespace simdrive::tcp {

using namespace features::nvme;
using net::nowMs;
using ostrel::core::FileDescriptor;
using ostrel::core::Status;

namespace {

constexpr uint8_t FABRICS_CONNECT = 0x01;
constexpr uint8_t FABRICS_AUTH_SEND = 0x05;
constexpr uint8_t FABRICS_AUTH_RECEIVE = 0x06;
constexpr size_t CONNECT_DATA_BYTES = 1024;
constexpr uint16_t ANY_CONTROLLER = 0xFFFF;
constexpr uint16_t MAX_QUEUE_ENTRIES = 128;
/// For a connection that does not become a queue, does not authenticate, or does not take its last output.
constexpr uint64_t IDLE_MS = 10000;
/// For a queue in the middle of a unit, or with output that the host does not take: without a byte for so long.
constexpr uint64_t STALL_MS = 30000;
/// Of a Discovery controller whose host promised no keep alive.
constexpr uint32_t DISCOVERY_KEEP_ALIVE_MS = 120000;
constexpr uint64_t ACCEPT_PAUSE_MS = 500;
constexpr int TICK_MS = 500;  ///< how often events of the drive are looked for

// Offsets in the Connect command and in its data: Invalid Parameter Offset of a refusal.
constexpr uint16_t AT_FORMAT = 40;
constexpr uint16_t AT_QUEUE_ID = 42;
constexpr uint16_t AT_QUEUE_SIZE = 44;
constexpr uint16_t AT_ATTRIBUTES = 46;
constexpr uint16_t AT_KEEP_ALIVE = 48;
constexpr uint16_t AT_CONTROLLER_ID = 16;
constexpr uint16_t AT_SUBSYSTEM = 256;
constexpr uint16_t AT_HOST = 512;
constexpr size_t NAME_BYTES = 256;

Reply invalidInCommand(uint16_t offset) {
    return Reply::refusal(SC_CONNECT_INVALID_PARAMETERS, offset);
}
Reply invalidInData(uint16_t offset) {
    constexpr uint32_t IATTR_DATA = 1 << 16;
    return Reply::refusal(SC_CONNECT_INVALID_PARAMETERS, offset | IATTR_DATA);
}

/// An NVMe Qualified Name: at most 223 bytes, zero-terminated. Empty: it is none.
std::string nameAt(const std::vector<uint8_t>& data, size_t offset) {
    constexpr size_t MOST = 223;
    const auto* at = reinterpret_cast<const char*>(data.data() + offset);
    const std::string name(at, strnlen(at, NAME_BYTES));
    return name.size() <= MOST && name.compare(0, 4, "nqn.") == 0 ? name : std::string();
}

}  // namespace

Status Target::listen(features::simulator::Controller& drive, const std::string& address, uint16_t port) {
    TRY(const std::vector<uint8_t> identify, identifyDrive(drive));
    const auto* subsystem = reinterpret_cast<const char*>(identify.data() + 768);
    TRY(net::Listener listener, net::listenOn(address, port));
    places_.push_back(
        {std::string(subsystem, strnlen(subsystem, NAME_BYTES)), address, listener.port, listener.isIpv6});
    ports_.push_back({drive, std::move(listener.socket)});
    // No connection is the one for which there is no memory.
    waits_.reserve(1 + ports_.size() * (1 + MAX_CONNECTIONS));
    return Status();
}

Status Target::run(int stop) {
    for (bool isStopped = false; !isStopped;) {
        TRY(isStopped, turn(stop, waitMs()));
    }
    for (const auto& each : controllers_) each->end();
    connections_.clear();
    controllers_.clear();
    return Status();
}

features::Result<bool> Target::turn(int stop, int maxWaitMs) {
    waits_.clear();
    waits_.push_back({stop, POLLIN, 0});
    const bool isListening = nowMs() >= listenAgainMs_;
    for (const Port& each : ports_) {
        waits_.push_back({each.listener.get(), static_cast<short>(isListening ? POLLIN : 0), 0});
    }
    const size_t firstConnection = waits_.size();
    for (const auto& each : connections_) {
        const int events = (each->wantsToRead() ? POLLIN : 0) | (each->wantsToWrite() ? POLLOUT : 0);
        waits_.push_back({each->descriptor(), static_cast<short>(events), 0});
    }
    if (poll(waits_.data(), waits_.size(), maxWaitMs) < 0) {
        if (errno == EINTR) return false;
        return net::systemStatus(errno, "poll");
    }
    if (waits_[0].revents != 0) return true;
    for (size_t i = firstConnection; i < waits_.size(); ++i) {
        Connection& connection = *connections_[i - firstConnection];
        if (!net::isDoneWithinMemory([&] { serve(connection, waits_[i].revents); })) connection.closeNow();
    }
    lookAfterTime();
    removeEnded();
    for (size_t port = 0; port < ports_.size(); ++port) {
        if (waits_[1 + port].revents != 0) (void)net::isDoneWithinMemory([&] { accept(port); });
    }
    return false;
}

void Target::accept(size_t port) {
    sockaddr_storage peer{};
    socklen_t length = sizeof peer;
    FileDescriptor socket(accept4(ports_[port].listener.get(), reinterpret_cast<sockaddr*>(&peer), &length,
                                  SOCK_NONBLOCK | SOCK_CLOEXEC));
    if (!socket.isOpen()) {
        pauseListening(errno);
        return;
    }
    isOutOfDescriptors_ = false;
    const std::string address = net::addressOf(peer);
    const auto isOfPort = [&](const auto& each) { return each->port == port; };
    const auto ofPort = std::count_if(connections_.begin(), connections_.end(), isOfPort);
    const auto ofPeer = std::count_if(connections_.begin(), connections_.end(),
                                      [&](const auto& each) { return isOfPort(each) && each->peer == address; });
    const bool isFull = static_cast<size_t>(ofPort) >= MAX_CONNECTIONS || static_cast<size_t>(ofPeer) >= MAX_OF_PEER;
    if (isFull || !net::leavesRoom(socket.get())) return;
    net::enableTcpKeepAlive(socket.get());
    adopt(std::move(socket), address, port);
}

void Target::adopt(FileDescriptor socket, std::string peer, size_t port) {
    connections_.push_back(std::make_unique<Connection>(std::move(socket), *this));
    connections_.back()->peer = std::move(peer);
    connections_.back()->port = port;
    connections_.back()->deadlineMs = nowMs() + IDLE_MS;
}

/// The connection that could not be accepted stays in the queue and would wake poll() at once, again and again.
void Target::pauseListening(int error) {
    if (error == EAGAIN || error == EINTR || error == ECONNABORTED) return;
    listenAgainMs_ = nowMs() + ACCEPT_PAUSE_MS;
    if (isOutOfDescriptors_) return;
    isOutOfDescriptors_ = true;
    std::fprintf(stderr, "nimbrel-simdrive: No further connections for now: %s.\n",
                 ostrel::core::systemErrorText(error).c_str());
}

void Target::serve(Connection& connection, int events) {
    if (connection.isOver()) return;  // another queue of the same association ended it
    if ((events & (POLLIN | POLLHUP | POLLERR)) != 0) {
        if (connection.wantsToRead()) {
            connection.onReadable();
        } else if ((events & (POLLHUP | POLLERR)) != 0) {
            connection.closeNow();
        }
    }
    // At once, not after another poll: most answers fit.
    if (!connection.isOver() && connection.wantsToWrite()) connection.onWritable();
}

void Target::lookAfterTime() {
    const uint64_t now = nowMs();
    for (const auto& each : controllers_) {
        if (!net::isDoneWithinMemory([&] { each->lookAfterDrive(now); }) || each->isExpired(now)) each->end();
    }
    for (const auto& each : connections_) {
        if (!net::isDoneWithinMemory([&] { each->answerDue(now); })) each->closeNow();
        const bool isQueue = each->queue.controller != nullptr && each->queue.isAuthenticated();
        const bool isStalled = !each->takeProgress() && each->isWaitingForHost();
        if (isQueue && !each->isClosing() && !isStalled) {
            each->deadlineMs = now + STALL_MS;
        } else if (now > each->deadlineMs) {
            each->closeNow();
        }
    }
}

void Target::removeEnded() {
    // Twice: the end of an admin queue ends the other connections of its association.
    for (int pass = 0; pass < 2; ++pass) {
        for (const auto& each : connections_) {
            if (each->isOver() && each->queue.controller != nullptr) each->queue.controller->forget(*each);
        }
    }
    const auto isOver = [](const auto& each) { return each->isOver(); };
    connections_.erase(std::remove_if(connections_.begin(), connections_.end(), isOver), connections_.end());
    // Its admin queue may still be sending its last answer.
    const auto isForgotten = [&](const auto& controller) {
        return controller->isOver() && std::none_of(connections_.begin(), connections_.end(), [&](const auto& each) {
                   return each->queue.controller == controller.get();
               });
    };
    controllers_.erase(std::remove_if(controllers_.begin(), controllers_.end(), isForgotten), controllers_.end());
}

int Target::waitMs() const {
    if (connections_.empty() && nowMs() >= listenAgainMs_) return -1;
    const uint64_t now = nowMs();
    uint64_t wait = TICK_MS;
    for (const auto& each : connections_) wait = std::min(wait, each->nextDueMs() - std::min(each->nextDueMs(), now));
    return static_cast<int>(wait);
}

FabricsController* Target::findController(uint16_t id) const {
    const auto found = std::find_if(controllers_.begin(), controllers_.end(),
                                    [&](const auto& each) { return each->id() == id && each->isAdmitted(); });
    return found == controllers_.end() ? nullptr : found->get();
}

Reply Target::handle(Connection& connection, const Capsule& capsule, std::vector<uint8_t>& data) {
    FabricsController* controller = connection.queue.controller;
    if (controller != nullptr) {
        if (controller->isOver()) return Reply::held();
        if (!connection.queue.isAuthenticated()) return authenticate(connection, capsule, data);
        return controller->handle(connection, capsule, data, nowMs());
    }
    if (!capsule.isFabrics() || capsule.fabricsType() != FABRICS_CONNECT) {
        return Reply::refusal(SC_COMMAND_SEQUENCE_ERROR);
    }
    return connect(connection, capsule, data);
}

Reply Target::connect(Connection& connection, const Capsule& capsule, const std::vector<uint8_t>& data) {
    if (capsule.word(AT_FORMAT) != 0) return Reply::refusal(SC_CONNECT_INCOMPATIBLE_FORMAT);
    if (data.size() != CONNECT_DATA_BYTES) return Reply::refusal(SC_DATA_SGL_LENGTH_INVALID);
    const uint16_t size0Based = capsule.word(AT_QUEUE_SIZE);
    if (size0Based == 0 || size0Based >= MAX_QUEUE_ENTRIES) return invalidInCommand(AT_QUEUE_SIZE);
    Host host;
    std::copy_n(data.begin(), host.identifier.size(), host.identifier.begin());
    host.name = nameAt(data, AT_HOST);
    if (host.name.empty()) return invalidInData(AT_HOST);
    const std::string subsystem = nameAt(data, AT_SUBSYSTEM);
    if (subsystem != places_[0].subsystem && subsystem != DISCOVERY_NQN) return invalidInData(AT_SUBSYSTEM);

    const bool isAdmin = capsule.word(AT_QUEUE_ID) == 0;
    const Reply reply =
        isAdmin ? connectAdmin(connection, capsule, data, std::move(host)) : connectIo(connection, capsule, data, host);
    if (!reply.isSuccess() || reply.isHeld) return reply;
    constexpr uint8_t NO_FLOW_CONTROL = 1 << 2;
    connection.queue.id = capsule.word(AT_QUEUE_ID);
    connection.queue.entries = static_cast<uint16_t>(size0Based + 1);
    connection.queue.isFlowControlled = (capsule.byte(AT_ATTRIBUTES) & NO_FLOW_CONTROL) == 0;
    connection.queue.controller->add(connection);
    if (requirement_ == nullptr || subsystem == DISCOVERY_NQN) return reply;
    constexpr uint32_t AUTHREQ_ATR = 1 << 17;
    connection.queue.authentication = std::make_unique<auth::Authentication>(
        *requirement_, connection.queue.controller->host().name, places_[0].subsystem);
    return Reply{reply.statusField, reply.result | AUTHREQ_ATR, false};
}

/// Until it is authenticated a queue takes Authentication Send and Receive alone.
Reply Target::authenticate(Connection& connection, const Capsule& capsule, std::vector<uint8_t>& data) {
    constexpr uint32_t DH_CHAP = 0xE9000000 | 1 << 16 | 1 << 8;  // SECP E9h, SPSP1 and SPSP0 1
    constexpr uint32_t MAX_MESSAGE_BYTES = 16384;
    constexpr unsigned DWORD_PROTOCOL = 10;
    constexpr unsigned DWORD_LENGTH = 11;
    const bool isSend = capsule.isFabrics() && capsule.fabricsType() == FABRICS_AUTH_SEND;
    const bool isReceive = capsule.isFabrics() && capsule.fabricsType() == FABRICS_AUTH_RECEIVE;
    if (!isSend && !isReceive) return Reply::refusal(SC_AUTHENTICATION_REQUIRED);
    const uint32_t length = capsule.cdw(DWORD_LENGTH);
    if (capsule.cdw(DWORD_PROTOCOL) != DH_CHAP || length == 0 || length > MAX_MESSAGE_BYTES ||
        length != capsule.sglLength()) {
        return Reply::refusal(SC_INVALID_FIELD);
    }
    auth::Authentication& authentication = *connection.queue.authentication;
    if (isSend) {
        const bool isTaken = authentication.take(data);
        if (authentication.isFailed()) connection.close();
        if (authentication.isSuccessful()) admit(connection);
        return isTaken ? Reply() : Reply::refusal(SC_COMMAND_SEQUENCE_ERROR);
    }
    data = authentication.give(length);
    if (data.empty()) return Reply::refusal(SC_COMMAND_SEQUENCE_ERROR);
    if (data.size() > length) return Reply::refusal(SC_DATA_SGL_LENGTH_INVALID);
    if (authentication.isFailed()) connection.close();
    if (authentication.isSuccessful()) admit(connection);
    data.resize(length);  // the rest is zeros
    return {};
}

/// Of several hosts that connected, the first that is authenticated gets the drive.
void Target::admit(Connection& connection) {
    FabricsController* controller = connection.queue.controller;
    if (connection.queue.id != 0) return;
    if (findController(controller->id()) != nullptr) {
        connection.close();
    } else {
        controller->admit();
    }
}

Reply Target::connectAdmin(Connection& connection, const Capsule& capsule, const std::vector<uint8_t>& data,
                           Host host) {
    if (le16(data.data() + AT_CONTROLLER_ID) != ANY_CONTROLLER) return invalidInData(AT_CONTROLLER_ID);
    const uint32_t keepAliveMs = capsule.dword(AT_KEEP_ALIVE);
    std::unique_ptr<FabricsController> controller;
    const bool isDiscovery = nameAt(data, AT_SUBSYSTEM) == DISCOVERY_NQN;
    if (isDiscovery) {
        const auto discoveries = std::count_if(controllers_.begin(), controllers_.end(),
                                               [](const auto& each) { return each->isDiscovery(); });
        if (static_cast<size_t>(discoveries) >= MAX_DISCOVERIES)
            return Reply::passingRefusal(SC_CONNECT_CONTROLLER_BUSY);
        do {
            lastDiscovery_ = static_cast<uint16_t>(
                (lastDiscovery_ < 0xFFEF ? lastDiscovery_ : features::simulator::MAX_CONTROLLERS) + 1);
        } while (findController(lastDiscovery_) != nullptr);
        controller =
            std::make_unique<DiscoveryController>(lastDiscovery_, places_, std::move(host),
                                                  keepAliveMs == 0 ? DISCOVERY_KEEP_ALIVE_MS : keepAliveMs, nowMs());
    } else {
        features::simulator::Controller& drive = ports_[connection.port].drive;
        if (findController(drive.id()) != nullptr) {
            return Reply::passingRefusal(SC_CONNECT_CONTROLLER_BUSY);
        }
        if (!isThere(drive)) {
            connection.closeNow();
            return Reply::held();
        }
        controller = std::make_unique<DriveController>(drive, std::move(host), keepAliveMs, nowMs());
    }
    if (isDiscovery || requirement_ == nullptr) controller->admit();
    connection.queue.controller = controller.get();
    controllers_.push_back(std::move(controller));
    return Reply{0, connection.queue.controller->id(), false};
}

Reply Target::connectIo(Connection& connection, const Capsule& capsule, const std::vector<uint8_t>& data,
                        const Host& host) {
    FabricsController* controller = findController(le16(data.data() + AT_CONTROLLER_ID));
    if (controller == nullptr) return invalidInData(AT_CONTROLLER_ID);
    const bool isDiscovery = nameAt(data, AT_SUBSYSTEM) == DISCOVERY_NQN;
    if (isDiscovery != controller->isDiscovery()) return invalidInData(AT_SUBSYSTEM);
    const bool isOfPort = isDiscovery || controller->id() == ports_[connection.port].drive.id();
    if (!isOfPort) return invalidInData(AT_CONTROLLER_ID);
    if (!(controller->host() == host)) return invalidInData(AT_HOST);
    if (capsule.word(AT_QUEUE_ID) > controller->maxIoQueues()) return invalidInCommand(AT_QUEUE_ID);
    if (!controller->isEnabled() || controller->findQueue(capsule.word(AT_QUEUE_ID)) != nullptr) {
        return Reply::refusal(SC_COMMAND_SEQUENCE_ERROR);
    }
    connection.queue.controller = controller;
    return Reply{0, controller->id(), false};
}

}  // namespace simdrive::tcp
