// Any stream of bytes from a console to a session of zor_sim with its two threads, beside a plain
// reading of the same bytes: what it counts and complains of. What it sends must be frames.
#include <sched.h>
#include <sys/socket.h>
#include <unistd.h>

#include <memory>
#include <mutex>

#include "fuzz.h"
#include "norba/i_msg.h"
#include "plain_frames.h"
#include "simulator/sim_clients.h"
#include "simulator/sim_session.h"
#include "util/i_cnxsock.h"
#include "util/i_trace.h"

namespace {

constexpr int kMostComplaints = 100;  // then a console is hung up

std::mutex guard;
std::string dropped;  // guarded by guard; what the trace tells of dropped frames

void gatherDropped(const char* text) {
    const std::string line = text;
    const std::size_t at = line.find("dropped a frame");
    const std::lock_guard hold(guard);
    if (at != std::string::npos)
        dropped += line.substr(at, line.find_last_not_of(" \n") + 1 - at) + "|";
}

struct Expected {
    int texts = 0, pings = 0, complaints = 0;
    std::string dropped;
    std::string typed;  ///< all texts, as the commands see them
};

Expected modelOf(const std::string& stream) {
    const PlainFrames plain = plainReading(stream);
    Expected expected;
    for (const char* const said : {"begin_head", "incorrect lg", "cnx not ok!"})
        for (auto at = plain.said.find(said); at != std::string::npos;
             at = plain.said.find(said, at + 1))
            ++expected.complaints;
    for (const PlainFrames::Frame& frame : plain.frames) {
        const bool client = frame.type == MsgType::kText;
        if (client && frame.op == MsgOp::kText) {
            expected.texts += static_cast<std::int32_t>(frame.body.size()) == frame.length;
            expected.typed += terminated(frame.body);
        } else if (frame.type == MsgType::kKeepAlive) {
            ++expected.pings;
        } else if (!client || (frame.op != MsgOp::kJoin && frame.op != MsgOp::kLeave)) {
            ++expected.complaints;
            expected.dropped += "dropped a frame of type " + std::to_string(frame.type) + ", op " +
                                std::to_string(frame.op) + "|";
        }
    }
    return expected;
}

bool holdsOneOf(const std::string& text, std::initializer_list<const char*> words) {
    return std::ranges::any_of(
        words, [&](const char* word) { return text.find(word) != std::string::npos; });
}

std::string readToEnd(int fd) {
    std::string bytes;
    char piece[65536];
    for (ssize_t count; (count = ::read(fd, piece, sizeof piece)) > 0;)
        bytes.append(piece, static_cast<std::size_t>(count));
    return bytes;
}

/// Runs a session over the stream. Gives what it is in the end, and sets what it has sent.
std::string runSession(const std::string& stream, std::string& sent) {
    static SimExchange exchange(3);
    static SimEnd end;
    static const bool installed = (SimClients::install(exchange), true);
    setTraceSink(gatherDropped);
    int ends[2];
    require(installed && ::socketpair(AF_UNIX, SOCK_STREAM, 0, ends) == 0);
    Connection taken;
    taken.fd = ends[0];
    auto session = std::make_shared<SimSession>(SimHouse{exchange, end}, "192.0.2.7", taken);
    require(SimClients::instance().join(session, 2));
    require(::write(ends[1], stream.data(), stream.size()) == static_cast<ssize_t>(stream.size()));
    ::shutdown(ends[1], SHUT_WR);
    SimSession::start(session);
    sent = readToEnd(ends[1]);
    ::close(ends[1]);
    while (session.use_count() > 1)  // by its two threads
        ::sched_yield();
    return session->describe();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string stream = Input(data, std::min<std::size_t>(size, 4'096)).rest();
    const Expected expected = modelOf(stream);
    if (holdsOneOf(expected.typed, {"locks", "files", "\b", "\x7F"})) return 0;  // slow, or hidden
    dropped.clear();
    std::string sent;
    const std::string end = runSession(stream, sent);
    const PlainFrames answers = plainReading(sent);
    require(answers.said.empty() || answers.said == "cnx not ok!\n");
    if (expected.complaints >= kMostComplaints || holdsOneOf(expected.typed, {"bye", "kick"}))
        return 0;
    requireSame(dropped, expected.dropped);
    requireSame(end.substr(end.find(',')), ", " + std::to_string(expected.texts) + " texts, " +
                                               std::to_string(expected.pings) + " pings");
    return 0;
}
