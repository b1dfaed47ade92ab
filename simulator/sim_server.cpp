#include "simulator/sim_server.h"

#include <cerrno>
#include <cstring>
#include <new>

#include "simulator/sim_clients.h"
#include "simulator/sim_peer.h"
#include "simulator/sim_session.h"
#include "simulator/sim_text.h"
#include "simulator/sim_thread.h"
#include "util/i_os.h"
#include "util/i_trace.h"

namespace {

constexpr std::int32_t kBacklog = 64;             // consoles that may wait to be taken
constexpr std::int32_t kPauseAfterFailure = 100;  // ms; what lacks may be there then
constexpr std::int32_t kPatience = 10'000;        // ms that the threads get to end

/// Whether the peer has simply gone before it was taken.
bool isPassing(int error) {
    return error == EAGAIN || error == EINTR || error == ECONNABORTED;
}

}  // namespace

SimServer::SimServer(const SimSettings& settings) : settings_(settings), exchange_(settings.lines) {
    SimClients::install(exchange_);
}

// The listener never blocks: a console that has gone between the wait and the taking must not keep
// the server from hearing that it shall end.
short SimServer::open() {
    constexpr short kReuse = 1;
    constexpr short kTuned = 0;  // the smallest buffers would only slow a long answer down
    if (!end_.takeSignals() || !listener_.CreateService(settings_.port, kReuse, kBacklog, kTuned))
        return 0;
    listener_.SetNonBlocking();
    return 1;
}

std::int32_t SimServer::port() const {
    return listener_.SocketPort();
}

bool SimServer::run() {
    if (!exchange_.start(settings_.pace))
        traceTexts("no thread for the telephony: it stands still");
    while (end_.waitReadable(listener_.fd))
        takeConsole();
    listener_.Close();
    exchange_.stop();
    for (const auto& console : SimClients::instance().all())
        console->disconnect();
    const bool ended = threadWaitStarted(kPatience) != 0;
    traceTexts(ended ? "zor_sim has ended" : "zor_sim ends with a thread still at work");
    return ended;
}

void SimServer::told(SimRarely& often, const std::string& what) {
    const int times = often.due();
    if (times == 1) tracePrintf("%s", what.c_str());
    if (times > 1) tracePrintf("%s (%d times)", what.c_str(), times);
}

void SimServer::takeConsole() {
    Connection taken;
    if (listener_.Accept(taken, 1)) {
        try {
            return admit(taken);
        } catch (const std::bad_alloc&) {
            return simTellLack("a console is hung up: no memory");
        }
    }
    const int reason = LastError();
    if (isPassing(reason)) return;
    told(lacks_, simText("a console can't be taken: %s", std::strerror(reason)));
    threadSleep(kPauseAfterFailure);
}

// A console that is refused for lack of room is told why; to other machines the server says
// nothing.
void SimServer::admit(Connection& taken) {
    const in_addr peer = simPeerAddress(taken.fd);
    const std::string address = simAddressText(peer);
    if (!settings_.open && !simIsOwnAddress(peer))
        return told(strangers_, "refused " + address + ": another machine, and no --open");
    simTunePeer(taken.fd, settings_.unread);
    const auto session = std::make_shared<SimSession>(SimHouse{exchange_, end_}, address, taken);
    if (!SimClients::instance().join(session, static_cast<std::size_t>(settings_.consoles))) {
        session->sendText(simText("\nzor_sim: all %d places for consoles are taken; try later.\n",
                                  settings_.consoles));
        return told(surplus_, "refused " + address + ": all places for consoles are taken");
    }
    try {
        tracePrintf("console %d: connected from %s", session->number(), address.c_str());
        SimSession::start(session);
    } catch (const std::bad_alloc&) {
        // It may stand in the list without a thread that takes it out.
        session->disconnect();
        SimClients::instance().leave(*session);
        throw;
    }
}
