#include "norba/i_msg_reader.h"

#include <cstdio>
#include <cstring>
#include <utility>

namespace {

constexpr std::int32_t kMarkerSize = 4;
constexpr std::uint32_t kReportEvery = 100;  // bad words of a scan

}  // namespace

FrameReader::FrameReader(Connection& connection, std::atomic<short>* cnx_ok,
                         std::function<void()> settle)
    : blocks_(connection, cnx_ok, std::move(settle)) {}

short FrameReader::readHeader(MsgHeader* header) {
    while (readMarker() && readRest(header)) {
        if (!header->ReadHeader()) {
            // Can't happen after readMarker; kept, because a stream out of step must be scanned.
            blocks_.settle();
            std::puts("header with incorrect begin_head!");
        } else if (header->lg() < 0 || header->lg() > kBodyLimit) {
            // Its body is not skipped, for nobody knows how long it is: it is scanned.
            blocks_.settle();
            std::printf("incorrect lg: %d\n", static_cast<int>(header->lg()));
        } else {
            return 1;
        }
    }
    return 0;
}

/// Drops words until one is the begin marker.
bool FrameReader::readMarker() {
    for (std::uint32_t bad_words = 0;; ++bad_words) {
        const char* cursor = blocks_.take(kMarkerSize);
        if (!cursor) {
            std::puts("cnx not ok!");
            return false;
        }
        std::uint32_t word = 0;
        GetULong(&word, &cursor, nullptr);
        const bool found = word == MsgHeader::kBeginHead;
        if (found && bad_words == 0) return true;
        if (!found && bad_words % kReportEvery != 0) continue;
        blocks_.settle();
        std::printf(found ? "\n@@@@@@@@@ end of incorrect begin_head, nb= %d @@@@@@@@@\n"
                          : "\n@@@@@@@@@ incorrect begin_head , nb= %d @@@@@@@@@\n",
                    static_cast<int>(bad_words));
        if (found) return true;
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
