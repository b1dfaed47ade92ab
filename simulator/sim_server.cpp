#include "simulator/sim_server.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>

#include "simulator/sim_session.h"
#include "util/i_trace.h"

namespace {

constexpr char SOURCE_MODULE[] = "simulator/sim_server";

constexpr std::int32_t kBacklog = 64;             // consoles that may wait to be taken
constexpr std::int32_t kPauseAfterFailure = 100;  // ms; no descriptor is free, for instance
constexpr std::size_t kPeerTextSize = 40;         // bytes that PeerAddress wants

}  // namespace

/// What a session's thread is told: the server and its own session.
struct SimServer::Start {
    SimServer* server;
    SimSession* session;
};

SimServer::SimServer() {
    mutexInit(&mutex_, "mutex_consoles");
}

SimServer::~SimServer() {
    mutexDestroy(mutex_);
}

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

void SimServer::run() {
    while (true)
        takeConsole();
}

void SimServer::takeConsole() {
    auto session = std::make_unique<SimSession>(*this, consoles_taken_ + 1);
    if (!listener_.Accept(session->connection(), 1)) {
        threadSleep(kPauseAfterFailure);
        return;
    }
    ++consoles_taken_;
    char peer[kPeerTextSize];
    PeerAddress(session->connection().fd, peer, sizeof peer);
    tracePrintf("console %d: connected from %s", session->number(), peer);
    startSession(std::move(session));
}

// The session stands in the list before its thread runs, and leaves it as the thread's last act.
void SimServer::startSession(std::unique_ptr<SimSession> session) {
    auto start = std::make_unique<Start>(Start{this, session.get()});
    const SimSession* const key = session.get();
    {
        const MutexHold hold(mutex_, SOURCE_MODULE, __LINE__);
        sessions_.push_back(std::move(session));
    }
    if (threadCreate("Console", sessionEntry, 0, 0, start.get(), 0))
        static_cast<void>(start.release());  // the new thread owns it
    else
        leave(key);
}

void* SimServer::sessionEntry(void* argument) {
    const std::unique_ptr<Start> start(static_cast<Start*>(argument));
    start->session->run();
    tracePrintf("console %d: gone", start->session->number());
    start->server->leave(start->session);
    return nullptr;
}

void SimServer::leave(const SimSession* session) {
    std::unique_ptr<SimSession> gone;  // ends after the lock is given back
    const MutexHold hold(mutex_, SOURCE_MODULE, __LINE__);
    const auto place = std::find_if(sessions_.begin(), sessions_.end(),
                                    [&](const auto& one) { return one.get() == session; });
    if (place == sessions_.end()) return;
    gone = std::move(*place);
    sessions_.erase(place);
}

std::string SimServer::listConsoles() const {
    const MutexHold hold(mutex_, SOURCE_MODULE, __LINE__);
    std::string text;
    for (const auto& session : sessions_)
        text += session->describe() + "\n";
    return text;
}
