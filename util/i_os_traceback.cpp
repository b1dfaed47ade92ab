#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "util/i_os_frames.h"
#include "util/i_os_table.h"
#include "util/i_os_thread.h"
#include "util/i_trace.h"

namespace {

constexpr int kTraceLimit = 20;  // frames that tracebackToTrace shows

using LineSink = void (*)(void* target, const char* line);

// Writes the frames from `frame` on, and the end line. A return address of 0 ends the walk with the
// index of its frame; a link that doesn't rise, with the index of the last frame written. The size
// is what the links cover from the second frame on, since the first one belongs to this room.
void writeFrames(FrameRecord frame, const StackBounds& stack, int limit, LineSink sink,
                 void* target) {
    char line[96];
    int index = 0;
    std::uintptr_t first = 0;
    std::uintptr_t last = 0;
    while (index < limit && frame.return_address != 0) {
        if (index == 1) first = frame.link;
        last = frame.link;
        std::snprintf(line, sizeof line, "%d pc:0x%08" PRIxPTR "\n", index, frame.return_address);
        sink(target, line);
        if (frame.link <= frame.address || !readFrame(frame.link, stack, frame)) break;
        ++index;
    }
    std::snprintf(line, sizeof line, "End traceback thread %u, nb recurence %d stack size %d \n",
                  threadId(), index, static_cast<int>(last - first));
    sink(target, line);
}

std::uintptr_t addressOf(const void* record) {
    return reinterpret_cast<std::uintptr_t>(record);
}

}  // namespace

// Both operations read their own record themselves and are never inlined, so that the first line
// always leads into their caller.

[[gnu::noinline]] void tracebackToBuffer(char* text, int, int limit) {
    const StackBounds stack = ownStack();
    FrameRecord own;
    if (!readFrame(addressOf(__builtin_frame_address(0)), stack, own)) return;
    const auto append = [](void* target, const char* line) {
        std::strcat(static_cast<char*>(target), line);
    };
    writeFrames(own, stack, limit, append, text);
}

[[gnu::noinline]] void tracebackToTrace() {
    const StackBounds stack = ownStack();
    FrameRecord own;
    if (!readFrame(addressOf(__builtin_frame_address(0)), stack, own)) return;
    const auto trace = [](void*, const char* line) { tracePrintf("%s", line); };
    writeFrames(own, stack, kTraceLimit, trace, nullptr);
}
