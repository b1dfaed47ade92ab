#include "norba/i_msg_reader.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

#include "util/i_msg_message.h"

namespace {

constexpr std::int32_t kMarkerSize = 4;
constexpr std::uint32_t kReportEvery = 100;  // bad words of a scan
constexpr std::int32_t kSkipSize = 10'000;   // bytes of an unread body dropped at a time

std::string scanReport(const char* what, std::uint32_t bad_words) {
    return "\n@@@@@@@@@ " + std::string(what) +
           std::to_string(static_cast<std::int32_t>(bad_words)) + " @@@@@@@@@\n";
}

}  // namespace

FrameReader::FrameReader(Connection& connection, std::atomic<short>* cnx_ok, FrameReaderHooks hooks)
    : hooks_(std::move(hooks)), blocks_(connection, cnx_ok, hooks_.before_read) {}

short FrameReader::readHeader(MsgHeader* header) {
    while (skipBody() && readMarker() && readRest(header)) {
        if (!header->ReadHeader()) {
            // Can't happen after readMarker; kept, because a stream out of step must be scanned.
            say("header with incorrect begin_head!\n");
        } else if (header->lg() < 0 || header->lg() > kBodyLimit) {
            // Its body is not skipped, for nobody knows how long it is: it is scanned.
            say("incorrect lg: " + std::to_string(header->lg()) + "\n");
        } else {
            body_left_ = header->lg();
            return 1;
        }
    }
    return 0;
}

const char* FrameReader::readBody(std::int32_t length) {
    if (length < 0 || length > body_left_) return nullptr;
    body_left_ -= length;
    return blocks_.take(length);
}

short FrameReader::readBody(void* to, std::int32_t length) {
    if (length < 0 || length > body_left_) return 0;
    body_left_ -= length;
    return blocks_.copy(to, length);
}

Message* FrameReader::readMessage() {
    MsgHeader header;
    if (!readHeader(&header)) return nullptr;
    const auto length = static_cast<std::size_t>(header.lg());
    std::unique_ptr<char[]> body;
    if (length > 0) {
        body.reset(new (std::nothrow) char[length + 1]);
        if (!body || !readBody(body.get(), header.lg())) return nullptr;
        body[length] = 0;
    }
    auto* const message = new Message(header.lg(), body.release());
    message->header = header;
    return message;
}

bool FrameReader::skipBody() {
    while (body_left_ > 0)
        if (!readBody(std::min(body_left_, kSkipSize))) return false;
    return true;
}

void FrameReader::say(const std::string& text) const {
    if (hooks_.say)
        hooks_.say(text);
    else
        std::fputs(text.c_str(), stdout);
}

/// Drops words until one is the begin marker.
bool FrameReader::readMarker() {
    for (std::uint32_t bad_words = 0;; ++bad_words) {
        const char* cursor = blocks_.take(kMarkerSize);
        if (!cursor) {
            say("cnx not ok!\n");
            return false;
        }
        std::uint32_t word = 0;
        GetULong(&word, &cursor, nullptr);
        if (word == MsgHeader::kBeginHead) {
            if (bad_words > 0) say(scanReport("end of incorrect begin_head, nb= ", bad_words));
            return true;
        }
        if (bad_words % kReportEvery == 0)
            say(scanReport("incorrect begin_head , nb= ", bad_words));
    }
}

/// Fills the area of a new header with what follows the marker: in two stages, because only the
/// first tells whether there is a second.
bool FrameReader::readRest(MsgHeader* header) {
    *header = MsgHeader();
    char* const wire = header->wire();
    const char* cursor = nullptr;
    char* marker_end = wire;
    PutULong(MsgHeader::kBeginHead, &marker_end);
    if (!(cursor = blocks_.take(MsgHeader::kShortSize - kMarkerSize))) return false;
    std::memcpy(marker_end, cursor, MsgHeader::kShortSize - kMarkerSize);
    if (MsgHeader::versionOf(wire) <= MsgHeader::kShortVersion) return true;
    if (!(cursor = blocks_.take(MsgHeader::kSize - MsgHeader::kShortSize))) return false;
    std::memcpy(wire + MsgHeader::kShortSize, cursor, MsgHeader::kSize - MsgHeader::kShortSize);
    return true;
}
