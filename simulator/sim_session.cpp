#include "simulator/sim_session.h"

#include <sys/socket.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "simulator/sim_clients.h"
#include "simulator/sim_commands.h"
#include "simulator/sim_server.h"
#include "simulator/sim_text.h"
#include "simulator/sim_thread.h"
#include "util/i_trace.h"

namespace {

// What a console sends: a text, that it joins or leaves a server instance, that it is still there.
constexpr std::int16_t kTypeClient = 10;
constexpr std::int16_t kTypeKeepAlive = 8;
constexpr std::int16_t kOpText = 5;
constexpr std::int16_t kOpJoin = 6;
constexpr std::int16_t kOpLeave = 7;

// A body with this `op` isn't for display: the console drops it.
constexpr std::int16_t kOpHidden = 6;

constexpr std::int32_t kPieceSize = 10'000;  // bytes of a body that are taken at once
constexpr std::int32_t kBodyLine = 80;       // bytes of a line in a body of digits
constexpr std::int32_t kMostTyped = 4'095;   // bytes of a text; a console never sends more at once
constexpr unsigned kMostFromConsole = 64;    // mails of the console itself; then the reader waits
constexpr int kMostToShow = 500;             // texts to show in the mailbox; more are lost
constexpr std::int32_t kReadyWait = 1'000;   // ms, as long as the local console is looked at
constexpr std::int32_t kReadyLook = 50;      // ms between two looks
constexpr char kDelete = 127;                // what terminals of today send for Backspace
constexpr char kBackspace = 8;               // what the family's programs know

}  // namespace

SimSession::SimSession(SimServer& server) : server_(server) {
    semInit(&room_, kMostFromConsole);
}

SimSession::~SimSession() {
    semDestroy(room_);
}

