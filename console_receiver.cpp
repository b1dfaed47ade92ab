#include "console_receiver.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>

namespace {

constexpr std::int32_t kChunkSize = 10'000;  // most bytes of a body handled at a time
constexpr std::string_view kClearSequence = "\033[1;1f\033[2J\n";

}  // namespace

Receiver::Receiver(Connection& connection, Recorder& recorder, std::atomic<short>& cnx_ok,
                   std::atomic<short>& canonique)
    : recorder_(recorder),
      canonique_(canonique),
      reader_(connection, &cnx_ok,
              {[this] { settle(); }, [this](const std::string& text) { say(text); }}) {}

void Receiver::run() {
    MsgHeader header;
    while (reader_.readHeader(&header) && receiveBody(header)) {
    }
    std::puts("server disconnected!");
}

/// Gives false when the connection is lost within the body.
bool Receiver::receiveBody(const MsgHeader& header) {
    for (std::int32_t left = header.lg(); left > 0;) {
        const std::int32_t length = std::min(left, kChunkSize);
        const char* chunk = reader_.readBody(length);
        if (!chunk) return false;
        left -= length;
        if (header.op() != MsgOp::kHidden)
            handleChunk({chunk, ::strnlen(chunk, static_cast<std::size_t>(length))});
    }
    return true;
}

void Receiver::handleChunk(std::string_view text) {
    if (!obeyControl(text)) screen_.append(text, stdout);
    const std::string notice = recorder_.record(text);
    if (notice.empty()) return;
    screen_.append(notice, stdout);
    screen_.flush(stdout);
}

/// What came before a control text is on the screen before it takes effect.
bool Receiver::obeyControl(std::string_view text) {
    if (text == "<clear-screen>\n") {
        screen_.append(kClearSequence, stdout);
    } else if (text == "<on-canonique>\n" || text == "<off-canonique>\n") {
        screen_.flush(stdout);
        canonique_ = text == "<on-canonique>\n";
    } else {
        return false;
    }
    return true;
}

void Receiver::say(const std::string& text) {
    settle();
    std::fputs(text.c_str(), stdout);
}

// The recording first: a terminal that its operator has stopped holds back the screen alone.
void Receiver::settle() {
    recorder_.settle();
    screen_.flush(stdout);
}
