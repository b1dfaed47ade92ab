#include "simulator/sim_console.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

#include "norba/i_msg.h"
#include "simulator/sim_log.h"
#include "simulator/sim_text.h"
#include "simulator/sim_thread.h"
#include "util/i_os.h"

namespace {

constexpr std::int32_t kBodyLine = 80;      // bytes of a line in a body of digits
constexpr std::size_t kLineSize = 4'096;    // bytes of a line that a command sees
constexpr unsigned kMostFromConsole = 64;   // letters of the console itself; then the reader waits
constexpr int kMostToShow = 500;            // texts to show in the mailbox; more are lost
constexpr std::int32_t kReadyWait = 1'000;  // ms, as long as the local console is looked at
constexpr std::int32_t kReadyLook = 50;     // ms between two looks
constexpr char kDelete = 127;               // what terminals of today send for Backspace
constexpr char kBackspace = 8;              // what the family's programs know
constexpr char kOptions[] = "0 p -";        // begins the text that forwards a command line

/// "00:12:05"
std::string clockText(int seconds) {
    return simText("%.2d:%.2d:%.2d", seconds / 3600, seconds / 60 % 60, seconds % 60);
}

std::string kelText(std::int16_t kel) {
    return kel == SimConsole::kNoKel ? "none" : std::to_string(kel);
}

/// The line without what its operator has rubbed out. Where each key counts at once, no terminal
/// has done that.
std::string corrected(std::string_view line) {
    std::string text;
    for (const char byte : line) {
        if (byte != kDelete && byte != kBackspace)
            text += byte;
        else if (!text.empty())
            text.pop_back();
    }
    return text;
}

}  // namespace

SimConsole::SimConsole(const SimHouse& house, std::string address)
    : house_(house),
      address_(std::move(address)),
      connected_at_(simSeconds()),
      typed_at_(connected_at_) {
    if (!semInit(&room_, kMostFromConsole)) {
        semDestroy(room_);
        throw std::bad_alloc();  // what the system lacks is memory for it; there is no console then
    }
}

SimConsole::~SimConsole() {
    semDestroy(room_);
}

// ---- what the reader posts ----

// A text without a byte is an empty line: it gets an answer too. The options of a command line come
// without a line end, and are whole all the same.
void SimConsole::postTyped(std::int16_t kel, const std::string& text) {
    ++texts_;
    typed_at_ = simSeconds();
    const bool options = text.starts_with(kOptions) && text.find('\n') == std::string::npos;
    postHeldBack(SimMail::kTyped, kel, text.empty() || options ? text + '\n' : text);
}

void SimConsole::postJoin(std::int16_t kel) {
    postHeldBack(SimMail::kJoin, kel, "");
}

void SimConsole::postLeave(std::int16_t kel) {
    postHeldBack(SimMail::kLeave, kel, "");
}

// What a console makes the server keep is bounded: one that sends faster than its command thread
// takes is left unread, and the connection itself holds it back.
void SimConsole::postHeldBack(SimMail kind, std::int16_t kel, const std::string& text) {
    simTake(room_);
    mailbox_.post(kind, kel, text);
}

// ---- what goes out ----

void SimConsole::sendText(std::string_view text) {
    constexpr std::size_t kMostText = FrameReader::kBodyLimit - 1;  // more would be refused
    text = text.substr(0, kMostText);
    const auto size = static_cast<std::int32_t>(text.size());
    sendFrame(MsgOp::kText, size + 1, [&](std::int32_t from, char* piece, std::int32_t count) {
        const std::int32_t copied = std::min(count, size - from);
        text.copy(piece, static_cast<std::size_t>(copied), static_cast<std::size_t>(from));
        if (copied < count) piece[copied] = 0;
    });
}

void SimConsole::sendBody(std::int32_t length, bool shown) {
    const std::int16_t op = shown ? MsgOp::kText : MsgOp::kHidden;
    sendFrame(op, length, [length](std::int32_t from, char* piece, std::int32_t count) {
        for (std::int32_t i = from; i < from + count; ++i) {
            const bool line_end = i % kBodyLine == kBodyLine - 1 || i == length - 1;
            *piece++ = line_end ? '\n' : static_cast<char>('0' + i / kBodyLine % 10);
        }
    });
}

void SimConsole::show(const std::string& text) {
    if (to_show_ >= kMostToShow) {
        ++lost_;
        return;
    }
    ++to_show_;
    mailbox_.post(SimMail::kShown, 0, text);
}

