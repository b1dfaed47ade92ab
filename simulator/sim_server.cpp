#include "simulator/sim_server.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include "simulator/sim_clients.h"
#include "simulator/sim_session.h"
#include "simulator/sim_thread.h"
#include "util/i_trace.h"

namespace {

constexpr std::int32_t kBacklog = 64;             // consoles that may wait to be taken
constexpr std::int32_t kPauseAfterFailure = 100;  // ms; no descriptor is free, for instance
constexpr std::int32_t kPatience = 10'000;        // ms that the threads get to end
constexpr std::size_t kPeerTextSize = 40;         // bytes that PeerAddress wants

// An answer often goes out as several small frames: none of them waits until the one before it is
// acknowledged.
void sendAtOnce(const Connection& connection) {
    constexpr int kYes = 1;
    setsockopt(connection.fd, IPPROTO_TCP, TCP_NODELAY, &kYes, sizeof kYes);
}

// A console whose machine or line is gone says nothing any more; without a probe it would keep its
// threads and its mailbox for ever.
void noticeVanished(const Connection& connection) {
    constexpr int kYes = 1;
    constexpr int kSilence = 240;  // s; a console that is there sends a ping each 120 s
    constexpr int kBetween = 30;   // s between two probes
    constexpr int kProbes = 4;     // without an answer
    setsockopt(connection.fd, IPPROTO_TCP, TCP_KEEPIDLE, &kSilence, sizeof kSilence);
    setsockopt(connection.fd, IPPROTO_TCP, TCP_KEEPINTVL, &kBetween, sizeof kBetween);
    setsockopt(connection.fd, IPPROTO_TCP, TCP_KEEPCNT, &kProbes, sizeof kProbes);
    setsockopt(connection.fd, SOL_SOCKET, SO_KEEPALIVE, &kYes, sizeof kYes);
}

}  // namespace

short SimServer::open(std::int32_t port) {
    constexpr short kReuse = 1;
    constexpr short kTuned = 0;  // the smallest buffers would only slow a long answer down
    return listener_.CreateService(port, kReuse, kBacklog, kTuned);
}

std::int32_t SimServer::port() const {
    sockaddr_in address{};
    socklen_t length = sizeof address;
    getsockname(listener_.fd, reinterpret_cast<sockaddr*>(&address), &length);
    return ntohs(address.sin_port);
}

bool SimServer::run(std::int32_t pace) {
    exchange_.start(pace);
    while (!stopping_)
        takeConsole();
    exchange_.stop();
    for (const auto& session : SimClients::instance().all())
        session->disconnect();
    return simWaitForThreads(kPatience);
}

// The listener is shut and not closed here: the accepting thread still uses its descriptor.
void SimServer::stop() {
    stopping_ = true;
    ::shutdown(listener_.fd, SHUT_RDWR);
}

void SimServer::takeConsole() {
    const auto session = std::make_shared<SimSession>(*this);
    if (!listener_.Accept(session->connection(), 1)) {
        if (!stopping_) threadSleep(kPauseAfterFailure);
        return;
    }
    sendAtOnce(session->connection());
    noticeVanished(session->connection());
    char peer[kPeerTextSize];
    PeerAddress(session->connection().fd, peer, sizeof peer);
    SimSession::start(session);
    tracePrintf("console %d: connected from %s", session->id().minor, peer);
}
