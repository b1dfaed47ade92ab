#include "simulator/sim_session.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>

#include "simulator/sim_commands.h"
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

/// The name of a key as an operator knows it.
std::string keyName(unsigned char key) {
    const std::string code = std::to_string(key);
    if (!std::isgraph(key)) return code;
    return std::string("'") + static_cast<char>(key) + "' (" + code + ")";
}

}  // namespace

void SimSession::run() {
    sendText("\nzor_sim: you are console " + std::to_string(number_) +
             ". Type help for the commands.\n");
    FrameReader reader(connection_);
    MsgHeader header;
    while (reader.readHeader(&header)) {
        Message message(header.lg());
        message.header = header;
        if (!receiveBody(reader, message)) break;
        handle(message);
    }
    connection_.Close();
}

bool SimSession::receiveBody(FrameReader& reader, Message& message) {
    for (std::int32_t done = 0; done < message.size;) {
        const std::int32_t piece = std::min(message.size - done, kPieceSize);
        const char* const bytes = reader.readBody(piece);
        if (!bytes) return false;
        std::memcpy(message.body + done, bytes, static_cast<std::size_t>(piece));
        done += piece;
    }
    return true;
}

void SimSession::handle(const Message& message) {
    const MsgHeader& header = message.header;
    if (header.type() == kTypeClient && header.op() == kOpText) {
        ++texts_;
        if (message.body) handleText(message.body);
    } else if (header.type() == kTypeClient && header.op() == kOpJoin) {
        join(header.kelId());
    } else if (header.type() == kTypeClient && header.op() == kOpLeave) {
        tracePrintf("console %d: leaves KEL %d", number_, header.kelId());
    } else if (header.type() == kTypeKeepAlive) {
        ++pings_;
    } else {
        tracePrintf("console %d: dropped a frame of type %d, op %d", number_, header.type(),
                    header.op());
    }
}

// What the operator had in the terminal arrives as one text, so it may hold several lines.
void SimSession::handleText(std::string_view text) {
    if (keys_wanted_ > 0) return takeKeys(text);
    do {
        const std::size_t end = std::min(text.find('\n'), text.size());
        runCommand(*this, std::string(text.substr(0, end)));
        text.remove_prefix(std::min(end + 1, text.size()));
    } while (!text.empty());
}

// A terminal in line mode delivers a line end behind the key, which isn't a key of its own.
void SimSession::takeKeys(std::string_view keys) {
    for (const char key : keys) {
        if (key == '\n' || keys_wanted_ == 0) continue;
        --keys_wanted_;
        sendText("key " + keyName(static_cast<unsigned char>(key)) + "\n");
    }
    if (keys_wanted_ == 0) backToLines();
}

void SimSession::join(std::int16_t kel_id) {
    kel_id_ = kel_id;
    sendText(kel_id == -1 ? std::string("zor_sim: you are with the first connected KEL.\n")
                          : "zor_sim: you are with KEL " + std::to_string(kel_id) + ".\n");
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

void SimSession::askKeys(int count) {
    keys_wanted_ = count;
    sendText("<on-canonique>\n");
}

void SimSession::backToLines() {
    keys_wanted_ = 0;
    sendText("<off-canonique>\n");
}

void SimSession::hangUp() {
    tracePrintf("console %d: hung up", number_);
    connection_.Close();
}

// A console that doesn't take its frame whole is out of step for good.
void SimSession::send(MsgToSend& frame, std::int16_t op, std::int32_t length) {
    frame.setType(kTypeClient);
    frame.setOp(op);
    frame.setKelId(kel_id_);
    frame.setLg(length);
    frame.Serialise();
    if (connection_.Write(frame.buffer(), frame.frameLength()) != frame.frameLength())
        connection_.Close();
}

std::string SimSession::describe() const {
    char line[120];
    std::snprintf(line, sizeof line, "console %d: KEL %d, %d texts, %d pings", number_,
                  kel_id_.load(), texts_.load(), pings_.load());
    return line;
}