void SimConsole::showNow(const std::string& text) {
    --to_show_;
    sendText(text);
    const int lost = lost_.exchange(0);
    if (lost > 0) sendText(simText("zor_sim: %d lines were lost here.\n", lost));
}

void SimConsole::disconnect() {
    alive_ = false;
    hangUp();
    mailbox_.wake();
    semUnLock(room_);  // the reader may wait for it
}

// ---- what the operator types ----

/// Waits for one letter and does what it tells. False once the console is gone: nobody is there for
/// an answer any more.
bool SimConsole::acceptLetter() {
    const SimLetter letter = mailbox_.take();
    switch (letter.kind) {
        case SimMail::kNone:
            return alive();
        case SimMail::kShown:
            showNow(letter.text);
            return alive();
        case SimMail::kTyped:
            acceptTyped(letter);
            break;
        case SimMail::kJoin:
            acceptJoin(letter.kel);
            break;
        case SimMail::kLeave:
            acceptLeave(letter.kel);
            break;
    }
    semUnLock(room_);
    return alive();
}

void SimConsole::acceptTyped(const SimLetter& letter) {
    text_kel_ = letter.kel;
    input_ += letter.text;
}

void SimConsole::acceptJoin(std::int16_t kel) {
    joined_kel_ = kel;
    text_kel_ = kel;
    sendText(house_.exchange.greeting(kel));
}

// A console that changes its target leaves the old one and joins the new one, in this order; it is
// with none in between. A leaving of what it hasn't joined changes nothing.
void SimConsole::acceptLeave(std::int16_t kel) {
    if (joined_kel_ == kel) joined_kel_ = kNoKel;
}

int SimConsole::readInput(char* buffer, int length) {
    if (length <= 0) return 0;
    return length == 1 ? readKey(buffer) : readPiece(buffer, static_cast<std::size_t>(length));
}

int SimConsole::readKey(char* key) {
    bool there = alive();
    while (there && input_.empty())
        there = acceptLetter();
    if (!there) return 0;
    *key = input_.front();
    input_.erase(0, 1);
    line_end_owed_ = *key != '\n';
    if (editing_ && *key == kDelete) *key = kBackspace;
    return 1;
}

// An ordinary terminal sends a key with a line end behind it, which may come much later. It ends no
// line: the key was all that was asked for.
int SimConsole::readPiece(char* buffer, std::size_t size) {
    std::string piece;
    while (piece.empty()) {
        bool there = alive();
        while (there && input_.empty())
            there = acceptLetter();
        if (std::exchange(line_end_owed_, false) && input_.starts_with('\n')) input_.erase(0, 1);
        while (there && input_.find('\n') == std::string::npos && input_.size() < size)
            there = acceptLetter();
        if (!there) return 0;
        const std::size_t count =
            std::min(std::min(input_.find('\n'), input_.size() - 1) + 1, size);
        piece = corrected(std::string_view(input_).substr(0, count));
        input_.erase(0, count);
    }
    piece.copy(buffer, piece.size());
    return static_cast<int>(piece.size());
}

bool SimConsole::readLine(std::string& line) {
    char text[kLineSize];
    const int length = readInput(text, sizeof text);
    line.assign(text, static_cast<std::size_t>(length));
    if (line.ends_with('\n')) line.pop_back();
    return length > 0;
}

// What waits may be for the screen alone: it is shown, and only what was typed counts.
bool SimConsole::inputReady() {
    for (std::int32_t waited = 0; alive() && waited < kReadyWait; waited += kReadyLook) {
        while (alive() && input_.empty() && mailbox_.count() > 0)
            acceptLetter();
        if (!input_.empty()) return true;
        threadSleep(kReadyLook);
    }
    return false;
}

// ---- its state ----

std::string SimConsole::describe() const {
    return simText("console %d: KEL %s, %d texts, %d pings", number(), kelText(joined_kel_).c_str(),
                   texts_.load(), pings_.load());
}

std::string SimConsole::heading() {
    return "console address         KEL  connected idle     waiting texts pings\n";
}

std::string SimConsole::row() {
    const std::int32_t now = simSeconds();
    return simText("%7d %-15s %-4s %-9s %-8s %7d %5d %5d\n", number(), address_.c_str(),
                   kelText(joined_kel_).c_str(), clockText(now - connected_at_).c_str(),
                   clockText(now - typed_at_).c_str(), mailbox_.count(), texts_.load(),
                   pings_.load());
}
