#include "simulator/sim_peer.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <cstring>
#include <memory>

namespace {

void setOption(std::int32_t fd, int level, int option, int value) {
    setsockopt(fd, level, option, &value, sizeof value);
}

bool isLoopback(in_addr address) {
    return ntohl(address.s_addr) >> 24 == IN_LOOPBACKNET;
}

}  // namespace

in_addr simPeerAddress(std::int32_t fd) {
    sockaddr_in peer{};
    socklen_t length = sizeof peer;
    getpeername(fd, reinterpret_cast<sockaddr*>(&peer), &length);
    return peer.sin_addr;
}

std::string simAddressText(in_addr address) {
    char text[INET_ADDRSTRLEN] = "";
    inet_ntop(AF_INET, &address, text, sizeof text);
    return text;
}

bool simIsOwnAddress(in_addr address) {
    if (isLoopback(address)) return true;
    ifaddrs* first = nullptr;
    if (getifaddrs(&first) != 0) return false;
    const std::unique_ptr<ifaddrs, void (*)(ifaddrs*)> owner(first, freeifaddrs);
    for (const ifaddrs* entry = first; entry; entry = entry->ifa_next) {
        if (!entry->ifa_addr || entry->ifa_addr->sa_family != AF_INET) continue;
        sockaddr_in own{};
        std::memcpy(&own, entry->ifa_addr, sizeof own);
        if (own.sin_addr.s_addr == address.s_addr) return true;
    }
    return false;
}

// An answer often goes out as several small frames: none waits until the one before is
// acknowledged. Without a probe a vanished console that is owed nothing would stay for ever. One
// that is owed something is given up by the system a little later than a write is, so that the
// write can tell why it ends.
void simTunePeer(std::int32_t fd, int unread) {
    constexpr int kSilence = 240;  // s; a console that is there sends a ping each 120 s
    constexpr int kBetween = 30;   // s between two probes
    constexpr int kProbes = 4;     // without an answer
    constexpr int kLater = 30;     // s
    setOption(fd, IPPROTO_TCP, TCP_NODELAY, 1);
    setOption(fd, IPPROTO_TCP, TCP_KEEPIDLE, kSilence);
    setOption(fd, IPPROTO_TCP, TCP_KEEPINTVL, kBetween);
    setOption(fd, IPPROTO_TCP, TCP_KEEPCNT, kProbes);
    setOption(fd, SOL_SOCKET, SO_KEEPALIVE, 1);
    setOption(fd, IPPROTO_TCP, TCP_USER_TIMEOUT, (unread + kLater) * 1'000);
    const timeval limit{unread, 0};
    setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
}
