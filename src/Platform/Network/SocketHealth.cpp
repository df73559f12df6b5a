#include "Platform/Network/SocketHealth.h"

#include <cerrno>

#include <linux/tcp.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace platform {

namespace {

// Connecting a datagram socket sends nothing; the kernel only looks up the route.
bool hasRouteTo(const sockaddr_storage& peer, socklen_t size) {
    const int probe = ::socket(peer.ss_family, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (probe < 0) {
        return true;
    }
    const bool failed = ::connect(probe, reinterpret_cast<const sockaddr*>(&peer), size) != 0;
    const int reason = errno;
    ::close(probe);
    return !failed ||
           (reason != ENETUNREACH && reason != EHOSTUNREACH && reason != ENETDOWN && reason != EADDRNOTAVAIL);
}

} // namespace

ConnectionHealth socketHealth(int descriptor) {
    ConnectionHealth health;
    tcp_info info{};
    socklen_t infoSize = sizeof info;
    if (::getsockopt(descriptor, IPPROTO_TCP, TCP_INFO, &info, &infoSize) == 0) {
        health.bytesThrough = info.tcpi_bytes_acked + info.tcpi_bytes_received;
    }
    sockaddr_storage peer{};
    socklen_t peerSize = sizeof peer;
    if (::getpeername(descriptor, reinterpret_cast<sockaddr*>(&peer), &peerSize) == 0) {
        health.hasRoute = hasRouteTo(peer, peerSize);
    }
    return health;
}

} // namespace platform
