#include "util/i_trace.h"

#include <charconv>
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

template <int Digits>
void putDigits(char* out, unsigned value) {
    for (int i = Digits; i-- > 0; value /= 10)
        out[i] = static_cast<char>('0' + value % 10);
}

// A line under construction. It reserves its bytes once and counts them once, at its end, instead
// of with each piece; and it makes its digits by hand: beside the stamp a line costs next to
// nothing.
class TraceLine : public CharString {
  public:
    TraceLine() { text.reserve(kLineReserve); }

    TraceLine& stamp() {
        DateTime now;
        getDateTime(&now);
        char out[] = "00h00:00.000   ";
        putDigits<2>(&out[0], static_cast<unsigned>(now.hour));
        putDigits<2>(&out[3], static_cast<unsigned>(now.minute));
        putDigits<2>(&out[6], static_cast<unsigned>(now.second));
        putDigits<3>(&out[9], static_cast<unsigned>(now.millisecond));
        text.append(out, sizeof out - 1);
        return *this;
    }

    TraceLine& piece(const char* s) {
        text.append(s);
        return *this;
    }

    TraceLine& blankAnd(const char* s) {
        text.push_back(' ');
        return *s == '\0' ? *this : piece(s);
    }

    TraceLine& pair(const char* name, long number) {
        char digits[24];
        const auto end = std::to_chars(digits, digits + sizeof digits, number).ptr;
        piece(name).text.push_back(' ');
        text.append(digits, end);
        return *this;
    }

    TraceLine& furtherPair(const char* name, long number) {
        if (*name == '\0') return *this;
        text.push_back(' ');
        return pair(name, number);
    }

    void emit() { traceEmit(refreshed()); }

    void endAndEmit() {
        text.push_back('\n');
        emit();
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
    line.stamp().pair(t1, n1).furtherPair(t2, n2).furtherPair(t3, n3).furtherPair(t4, n4);
    line.endAndEmit();
}

void traceTexts(const char* t1, const char* t2, const char* t3, const char* t4) {
    if (traceOff != 0) return;
    TraceLine line;
    line.stamp().piece(t1).blankAnd(t2).blankAnd(t3).blankAnd(t4).endAndEmit();
}

void traceLine(const char* text) {
    if (traceOff != 0) return;
    TraceLine line;
    if (*text == '\0') return line.endAndEmit();
    line.stamp().piece(text).emit();
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
    TraceLine().piece(text).emit();
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
