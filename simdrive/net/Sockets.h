#pragma once

#include <sys/socket.h>

#include <cstdint>
#include <cstdio>
#include <new>
#include <string>

#include "features/errors/Result.h"
#include "ostrel/core/FileDescriptor.h"
#include "ostrel/core/Status.h"

/// What the targets of both protocols do with sockets.
namespace simdrive::net {

ostrel::core::Status systemStatus(int error, const std::string& what);

/// A socket that listens, and where.
struct Listener {
    ostrel::core::FileDescriptor socket;
    uint16_t port = 0;
    bool isIpv6 = false;
};
/// `address`: numeric, IPv4 or IPv6; port 0: any free one.
features::Result<Listener> listenOn(const std::string& address, uint16_t port);

/// Finds hosts that are gone without a word, also those that promised no keep alive.
void enableTcpKeepAlive(int descriptor);

/// The numeric address without the port; empty: none.
std::string addressOf(const sockaddr_storage& peer);

/// Where a host reached a connected socket; the address is empty when it has none.
struct Place {
    std::string address;
    uint16_t port = 0;
};
Place ownPlace(int descriptor);

/// Whether the drive can still open its files after this descriptor, the lowest that was free.
bool leavesRoom(int descriptor);

/// Does work for one host; false: there was no memory for it, which is that host's loss alone.
template <typename Work>
bool isDoneWithinMemory(Work work) {
    try {
        work();
        return true;
    } catch (const std::bad_alloc&) {
        (void)std::fputs("nimbrel-simdrive: Out of memory: a connection was closed.\n", stderr);
        return false;
    }
}

}  // namespace simdrive::net
