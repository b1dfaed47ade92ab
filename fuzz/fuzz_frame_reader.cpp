// Any stream of bytes through the reader of frames, beside a plain reading of the same bytes that
// has them all in memory: both must find the same frames.

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "norba/i_msg.h"
#include "util/i_cnxsock.h"

namespace {

constexpr std::size_t kLongest = 64 * 1024;  // what a socket holds without a reader
constexpr std::int32_t kPiece = 10'000;

std::uint32_t numberAt(std::string_view bytes, std::size_t at, int size) {
    std::uint32_t value = 0;
    for (int i = 0; i < size; ++i)
        value |= std::uint32_t{static_cast<unsigned char>(bytes[at + static_cast<std::size_t>(i)])}
                 << (8 * i);
    return value;
}

/// The op and the body of every frame, as far as they arrived in whole pieces.
std::string plainReading(std::string_view stream) {
    std::string found;
    while (stream.size() >= 4) {
        if (numberAt(stream, 0, 4) != MsgHeader::kBeginHead) {
            stream.remove_prefix(4);
            continue;
        }
        if (stream.size() < 48) break;
        const bool longer = static_cast<std::int16_t>(numberAt(stream, 26, 2)) > 27;
        const std::size_t size = longer ? 132 : 48;
        if (stream.size() < size) break;
        auto lg = static_cast<std::int32_t>(numberAt(stream, 8, 4));
        const std::string op = std::to_string(static_cast<std::int16_t>(numberAt(stream, 6, 2)));
        stream.remove_prefix(size);
        if (lg < 0 || lg > 1'000'000) continue;
        found += "<" + op + ">";
        for (; lg > 0; lg -= kPiece) {
            const auto piece = static_cast<std::size_t>(std::min(lg, kPiece));
            if (stream.size() < piece) return found;
            found += stream.substr(0, piece);
            stream.remove_prefix(piece);
        }
    }
    return found;
}

std::string bufferedReading(std::string_view stream) {
    int ends[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM, 0, ends) != 0) std::abort();
    Connection connection;
    connection.fd = ends[0];
    if (::write(ends[1], stream.data(), stream.size()) != static_cast<ssize_t>(stream.size()))
        std::abort();
    ::close(ends[1]);
    std::string found;
    FrameReader reader(connection);
    for (MsgHeader header; reader.readHeader(&header);) {
        found += "<" + std::to_string(header.op()) + ">";
        for (std::int32_t left = header.lg(); left > 0; left -= kPiece) {
            const std::int32_t piece = std::min(left, kPiece);
            const char* body = reader.readBody(piece);
            if (!body) return found;
            found.append(body, static_cast<std::size_t>(piece));
        }
    }
    return found;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const bool quiet = std::freopen("/dev/null", "w", stdout) != nullptr;
    const std::string_view stream(reinterpret_cast<const char*>(data), std::min(size, kLongest));
    if (!quiet || bufferedReading(stream) != plainReading(stream)) std::abort();
    return 0;
}
