#include "ask/ask_session.h"

#include <cstdio>
#include <cstring>

namespace {

constexpr short kBlocking = 1;

FrameReaderHooks saysOnStandardError() {
    FrameReaderHooks hooks;
    hooks.say = [](const std::string& text) { std::fputs(text.c_str(), stderr); };
    return hooks;
}

/// Texts that tell a console what to do with its screen and its keyboard.
bool isControl(const std::string& text) {
    return text == "<clear-screen>\n" || text == "<on-canonique>\n" || text == "<off-canonique>\n";
}

}  // namespace

AskSession::AskSession(const AskOptions& options)
    : options_(options), reader_(connection_, nullptr, saysOnStandardError()) {}

AskStatus AskSession::connect() {
    return connection_.ConnectService(options_.host.c_str(), options_.port, kBlocking, 0)
               ? kStatusAnswered
               : kStatusNoConnection;
}

AskStatus AskSession::join() {
    if (!send(MsgOp::kJoin, "")) return kStatusLost;
    std::string banner;
    while (!quiet())
        if (!readText(banner)) return kStatusLost;
    return kStatusAnswered;
}

AskStatus AskSession::ask(const std::string& line) {
    // With its line end, as a terminal delivers it, and the terminator that the length counts.
    if (!send(MsgOp::kText, line + '\n' + '\0')) return kStatusLost;
    std::string answer;
    for (;;) {
        const std::size_t printed = answer.size();
        if (!readText(answer)) return kStatusLost;
        std::fputs(answer.c_str() + printed, stdout);
        std::fflush(stdout);
        const bool complete = options_.until ? answer.find(*options_.until) != std::string::npos
                                             : !answer.empty() && quiet();
        if (complete) return kStatusAnswered;
    }
}

bool AskSession::send(std::int16_t op, const std::string& body) {
    MsgToSend frame(static_cast<std::uint32_t>(body.size()));
    std::memcpy(frame.body(), body.data(), body.size());
    frame.setType(MsgType::kText);
    frame.setOp(op);
    frame.setKelId(options_.kel);
    frame.setLg(static_cast<std::int32_t>(body.size()));
    frame.Serialise();
    return connection_.Write(frame.buffer(), frame.frameLength()) == frame.frameLength();
}

/// Waits for a frame and appends what it shows; false when the connection is lost.
bool AskSession::readText(std::string& text) {
    MsgHeader header;
    if (!reader_.readHeader(&header)) return false;
    std::string body(static_cast<std::size_t>(header.lg()), '\0');
    if (!reader_.readBody(body.data(), header.lg())) return false;
    body.resize(std::strlen(body.c_str()));
    if (header.op() != MsgOp::kHidden && !isControl(body)) text += body;
    return true;
}

/// Whether nothing comes for the time that ends an answer. The reader may hold whole frames that
/// the socket doesn't show any more, so it is asked first.
bool AskSession::quiet() {
    return !reader_.ready() && connection_.WaitReadable(options_.quiet) != 1;
}
