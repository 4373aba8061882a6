#include "features/library/Journal.h"

#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

#include "ostrel/core/FileDescriptor.h"

namespace features::library {

using ostrel::core::FileDescriptor;

namespace {

constexpr const char* IDENTIFIER = "nimbrel";
constexpr const char* NOTICE = "5";
/// Facility "security/authorization (private)" (10), severity "notice" (5).
constexpr const char* SYSLOG_PRIORITY = "<85>";
constexpr size_t MAX_VALUE_BYTES = 4096;
constexpr timeval TIMEOUT{1, 0};

std::string oneLine(const std::string& text) {
    std::string line = text.substr(0, MAX_VALUE_BYTES);
    std::replace_if(
        line.begin(), line.end(), [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; }, ' ');
    return line;
}

bool sendTo(const std::string& path, const std::string& datagram) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.empty() || path.size() >= sizeof address.sun_path) return false;
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    const FileDescriptor socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    if (!socket.isOpen()) return false;
    // Without the limit a journal that hangs would hold the command up.
    if (setsockopt(socket.get(), SOL_SOCKET, SO_SNDTIMEO, &TIMEOUT, sizeof TIMEOUT) != 0) return false;
    const auto sent = ::sendto(socket.get(), datagram.data(), datagram.size(), MSG_NOSIGNAL,
                               reinterpret_cast<const sockaddr*>(&address), sizeof address);
    return sent == static_cast<ssize_t>(datagram.size());
}

}  // namespace

bool Journal::write(const std::string& message, const Fields& fields) const {
    std::string entry = "MESSAGE=" + oneLine(message) + "\nPRIORITY=" + NOTICE + "\nSYSLOG_IDENTIFIER=" + IDENTIFIER +
                        "\nSYSLOG_PID=" + std::to_string(getpid()) + "\n";
    for (const auto& [name, value] : fields) entry += name + "=" + oneLine(value) + "\n";
    if (sendTo(journalSocket_, entry)) return true;
    return sendTo(syslogSocket_, std::string(SYSLOG_PRIORITY) + IDENTIFIER + "[" + std::to_string(getpid()) +
                                     "]: " + oneLine(message));
}

}  // namespace features::library
