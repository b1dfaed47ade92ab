#include "simulator/sim_session.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>
#include <utility>

#include "simulator/sim_clients.h"
#include "simulator/sim_commands.h"
#include "simulator/sim_log.h"
#include "simulator/sim_text.h"
#include "simulator/sim_thread.h"
#include "util/i_os.h"
#include "util/i_trace.h"

namespace {

constexpr char SOURCE_MODULE[] = "simulator/sim_session";

constexpr std::int32_t kPieceSize = 10'000;  // bytes of a body that are written at once
constexpr std::int32_t kMostTyped = 4'095;   // bytes of a text; a console never sends more at once
constexpr int kMostComplaints = 100;         // about what one console sends

}  // namespace

SimSession::SimSession(const SimHouse& house, std::string address, Connection& taken)
    : SimConsole(house, std::move(address)) {
    mutexInit(&frame_, "mutex_frame");
    connection_.fd = taken.fd.exchange(-1);
}

SimSession::~SimSession() {
    mutexDestroy(frame_);
}

// The thread table keeps 11 bytes of a name: a number of four digits needs a shorter word.
void SimSession::start(const std::shared_ptr<SimSession>& session) {
    const int number = session->number();
    const std::string name = (number < 1'000 ? "Console " : "Cons ") + std::to_string(number);
    const bool served = simStartThread(name, [session] { session->serve(); });
    const bool read = served && simStartThread("Reader", [session] { session->readFrames(); });
    if (read) return;
    tracePrintf("console %d: no thread for it, hung up", number);
    session->disconnect();
    if (!served) SimClients::instance().leave(*session);
}

// ---- the reader ----

// It gives its slot in the thread table back at once: the slots are for the command threads, whose
// numbers an operator looks for, so that fifty consoles fit in.
void SimSession::readFrames() {
    RemoveThreadFromTb();
    simServes(number());
    try {
        FrameReader reader(
            connection_, nullptr,
            {.before_read = {}, .say = [this](const auto& text) { complain(text.c_str()); }});
        MsgHeader header;
        while (alive() && reader.readHeader(&header) && dispatch(reader, header))
            continue;
    } catch (const std::bad_alloc&) {
        simTellLack("no memory for what it sends, hung up");
    }
    disconnect();
}

/// False once the connection is lost. What a console sends beside its frames is told and dropped.
bool SimSession::dispatch(FrameReader& reader, const MsgHeader& header) {
    const bool client = header.type() == MsgType::kText;
    if (client && header.op() == MsgOp::kText) return takeText(reader, header);
    if (client && header.op() == MsgOp::kJoin)
        postJoin(header.kelId());
    else if (client && header.op() == MsgOp::kLeave)
        postLeave(header.kelId());
    else if (header.type() == MsgType::kKeepAlive)
        countPing();
    else
        complain(simText("dropped a frame of type %d, op %d", header.type(), header.op()).c_str());
    return true;
}

// No more is kept than a text may have, whatever length the header tells: it ends its line there,
// and the reader passes over the rest.
bool SimSession::takeText(FrameReader& reader, const MsgHeader& header) {
    char text[kMostTyped + 1];
    const std::int32_t length = std::min(header.lg(), kMostTyped);
    if (!reader.readBody(text, length)) return false;
    text[length] = 0;
    if (length < header.lg()) text[length - 1] = '\n';
    postTyped(header.kelId(), text);
    return true;
}

// A peer that sends nothing but junk must not fill the log, with what is left in the reader's
// memory neither.
void SimSession::complain(const char* what) {
    if (complaints_ == kMostComplaints) return;
    traceTexts(what);
    if (++complaints_ < kMostComplaints) return;
    traceTexts("too much that is no frame of a console, hung up");
    disconnect();
}

// ---- the command thread ----

void SimSession::serve() {
    simServes(number());
    try {
        sendText(
            simText("\nzor_sim: you are console %d. Type help for the commands; Ctrl-C ends "
                    "your console.\n",
                    number()));
        std::string line;
        while (readLine(line))
            obey(line);
    } catch (const std::bad_alloc&) {
        simTellLack("no memory for its commands, hung up");
    }
    disconnect();
    SimClients::instance().leave(*this);
    simTellLack("gone");
}

void SimSession::obey(const std::string& line) {
    try {
        runCommands(*this, line);
    } catch (const std::bad_alloc&) {
        sendText("zor_sim: there is no memory for that now.\n");
    }
}

// ---- what goes out ----

// Header and first bytes go out together, and a long body in pieces: a server keeps no frame as a
// whole, whatever its consoles ask for. A console that doesn't take its frame whole is out of step
// for good.
void SimSession::sendFrame(std::int16_t op, std::int32_t length, const Filler& fill) {
    MsgHeader header;
    header.setType(MsgType::kText);
    header.setOp(op);
    header.setLg(length);
    if (joinedKel() != kNoKel) header.setKelId(joinedKel());
    const MutexHold hold(frame_, SOURCE_MODULE, __LINE__);
    if (!alive()) return;
    char piece[MsgHeader::kSize + kPieceSize] = "";
    char* cursor = piece;
    header.WriteHeader(&cursor);
    std::int32_t used = MsgHeader::kSize;
    std::int32_t done = 0;
    do {
        const std::int32_t count = std::min(length - done, kPieceSize);
        fill(done, piece + used, count);
        if (!writeWhole(piece, used + count)) return disconnect();
        done += count;
        used = 0;
    } while (done < length);
}

bool SimSession::writeWhole(const char* bytes, std::int32_t length) {
    while (length > 0) {
        const std::int32_t count = connection_.Write(bytes, length);
        if (count <= 0 && LastError() == EINTR) continue;
        if (count <= 0 && LastError() == EAGAIN) traceTexts("it reads nothing, hung up");
        if (count <= 0) return false;
        bytes += count;
        length -= count;
    }
    return true;
}

// The descriptor is given back only with the session: until then no thread can meet another
// console's under the same number.
void SimSession::hangUp() {
    connection_.HangUp();
}
