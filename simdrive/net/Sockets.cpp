#include "simdrive/net/Sockets.h"

#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/resource.h>

#include <cerrno>
#include <memory>

#include "ostrel/core/SystemError.h"

namespace simdrive::net {

using ostrel::core::CATEGORY_OS;
using ostrel::core::FileDescriptor;
using ostrel::core::Status;

namespace {

uint16_t portOf(int descriptor, bool isIpv6) {
    sockaddr_storage storage{};
    socklen_t length = sizeof storage;
    if (getsockname(descriptor, reinterpret_cast<sockaddr*>(&storage), &length) != 0) return 0;
    return ntohs(isIpv6 ? reinterpret_cast<sockaddr_in6*>(&storage)->sin6_port
                        : reinterpret_cast<sockaddr_in*>(&storage)->sin_port);
}

}  // namespace

Status systemStatus(int error, const std::string& what) {
    return Status(CATEGORY_OS, static_cast<uint32_t>(error), what + ": " + ostrel::core::systemErrorText(error) + ".");
}

features::Result<Listener> listenOn(const std::string& address, uint16_t port) {
    addrinfo hints{};
    hints.ai_flags = AI_NUMERICHOST | AI_NUMERICSERV | AI_PASSIVE;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* list = nullptr;
    const int error = getaddrinfo(address.c_str(), std::to_string(port).c_str(), &hints, &list);
    if (error != 0)
        return Status(CATEGORY_OS, EINVAL, "\"" + address + "\" is no address: " + gai_strerror(error) + ".");
    const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> found(list, freeaddrinfo);
    FileDescriptor listener(socket(found->ai_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    const int on = 1;
    if (!listener.isOpen()) return systemStatus(errno, address);
    (void)setsockopt(listener.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    if (bind(listener.get(), found->ai_addr, found->ai_addrlen) != 0 || ::listen(listener.get(), SOMAXCONN) != 0) {
        return systemStatus(errno, "Unable to listen on " + address + " port " + std::to_string(port));
    }
    const bool isIpv6 = found->ai_family == AF_INET6;
    const uint16_t actual = portOf(listener.get(), isIpv6);
    return Listener{std::move(listener), actual, isIpv6};
}

void enableTcpKeepAlive(int descriptor) {
    const int on = 1;
    const int idleSeconds = 30;
    const int userTimeoutMs = 60000;
    (void)setsockopt(descriptor, SOL_SOCKET, SO_KEEPALIVE, &on, sizeof on);
    (void)setsockopt(descriptor, IPPROTO_TCP, TCP_KEEPIDLE, &idleSeconds, sizeof idleSeconds);
    (void)setsockopt(descriptor, IPPROTO_TCP, TCP_USER_TIMEOUT, &userTimeoutMs, sizeof userTimeoutMs);
    (void)setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

std::string addressOf(const sockaddr_storage& peer) {
    char text[NI_MAXHOST] = "";
    const auto* address = reinterpret_cast<const sockaddr*>(&peer);
    const bool isKnown = getnameinfo(address, sizeof peer, text, sizeof text, nullptr, 0, NI_NUMERICHOST) == 0;
    return isKnown ? text : "";
}

Place ownPlace(int descriptor) {
    sockaddr_storage own{};
    socklen_t length = sizeof own;
    const bool isKnown = getsockname(descriptor, reinterpret_cast<sockaddr*>(&own), &length) == 0 &&
                         (own.ss_family == AF_INET || own.ss_family == AF_INET6);
    return isKnown ? Place{addressOf(own), portOf(descriptor, own.ss_family == AF_INET6)} : Place();
}

bool leavesRoom(int descriptor) {
    constexpr rlim_t FILES_OF_THE_DRIVE = 16;
    rlimit limit{};
    return getrlimit(RLIMIT_NOFILE, &limit) == 0 &&
           (limit.rlim_cur == RLIM_INFINITY || static_cast<rlim_t>(descriptor) + FILES_OF_THE_DRIVE < limit.rlim_cur);
}

}  // namespace simdrive::net
