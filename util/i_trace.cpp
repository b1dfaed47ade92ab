#include "util/i_trace.h"

#include <cstdarg>
#include <cstdio>

#include "util/i_charstr.h"
#include "util/i_os_time.h"

// The state of the trace, complete before the first static constructor runs. Any thread reads it
// at any moment; a program that changes it under tracing threads sees the change at a later line.
constinit std::atomic<short> traceOff{0};
constinit std::atomic<short> traceStdoutOff{0};
constinit std::atomic<ErrorIpcHandler> errorIpcHandler{nullptr};

namespace {

constinit std::atomic<TraceSink> trace_sink{nullptr};

constexpr std::size_t kLineReserve = 256;  // bytes; what nearly every line fits in
constexpr std::size_t kFormatSize = 1024;  // bytes with the terminator; a longer text is cut

char* putDigits(char* out, int value, int digits) {
    for (int i = digits; i-- > 0; value /= 10)
        out[i] = static_cast<char>('0' + value % 10);
    return out + digits;
}

// A line under construction. It reserves its bytes once, instead of growing with each piece.
class TraceLine : public CharString {
  public:
    TraceLine() { text.reserve(kLineReserve); }

    // Digits by hand: a trace line costs little more than its stamp.
    void stamp() {
        DateTime now;
        getDateTime(&now);
        char out[] = "00h00:00.000   ";
        putDigits(&out[0], now.hour, 2);
        putDigits(&out[3], now.minute, 2);
        putDigits(&out[6], now.second, 2);
        putDigits(&out[9], now.millisecond, 3);
        *this << out;
    }

    void pair(const char* name, long number) { *this << name << ' ' << number; }

    void furtherPair(const char* name, long number) {
        if (*name == '\0') return;
        *this << ' ';
        pair(name, number);
    }
};

// Formats into the whole of `text`; the terminator stands also behind a cut or failed conversion.
[[gnu::format(printf, 2, 0)]] void formatCut(char (&text)[kFormatSize], const char* format,
                                             va_list values) {
    text[0] = '\0';
    std::vsnprintf(text, sizeof text, format, values);
    text[kFormatSize - 1] = '\0';
}

}  // namespace

void setTraceSink(TraceSink sink) {
    trace_sink = sink;
}

void traceValues(const char* t1, long n1, const char* t2, long n2, const char* t3, long n3,
                 const char* t4, long n4) {
    if (traceOff != 0) return;
    TraceLine line;
    line.stamp();
    line.pair(t1, n1);
    line.furtherPair(t2, n2);
    line.furtherPair(t3, n3);
    line.furtherPair(t4, n4);
    line << '\n';
    traceEmit(line);
}

void traceTexts(const char* t1, const char* t2, const char* t3, const char* t4) {
    if (traceOff != 0) return;
    TraceLine line;
    line.stamp();
    line << t1 << ' ' << t2 << ' ' << t3 << ' ' << t4 << '\n';
    traceEmit(line);
}

void traceLine(const char* text) {
    if (traceOff != 0) return;
    TraceLine line;
    if (*text == '\0') {
        line << '\n';
    } else {
        line.stamp();
        line << text;
    }
    traceEmit(line);
}

void tracePrintf(const char* format, ...) {
    if (traceOff != 0) return;
    char text[kFormatSize];
    va_list values;
    va_start(values, format);
    formatCut(text, format, values);
    va_end(values);
    traceTexts(text);
}

void tracePrintfRaw(const char* format, ...) {
    char text[kFormatSize];
    va_list values;
    va_start(values, format);
    formatCut(text, format, values);
    va_end(values);
    TraceLine line;
    line << text;
    traceEmit(line);
}

void traceEmit(CharString& text) {
    if (const TraceSink sink = trace_sink) {
        sink(text.c_str());
    } else if (traceStdoutOff == 0) {
        std::fputs(text.c_str(), stdout);
    }
    text = "";
}

void ErrorIpc(short number, const char* module, const char* operation, const char* code) {
    if (const ErrorIpcHandler handler = errorIpcHandler) {
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
