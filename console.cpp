#include "console.h"

#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>

constinit ConsolePauses console_pauses;
constinit std::int16_t kel_id = kFirstConnected;
constinit std::atomic<ExwConnection*> cnx = nullptr;
constinit std::atomic<short> cnx_ok = 0;
constinit std::atomic<short> canonique = 0;
CharString args_line;
Recorder recorder;

namespace {

// Room for a piece of a dump and its terminator. A piece is printed when no further byte fits.
constexpr std::size_t kDumpSize = 76;
constexpr std::size_t kDumpByte = 3;  // two digits and a blank

}  // namespace

int sendFrame(MsgToSend& frame) {
    frame.Serialise();
    return cnx.load()->Write(frame.buffer(), frame.frameLength());
}

void set_client(short op, short id) {
    MsgToSend frame(kFrameCapacity, nullptr);
    frame.setType(MsgType::kText);
    frame.setOp(op);
    frame.setKelId(id);
    std::printf("write set_client: nbe= %d\n", sendFrame(frame));
}

void dump_bytes(const void* data, short count) {
    const auto* const bytes = static_cast<const unsigned char*>(data);
    char piece[kDumpSize];
    std::printf("SIZE %d\n", count);
    int length = std::snprintf(piece, sizeof piece, "\n%" PRIxPTR " : ",
                               reinterpret_cast<std::uintptr_t>(data));
    auto used = static_cast<std::size_t>(length);
    for (short i = 0; i < count; ++i) {
        std::snprintf(piece + used, sizeof piece - used, "%.2x ", bytes[i]);
        used += kDumpByte;
        if (used < kDumpSize - 1 - kDumpByte) continue;
        std::fputs(piece, stdout);
        used = 0;
    }
    std::printf("%.*s\n", static_cast<int>(used), piece);
}

long long leadingNumber(const char* text) {
    return std::strtoll(text, nullptr, 10);
}
