#pragma once
// The one way of writing a diagnostic line, and the report of a failed system call.
//
// A trace call builds one line in memory of its own, puts the time of day in front and hands it to
// the sink in one call. There are no levels and no files. Any thread may call everything here at
// any moment, also from a static constructor and with any Mutex held; the only lock that a line
// touches is "mutex_Systeme", taken and given back inside `getDateTime` while the stamp is made.
// So a stamped call waits while another thread holds "mutex_Systeme". Lines of different threads
// come out whole, in any order.
//
//   call             stamp  line end  obeys traceOff
//   traceValues      yes    yes       yes
//   traceTexts       yes    yes       yes
//   traceLine        yes    no        yes (an empty text: only a line end, no stamp)
//   tracePrintf      yes    yes       yes
//   tracePrintfRaw   no     no        no
//   traceEmit        no     no        no
//
// The stamp is "%.2dh%.2d:%.2d.%.3d   " of hour, minute, second, millisecond in local time. All
// text arguments are terminated and not null. The i_os rooms trace and the trace takes a lock of
// theirs: the circle is closed here and in i_os_time.

#include <atomic>
#include <concepts>
#include <cstdint>

class CharString;

/// Not 0: the calls that the table marks write nothing, for the price of one test.
extern std::atomic<short> traceOff;
/// Not 0: without a sink, text is dropped instead of written to standard output. A sink still gets
/// its text.
extern std::atomic<short> traceStdoutOff;

/// Takes one finished text. Several threads may be in it at once, and it may trace itself, as long
/// as it knows when to stop. A trace line comes with nothing locked, but what elements and lists
/// print comes under "mutex_Systeme": a lock that the sink takes must not be held while tracing.
using TraceSink = void (*)(const char* text);

/// Sends all further trace text to `sink`; null means standard output again, without a flush.
void setTraceSink(TraceSink sink);

/// Takes the reports of `ErrorIpc`. The number names the family of the failed operation: 11 thread
/// start, 14 mutex creation, 15 take, 16 release, 18 semaphore creation, 19 take, 20 post.
using ErrorIpcHandler = void (*)(short number, const char* module, const char* operation,
                                 const char* code);
/// The program's own handler; null (at start) lets `ErrorIpc` print for itself.
extern std::atomic<ErrorIpcHandler> errorIpcHandler;

/// Writes the first text and number, then each further pair whose text isn't empty, with single
/// blanks between them. The first pair shows also with an empty text.
void traceValues(const char* t1, long n1, const char* t2, long n2, const char* t3, long n3,
                 const char* t4, long n4);

/// The forms with one to four pairs of any integer type.
template <std::integral N1, std::integral N2 = int, std::integral N3 = int, std::integral N4 = int>
void traceValues(const char* t1, N1 n1, const char* t2 = "", N2 n2 = -1, const char* t3 = "",
                 N3 n3 = -1, const char* t4 = "", N4 n4 = -1) {
    traceValues(t1, static_cast<long>(n1), t2, static_cast<long>(n2), t3, static_cast<long>(n3), t4,
                static_cast<long>(n4));
}

/// Writes the four texts with a blank between each two. A missing text still brings its blank, so
/// that a single text ends in three blanks.
void traceTexts(const char* t1, const char* t2 = "", const char* t3 = "", const char* t4 = "");

/// Writes stamp and text without a line end; an empty text gives a bare line end.
void traceLine(const char* text);

/// Formats like `printf`, cut at 1,023 bytes, and writes the result like `traceTexts` does a single
/// text.
[[gnu::format(printf, 1, 2)]] void tracePrintf(const char* format, ...);

/// Formats like `printf`, cut at 1,023 bytes, and hands the text to the sink as it is.
[[gnu::format(printf, 1, 2)]] void tracePrintfRaw(const char* format, ...);

/// Hands the text to the sink, or to standard output if there is none, and empties `text`.
void traceEmit(CharString& text);

/// Reports a failed system call: to `errorIpcHandler` if there is one, else as the line
/// "ErrorIpc: %s  %s  %s\n" of module, operation and code on standard output, past the sink and the
/// switches. It never stops the program.
void ErrorIpc(short number, const char* module, const char* operation, const char* code);
void ErrorIpc(short number, const char* module, const char* operation, std::int32_t code);
