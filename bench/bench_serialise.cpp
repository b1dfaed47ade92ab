// What a header costs on its way to and from the wire, beside the plain copy of its 132 bytes.

#include <benchmark/benchmark.h>

#include <cstring>

#include "norba/i_msg.h"

namespace {

/// A frame as the console sends it; `text_length` characters stand in the header's text field.
MsgToSend& filledFrame(MsgToSend& frame, int text_length) {
    MsgHeader header;
    header.setType(10);
    header.setOp(5);
    header.setLg(80);
    header.setText(std::string(static_cast<std::size_t>(text_length), 't').c_str());
    frame.setHeader(header);
    frame.Serialise();
    return frame;
}

void Memcpy132(benchmark::State& state) {
    char from[MsgHeader::kSize] = {}, to[MsgHeader::kSize];
    for (auto _ : state) {
        benchmark::DoNotOptimize(&from);
        std::memcpy(to, from, sizeof to);
        benchmark::DoNotOptimize(&to);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(Memcpy132);

void Serialise(benchmark::State& state) {
    MsgToSend frame(1024);
    filledFrame(frame, static_cast<int>(state.range(0)));
    for (auto _ : state) {
        frame.Serialise();
        benchmark::ClobberMemory();
    }
}
BENCHMARK(Serialise)->ArgName("text")->Arg(0)->Arg(103);

void ReadHeader(benchmark::State& state) {
    MsgToSend frame(1024);
    filledFrame(frame, static_cast<int>(state.range(0)));
    MsgHeader header;
    for (auto _ : state) {
        std::memcpy(header.wire(), frame.buffer(), MsgHeader::kSize);
        benchmark::DoNotOptimize(header.ReadHeader());
        benchmark::ClobberMemory();
    }
}
BENCHMARK(ReadHeader)->ArgName("text")->Arg(0)->Arg(103);

}  // namespace

BENCHMARK_MAIN();
