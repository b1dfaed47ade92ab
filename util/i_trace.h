#pragma once

#include <atomic>
#include <concepts>
#include <cstdint>

class CharString;

extern std::atomic<short> traceOff;
extern std::atomic<short> traceStdoutOff;

using TraceSink = void (*)(const char* text);
void setTraceSink(TraceSink sink);

using ErrorIpcHandler = void (*)(short number, const char* module, const char* operation,
                                 const char* code);
extern std::atomic<ErrorIpcHandler> errorIpcHandler;

void traceValues(const char* t1, long n1, const char* t2, long n2, const char* t3, long n3,
                 const char* t4, long n4);
template <std::integral N1, std::integral N2 = int, std::integral N3 = int, std::integral N4 = int>
void traceValues(const char* t1, N1 n1, const char* t2 = "", N2 n2 = -1, const char* t3 = "",
                 N3 n3 = -1, const char* t4 = "", N4 n4 = -1) {
    traceValues(t1, static_cast<long>(n1), t2, static_cast<long>(n2), t3, static_cast<long>(n3), t4,
                static_cast<long>(n4));
}
void traceTexts(const char* t1, const char* t2 = "", const char* t3 = "", const char* t4 = "");
void traceLine(const char* text);
[[gnu::format(printf, 1, 2)]] void tracePrintf(const char* format, ...);
[[gnu::format(printf, 1, 2)]] void tracePrintfRaw(const char* format, ...);
void traceEmit(CharString& text);

void ErrorIpc(short number, const char* module, const char* operation, const char* code);
void ErrorIpc(short number, const char* module, const char* operation, std::int32_t code);