// The thread table keeps 11 bytes of a name: a number of four digits needs a shorter word.
void SimSession::start(const std::shared_ptr<SimSession>& session) {
    SimClients::instance().join(session);
    const int number = session->id().minor;
    const std::string name = (number < 1'000 ? "Console " : "Cons ") + std::to_string(number);
    const bool served = simStartThread(name, [session] { session->serve(); });
    const bool read = served && simStartThread("Reader", [session] { session->readFrames(); });
    if (read) return;
    session->disconnect();
    if (served)
        session->post(SimMail::kEnd, "");
    else
        SimClients::instance().leave(*session);
}

// ---- the reader ----

// It gives its slot in the thread table back at once: the slots are for the command threads, whose
// numbers an operator looks for, so that fifty consoles fit in.
void SimSession::readFrames() {
    RemoveThreadFromTb();
    FrameReader reader(connection_);
    MsgHeader header;
    while (alive() && reader.readHeader(&header)) {
        Message message(std::min(header.lg(), kMostTyped));
        message.header = header;
        message.header.setLg(message.size);
        if (!receiveBody(reader, header.lg(), message)) break;
        dispatch(message);
    }
    alive_ = 0;
    post(SimMail::kEnd, "");
}

// No more is kept than a text may have, whatever length the header tells.
bool SimSession::receiveBody(FrameReader& reader, std::int32_t length, Message& message) {
    for (std::int32_t done = 0; done < length;) {
        const std::int32_t piece = std::min(length - done, kPieceSize);
        const char* const bytes = reader.readBody(piece);
        if (!bytes) return false;
        const std::int32_t kept = std::clamp(message.size - done, 0, piece);
        if (kept > 0) std::memcpy(message.body + done, bytes, static_cast<std::size_t>(kept));
        done += piece;
    }
    return true;
}

void SimSession::dispatch(const Message& message) {
    const MsgHeader& header = message.header;
    if (header.type() == kTypeClient && header.op() == kOpText) {
        ++texts_;
        postText(header.kelId(), message.body ? message.body : "");
    } else if (header.type() == kTypeClient && header.op() == kOpJoin) {
        postHeldBack(SimMail::kJoin, std::to_string(header.kelId()));
    } else if (header.type() == kTypeClient && header.op() == kOpLeave) {
        postHeldBack(SimMail::kLeave, std::to_string(header.kelId()));
    } else if (header.type() == kTypeKeepAlive) {
        ++pings_;
    } else {
        tracePrintf("console %d: dropped a frame of type %d, op %d", id_.minor, header.type(),
                    header.op());
    }
}

// A text ends with its terminator. One without a byte is an empty line: it gets an answer too.
void SimSession::postText(std::int16_t kel_id, const char* text) {
    postHeldBack(SimMail::kTyped, simText("%d %s", kel_id, *text ? text : "\n"));
}

// What a console makes the server keep is bounded: one that sends faster than its command thread
// takes is left unread, and the connection itself holds it back.
void SimSession::postHeldBack(SimMail kind, const std::string& text) {
    semLock(room_, -1);
    post(kind, text);
}

void SimSession::post(SimMail kind, const std::string& text) {
    SimClients::instance().post(id_, kind, text);
}

// ---- the command thread ----

void SimSession::serve() {
    sendText(simText("\nzor_sim: you are console %d. Type help for the commands.\n", id_.minor));
    std::string line;
    while (readLine(line))
        runCommands(*this, line);
    disconnect();
    SimClients::instance().leave(*this);
    semUnLock(room_);  // the reader may wait for it
    tracePrintf("console %d: gone", id_.minor);
}

bool SimSession::readLine(std::string& line) {
    char text[kMostTyped + 1];
    const int length = readInput(text, sizeof text);
    line.assign(text, static_cast<std::size_t>(length));
    return length > 0;
}

int SimSession::readInput(char* buffer, int length) {
    if (length <= 0 || !waitForInput()) return 0;
    const std::size_t line_end = std::min(input_.find('\n'), input_.size() - 1);
    const std::size_t count = std::min(line_end + 1, static_cast<std::size_t>(length));
    input_.copy(buffer, count);
    input_.erase(0, count);
    if (editing_ && *buffer == kDelete) *buffer = kBackspace;
    return static_cast<int>(count);
}

// A wait that hung up or lost its console gives up what was typed: nobody is there for the answer.
bool SimSession::waitForInput() {
    while (alive() && input_.empty())
        acceptMail();
    return alive();
}

void SimSession::acceptMail() {
    const std::string mail = SimClients::instance().take(id_);
    if (mail.empty()) return;
    const auto kind = static_cast<SimMail>(mail[0]);
    const std::string text = mail.substr(1);
    if (kind == SimMail::kShown) return show(text);
    if (kind == SimMail::kEnd) return;
    semUnLock(room_);
    const auto kel_id = static_cast<std::int16_t>(std::atoi(text.c_str()));
    if (kind == SimMail::kTyped) acceptTyped(kel_id, text.substr(text.find(' ') + 1));
    if (kind == SimMail::kJoin) acceptJoin(kel_id);
    if (kind == SimMail::kLeave) acceptLeave(kel_id);
}

// What waits may be for the screen alone: it is shown, and only what was typed counts.
bool SimSession::inputReady() {
    for (std::int32_t waited = 0; alive() && waited < kReadyWait; waited += kReadyLook) {
        while (alive() && input_.empty() && SimClients::instance().waiting(id_))
            acceptMail();
        if (!input_.empty()) return true;
        threadSleep(kReadyLook);
    }
    return false;
}

void SimSession::dropLineEnd() {
    if (input_.starts_with('\n')) input_.erase(0, 1);
}

void SimSession::acceptTyped(std::int16_t kel_id, const std::string& typed) {
    text_kel_ = kel_id;
    input_ += typed;
}

void SimSession::acceptJoin(std::int16_t kel_id) {
    joined_kel_ = kel_id;
    text_kel_ = kel_id;
    sendText(server_.exchange().greeting(kel_id));
}

// A console that changes its target leaves the old one and joins the new one, in this order; it is
// with none in between. A leaving of what it hasn't joined changes nothing.
void SimSession::acceptLeave(std::int16_t kel_id) {
    tracePrintf("console %d: leaves KEL %d", id_.minor, kel_id);
    if (joined_kel_ == kel_id) joined_kel_ = kNoKel;
}

// ---- what goes out ----

bool SimSession::roomToShow() {
    if (to_show_ < kMostToShow) {
        ++to_show_;
        return true;
    }
    ++lost_;
    return false;
}

void SimSession::show(const std::string& text) {
    --to_show_;
    sendText(text);
    const int lost = lost_.exchange(0);
    if (lost > 0) sendText(simText("zor_sim: %d lines were lost here.\n", lost));
}

void SimSession::sendText(const std::string& text) {
    constexpr std::size_t kMostText = FrameReader::kBodyLimit - 1;  // more would be refused
    const auto length = static_cast<std::int32_t>(std::min(text.size(), kMostText)) + 1;
    MsgToSend frame(static_cast<std::uint32_t>(length));
    std::memcpy(frame.body(), text.c_str(), static_cast<std::size_t>(length) - 1);
    frame.body()[length - 1] = 0;
    send(frame, kOpText, length);
}

void SimSession::sendBody(std::int32_t length, bool shown) {
    MsgToSend frame(static_cast<std::uint32_t>(length));
    for (std::int32_t i = 0; i < length; ++i) {
        const bool line_end = i % kBodyLine == kBodyLine - 1 || i == length - 1;
        frame.body()[i] = line_end ? '\n' : static_cast<char>('0' + i / kBodyLine % 10);
    }
    send(frame, shown ? kOpText : kOpHidden, length);
}

// A console that doesn't take its frame whole is out of step for good.
void SimSession::send(MsgToSend& frame, std::int16_t op, std::int32_t length) {
    frame.setType(kTypeClient);
    frame.setOp(op);
    const std::int16_t joined = joined_kel_;
    if (joined != kNoKel) frame.setKelId(joined);
    frame.setLg(length);
    frame.Serialise();
    if (connection_.Write(frame.buffer(), frame.frameLength()) != frame.frameLength()) disconnect();
}

void SimSession::disconnect() {
    alive_ = 0;
    ::shutdown(connection_.fd, SHUT_RDWR);
}

std::string SimSession::describe() const {
    const std::int16_t joined = joined_kel_;
    return simText("console %d: KEL %s, %d texts, %d pings", id_.minor,
                   joined == kNoKel ? "none" : std::to_string(joined).c_str(), texts_.load(),
                   pings_.load());
}
