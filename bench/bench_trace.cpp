// A stamped trace line beside the line of a well-known logger, for one text and for two numbers:
// to a sink that gets the finished line and drops it, and to a file on /dev/null. Both loggers put
// the same stamp in front and are safe to use from several threads.
#include <benchmark/benchmark.h>
#include <spdlog/sinks/base_sink.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>

#include <cstdio>
#include <memory>
#include <mutex>

#include "util/i_trace.h"

namespace {

constexpr char kText[] = "the connection of the operator's console has come up again";

class DroppingSink : public spdlog::sinks::base_sink<std::mutex> {
    void sink_it_(const spdlog::details::log_msg& message) override {
        spdlog::memory_buf_t line;
        formatter_->format(message, line);
        benchmark::DoNotOptimize(line.data());
    }
    void flush_() override {}
};

std::FILE* const dev_null = std::fopen("/dev/null", "w");

void drop(const char* text) {
    benchmark::DoNotOptimize(text);
}

void writeToFile(const char* text) {
    std::fputs(text, dev_null);
}

spdlog::logger makePeer(spdlog::sink_ptr sink) {
    spdlog::logger peer("peer", std::move(sink));
    peer.set_pattern("%Hh%M:%S.%e   %v");
    return peer;
}

void traceText(benchmark::State& state, TraceSink sink) {
    setTraceSink(sink);
    for (auto _ : state)
        traceTexts(kText);
}
void traceNumbers(benchmark::State& state, TraceSink sink) {
    setTraceSink(sink);
    int port = 0;
    for (auto _ : state)
        traceValues("connection from port", ++port, "to", 3595);
}
void peerText(benchmark::State& state, spdlog::sink_ptr sink) {
    spdlog::logger peer = makePeer(std::move(sink));
    for (auto _ : state)
        peer.info(kText);
}
void peerNumbers(benchmark::State& state, spdlog::sink_ptr sink) {
    spdlog::logger peer = makePeer(std::move(sink));
    int port = 0;
    for (auto _ : state)
        peer.info("connection from port {} to {}", ++port, 3595);
}

spdlog::sink_ptr fileSink() {
    return std::make_shared<spdlog::sinks::basic_file_sink_mt>("/dev/null");
}

BENCHMARK_CAPTURE(traceText, dropped, drop);
BENCHMARK_CAPTURE(peerText, dropped, std::make_shared<DroppingSink>());
BENCHMARK_CAPTURE(traceNumbers, dropped, drop);
BENCHMARK_CAPTURE(peerNumbers, dropped, std::make_shared<DroppingSink>());
BENCHMARK_CAPTURE(traceText, file, writeToFile);
BENCHMARK_CAPTURE(peerText, file, fileSink());
BENCHMARK_CAPTURE(traceNumbers, file, writeToFile);
BENCHMARK_CAPTURE(peerNumbers, file, fileSink());

}  // namespace

BENCHMARK_MAIN();
