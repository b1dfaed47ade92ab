#include <cstdint>
#include <cstdio>
#include <cstring>

#include "util/i_os_table.h"
#include "util/i_os_thread.h"
#include "util/i_trace.h"

namespace {
constexpr int kTraceLimit = 20;  // frames of tracebackToTrace
}

void tracebackToBuffer(char* text, int, int) {
    std::sprintf(text + std::strlen(text),
                 "End traceback thread %u, nb recurence %d stack size %d \n", threadId(), 0, 0);
}

void tracebackToTrace() {
    static_cast<void>(kTraceLimit);
    char text[80] = "";
    tracebackToBuffer(text, sizeof text, 0);
    tracePrintf("%s", text);
}
