#include "simdrive/iscsi/Target.h"

#include <sys/socket.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>

#include "ostrel/core/SystemError.h"
#include "simdrive/net/Sockets.h"
#include "simdrive/net/Time.h"

namespace simdrive::iscsi {

using net::nowMs;
using ostrel::core::FileDescriptor;
using ostrel::core::Status;

namespace {

/// For a connection that does not log in, or does not take its last output.
constexpr uint64_t IDLE_MS = 10000;
/// For a session in the middle of a unit, or with output that the host does not take: without a byte for so long.
constexpr uint64_t STALL_MS = 30000;
constexpr uint64_t ACCEPT_PAUSE_MS = 500;
constexpr int TICK_MS = 500;

std::string placeOf(const std::string& address, uint16_t port) {
    const bool isIpv6 = address.find(':') != std::string::npos;
    return (isIpv6 ? "[" + address + "]" : address) + ":" + std::to_string(port);
}

}  // namespace

std::string Target::nameOf(const std::string& serialNumber) {
    std::string name = "iqn.2026-01.com.velko.nimbrel:simulated:";
    for (const char c : serialNumber) {
        const auto letter = static_cast<unsigned char>(c);
        const bool isAllowed = std::isalnum(letter) != 0 || c == '.' || c == ':';
        name += isAllowed ? static_cast<char>(std::tolower(letter)) : '-';
    }
    return name;
}

Status Target::listen(const std::string& address, uint16_t port) {
    TRY(net::Listener listener, net::listenOn(address, port));
    address_ = placeOf(address, listener.port);
    listener_ = std::move(listener.socket);
    // No connection is the one for which there is no memory.
    waits_.reserve(2 + MAX_CONNECTIONS);
    return Status();
}

Status Target::run(int stop) {
    for (bool isStopped = false; !isStopped;) {
        TRY(isStopped, turn(stop, waitMs()));
    }
    connections_.clear();
    return Status();
}

features::Result<bool> Target::turn(int stop, int maxWaitMs) {
    waits_.clear();
    waits_.push_back({stop, POLLIN, 0});
    waits_.push_back({listener_.get(), static_cast<short>(nowMs() >= listenAgainMs_ ? POLLIN : 0), 0});
    for (const auto& each : connections_) {
        const int events = (each->wantsToRead() ? POLLIN : 0) | (each->wantsToWrite() ? POLLOUT : 0);
        waits_.push_back({each->descriptor(), static_cast<short>(events), 0});
    }
    if (poll(waits_.data(), waits_.size(), maxWaitMs) < 0) {
        if (errno == EINTR) return false;
        return net::systemStatus(errno, "poll");
    }
    if (waits_[0].revents != 0) return true;
    for (size_t i = 2; i < waits_.size(); ++i) {
        Connection& connection = *connections_[i - 2];
        if (!net::isDoneWithinMemory([&] { serve(connection, waits_[i].revents); })) connection.closeNow();
    }
    lookAfterTime();
    endReplaced();
    connections_.erase(
        std::remove_if(connections_.begin(), connections_.end(), [](const auto& each) { return each->isOver(); }),
        connections_.end());
    if (waits_[1].revents != 0) (void)net::isDoneWithinMemory([&] { accept(); });
    return false;
}

void Target::accept() {
    sockaddr_storage peer{};
    socklen_t length = sizeof peer;
    FileDescriptor socket(
        accept4(listener_.get(), reinterpret_cast<sockaddr*>(&peer), &length, SOCK_NONBLOCK | SOCK_CLOEXEC));
    if (!socket.isOpen()) {
        pauseListening(errno);
        return;
    }
    isOutOfDescriptors_ = false;
    const std::string address = net::addressOf(peer);
    const auto ofPeer = std::count_if(connections_.begin(), connections_.end(),
                                      [&](const auto& each) { return each->peer == address; });
    const bool isFull = connections_.size() >= MAX_CONNECTIONS || static_cast<size_t>(ofPeer) >= MAX_OF_PEER;
    if (isFull || !net::leavesRoom(socket.get())) return;
    net::enableTcpKeepAlive(socket.get());
    adopt(std::move(socket), address);
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

void Target::adopt(FileDescriptor socket, std::string peer) {
    const net::Place own = net::ownPlace(socket.get());
    TargetIdentity identity{name_, own.address.empty() ? address_ : placeOf(own.address, own.port)};
    if (++lastSession_ == 0) lastSession_ = 1;
    connections_.push_back(std::make_unique<Connection>(std::move(socket), device_, std::move(identity), lastSession_));
    connections_.back()->peer = std::move(peer);
    connections_.back()->deadlineMs = nowMs() + IDLE_MS;
}

void Target::serve(Connection& connection, int events) {
    if (connection.isOver()) return;
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
    for (const auto& each : connections_) {
        if (!net::isDoneWithinMemory([&] { each->serveDue(now); })) each->closeNow();
        const bool isStalled = !each->takeProgress() && each->isWaitingForHost();
        if (each->isLoggedIn() && !isStalled) each->deadlineMs = now + STALL_MS;
        if (now >= each->deadlineMs) each->closeNow();
    }
}

/// A host that logs in again with the name and the identifier of a session takes its place: the older one ends.
void Target::endReplaced() {
    for (auto newer = connections_.rbegin(); newer != connections_.rend(); ++newer) {
        if (!(*newer)->isLoggedIn() || (*newer)->isOver()) continue;
        for (auto older = newer + 1; older != connections_.rend(); ++older) {
            if ((*older)->isLoggedIn() && (*older)->sessionName() == (*newer)->sessionName()) (*older)->closeNow();
        }
    }
}

int Target::waitMs() const {
    if (connections_.empty() && nowMs() >= listenAgainMs_) return -1;
    const uint64_t now = nowMs();
    uint64_t wait = TICK_MS;
    for (const auto& each : connections_) {
        const uint64_t due = each->nextDueMs();
        wait = std::min(wait, due > now ? due - now : 0);
    }
    return static_cast<int>(wait);
}

}  // namespace simdrive::iscsi
