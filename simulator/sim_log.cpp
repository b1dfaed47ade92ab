#include "simulator/sim_log.h"

#include <cctype>
#include <cstdio>
#include <ctime>
#include <new>
#include <string_view>
#include <utility>

#include "simulator/sim_text.h"
#include "util/i_trace.h"

namespace {

constexpr std::size_t kStampSize = 15;   // "09h41:07.250   "
constexpr std::int32_t kToldEvery = 10;  // s
constexpr long kNanosecondsOfMs = 1'000'000;

thread_local int served = 0;        // the console of this thread, or 0
thread_local bool reading = false;  // inside the reader
SimLogReader log_reader = nullptr;  // set before the first thread

bool stamped(std::string_view line) {
    return line.size() >= kStampSize && std::isdigit(static_cast<unsigned char>(line[0])) &&
           line[2] == 'h' && line[5] == ':' && line[8] == '.' && line.substr(12, 3) == "   ";
}

// Like the stamp of a trace line, without the family's lock for the time of day.
std::string stamp() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    std::tm parts{};
    localtime_r(&now.tv_sec, &parts);
    return simText("%.2dh%.2d:%.2d.%.3ld   ", parts.tm_hour, parts.tm_min, parts.tm_sec,
                   now.tv_nsec / kNanosecondsOfMs);
}

/// The line as it goes out, or nothing of a blank one.
std::string finished(std::string_view line) {
    const std::string time(stamped(line) ? std::string(line.substr(0, kStampSize)) : stamp());
    if (stamped(line)) line.remove_prefix(kStampSize);
    line = line.substr(0, line.find_last_not_of(" \r") + 1);
    if (line.empty()) return "";
    const bool named = served == 0 || line.starts_with("console ");
    return time + (named ? "" : simText("console %d: ", served)) + std::string(line) + '\n';
}

template <typename Use>
void eachLine(std::string_view text, const Use& use) {
    while (!text.empty()) {
        const std::string_view line = text.substr(0, text.find('\n'));
        const std::string whole = finished(line);
        if (!whole.empty()) use(whole);
        text.remove_prefix(std::min(line.size() + 1, text.size()));
    }
}

void put(const std::string& line) {
    std::fputs(line.c_str(), stdout);
}

void sink(const char* text) {
    try {
        eachLine(text, [](const std::string& line) {
            put(line);
            if (!log_reader || std::exchange(reading, true)) return;
            log_reader(line);
            reading = false;
        });
    } catch (const std::bad_alloc&) {
        reading = false;
        std::fputs(text, stdout);
    }
}

void reportFailure(short, const char* module, const char* operation, const char* code) {
    tracePrintf("ErrorIpc: %s  %s  %s", module, operation, code);
}

}  // namespace

void simServes(int number) {
    served = number;
}

void simLog(const char* text) {
    eachLine(text, put);
}

void simTellLack(const char* text) noexcept {
    try {
        traceTexts(text);
    } catch (const std::bad_alloc&) {
        std::puts(text);
    }
}

void simInstallLog(SimLogReader reader) {
    log_reader = reader;
    setTraceSink(sink);
    errorIpcHandler = reportFailure;
}

int SimRarely::due() {
    ++times_;
    const std::int32_t now = simSeconds();
    if (told_ != 0 && now - told_ < kToldEvery) return 0;
    told_ = now;
    return std::exchange(times_, 0);
}

std::int32_t simSeconds() {
    constexpr std::int32_t kAboveNever = 1;  // so that no second is 0, which means never
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::int32_t>(now.tv_sec) + kAboveNever;
}
