#pragma once
// A plain reading of a stream of frames that is in memory as a whole: the model of whatever reads
// frames from a connection.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz.h"

/// The frames of a stream, and what is said of the stream.
struct PlainFrames {
    static constexpr std::int32_t kPiece = 10'000;  // bytes of a body that are read at once

    struct Frame {
        std::int16_t type, op, kel;
        std::int32_t length;
        std::string body;  ///< the pieces that have come whole
    };
    std::vector<Frame> frames;
    std::string said;

    void begin(std::int16_t type, std::int16_t op, std::int16_t kel, std::int32_t length) {
        frames.push_back({type, op, kel, length, ""});
    }
    void add(std::string_view piece) { frames.back().body += piece; }

    std::string told() const {
        std::string text;
        for (const Frame& frame : frames)
            text += "<" + std::to_string(frame.type) + " " + std::to_string(frame.op) + " " +
                    std::to_string(frame.kel) + " " + std::to_string(frame.length) + ">" +
                    frame.body;
        return text;
    }
};

/// Scans words of `rest` up to the next marker, and takes them off; false if there is none.
inline bool plainMarker(std::string_view& rest, std::string& said) {
    const auto report = [&](const char* what, int count) {
        said += std::string("\n@@@@@@@@@ ") + what + std::to_string(count) + " @@@@@@@@@\n";
    };
    for (int bad = 0; rest.size() >= 4; ++bad) {
        const bool marker = rest.starts_with("\x88\x44\x22\x11");
        rest.remove_prefix(4);
        if (marker && bad > 0) report("end of incorrect begin_head, nb= ", bad);
        if (marker) return true;
        if (bad % 100 == 0) report("incorrect begin_head , nb= ", bad);
    }
    said += "cnx not ok!\n";
    return false;
}

inline PlainFrames plainReading(std::string_view rest) {
    PlainFrames found;
    while (plainMarker(rest, found.said)) {
        if (rest.size() < 44) break;  // the marker is off, so all offsets are 4 less
        const std::size_t size = shortAt(rest, 22) > 27 ? 128 : 44;
        if (rest.size() < size) break;
        const std::int32_t length = longAt(rest, 4);
        if (length < 0 || length > 1'000'000) {
            found.said += "incorrect lg: " + std::to_string(length) + "\n";
            rest.remove_prefix(size);
            continue;
        }
        found.begin(shortAt(rest, 0), shortAt(rest, 2), shortAt(rest, 14), length);
        rest.remove_prefix(size);
        for (std::int32_t left = length; left > 0; left -= PlainFrames::kPiece) {
            const auto piece = static_cast<std::size_t>(std::min(left, PlainFrames::kPiece));
            if (rest.size() < piece) return found;
            found.add(rest.substr(0, piece));
            rest.remove_prefix(piece);
        }
    }
    return found;
}
