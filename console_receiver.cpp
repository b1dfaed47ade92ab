#include "console_receiver.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace {

constexpr std::int32_t kChunkSize = 10'000;  // most bytes of a body handled at a time
constexpr std::size_t kMostCopied = 4096;    // bytes of a text that others may be written with
constexpr std::string_view kClearSequence = "\033[1;1f\033[2J\n";

}  // namespace

Receiver::Receiver(Connection& connection, Recorder& recorder, std::atomic<short>& cnx_ok,
                   std::atomic<short>& canonique)
    : recorder_(recorder),
      canonique_(canonique),
      reader_(connection, &cnx_ok,
              {.before_read = [this] { deliver(); },
               .say = [this](const std::string& text) { say(text); }}) {}

void Receiver::run() {
    MsgHeader header;
    while (reader_.readHeader(&header) && receiveBody(header)) {
    }
    say("server disconnected!\n");
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
    if (obeyControl(text)) return;
    // For the screen alone a large text is cheaper to write than to copy; a file wants large
    // writes.
    const bool not_worth_it = text.size() > kMostCopied && !recorder_.active();
    // A recording starts over between two texts: the one behind its limit begins a new write.
    const bool behind_limit = gathered_size_ > recorder_.room();
    if (not_worth_it || behind_limit) {
        deliver();
        recorder_.record(text, text);
        return;
    }
    if (text.size() > kGathered - static_cast<std::size_t>(gathered_size_)) deliver();
    std::memcpy(gathered_.get() + gathered_size_, text.data(), text.size());
    gathered_size_ += static_cast<std::int32_t>(text.size());
}

/// What came before a control text is on the screen before it takes effect.
bool Receiver::obeyControl(std::string_view text) {
    const bool clear = text == "<clear-screen>\n";
    const bool on = text == "<on-canonique>\n";
    const bool off = text == "<off-canonique>\n";
    if (!clear && !on && !off) return false;
    deliver();
    if (!clear) canonique_ = on;
    recorder_.record(text, clear ? kClearSequence : std::string_view());
    return true;
}

/// The console's own words go to the screen alone, behind all text that came before.
void Receiver::say(std::string_view text) {
    deliver();
    std::fwrite(text.data(), 1, text.size(), stdout);
}

/// Writes what was put off.
void Receiver::deliver() {
    if (gathered_size_ == 0) return;
    const std::string_view text(gathered_.get(), static_cast<std::size_t>(gathered_size_));
    recorder_.record(text, text);
    gathered_size_ = 0;
}
