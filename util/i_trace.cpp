#include "util/i_trace.h"

#include <cstdarg>
#include <cstdio>

#include "util/i_charstr.h"

std::atomic<short> traceOff{0};
std::atomic<short> traceStdoutOff{0};
std::atomic<ErrorIpcHandler> errorIpcHandler{nullptr};

namespace {
std::atomic<TraceSink> trace_sink{nullptr};
}

void setTraceSink(TraceSink sink) {
    trace_sink = sink;
}

void traceValues(const char* t1, long n1, const char* t2, long n2, const char* t3, long n3,
                 const char* t4, long n4) {
    CharString line;
    line << t1 << ' ' << n1;
    if (*t2) line << ' ' << t2 << ' ' << n2;
    if (*t3) line << ' ' << t3 << ' ' << n3;
    if (*t4) line << ' ' << t4 << ' ' << n4;
    line << '\n';
    traceEmit(line);
}

void traceTexts(const char* t1, const char* t2, const char* t3, const char* t4) {
    CharString line;
    line << t1 << ' ' << t2 << ' ' << t3 << ' ' << t4 << '\n';
    traceEmit(line);
}

void traceLine(const char* text) {
    CharString line(*text ? text : "\n");
    traceEmit(line);
}

void tracePrintf(const char* format, ...) {
    char text[1024];
    va_list values;
    va_start(values, format);
    std::vsnprintf(text, sizeof text, format, values);
    va_end(values);
    traceTexts(text);
}

void tracePrintfRaw(const char* format, ...) {
    char text[1024];
    va_list values;
    va_start(values, format);
    std::vsnprintf(text, sizeof text, format, values);
    va_end(values);
    CharString line(text);
    traceEmit(line);
}

void traceEmit(CharString& text) {
    if (TraceSink sink = trace_sink) {
        sink(text.c_str());
    } else if (traceStdoutOff == 0) {
        std::printf("%s", text.c_str());
    }
    text = "";
}

void ErrorIpc(short number, const char* module, const char* operation, const char* code) {
    if (ErrorIpcHandler handler = errorIpcHandler) {
        handler(number, module, operation, code);
    } else {
        std::printf("ErrorIpc: %s  %s  %s\n", module, operation, code);
    }
}

void ErrorIpc(short number, const char* module, const char* operation, std::int32_t code) {
    char text[16];
    std::snprintf(text, sizeof text, "%d", static_cast<int>(code));
    ErrorIpc(number, module, operation, text);
}
