// The string beside what else could build a line or read a number.
#include <benchmark/benchmark.h>

#include <charconv>
#include <cstdio>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "util/i_charstr.h"

namespace {

constexpr int kNumbers = 100'000;
constexpr char kAddress[] = "192.168.10.254";

/// The numbers of the line that each of the four builds: text, number, text, number, text. They are
/// new to the compiler for each line, or it would count their digits once and for all.
struct LineValues {
    int line = 1207;
    int state = 42;
    LineValues() { benchmark::DoNotOptimize(*this); }
};

void lineCharString(benchmark::State& runs) {
    for (auto _ : runs) {
        const LineValues v;
        CharString s(80, 80);
        s << "line " << v.line << " goes to state " << v.state << " by call\n";
        benchmark::DoNotOptimize(s.c_str());
    }
}

void appendToChars(std::string& s, int value) {
    char digits[16];
    const auto written = std::to_chars(digits, digits + sizeof digits, value);
    s.append(digits, written.ptr);
}

void lineStdString(benchmark::State& runs) {
    for (auto _ : runs) {
        const LineValues v;
        std::string s;
        s += "line ";
        appendToChars(s, v.line);
        s += " goes to state ";
        appendToChars(s, v.state);
        s += " by call\n";
        benchmark::DoNotOptimize(s.c_str());
    }
}

void lineStringStream(benchmark::State& runs) {
    for (auto _ : runs) {
        const LineValues v;
        std::ostringstream s;
        s << "line " << v.line << " goes to state " << v.state << " by call\n";
        benchmark::DoNotOptimize(s.str().c_str());
    }
}

void lineSnprintf(benchmark::State& runs) {
    for (auto _ : runs) {
        const LineValues v;
        char text[80];
        std::snprintf(text, sizeof text, "line %d goes to state %d by call\n", v.line, v.state);
        const std::string s(text);
        benchmark::DoNotOptimize(s.c_str());
    }
}

/// 100,000 numbers with a blank behind each.
CharString numbersText() {
    CharString s;
    for (int i = 0; i < kNumbers; ++i)
        s << i * 7919 % 100'003 << ' ';
    return s;
}

void numbersCharString(benchmark::State& runs) {
    const CharString source = numbersText();
    for (auto _ : runs) {
        CharString s(source);
        long long sum = 0;
        for (int value = 0; (s >> value).good();)
            sum += value;
        benchmark::DoNotOptimize(sum);
    }
}

/// What the same reads cost without their scan: the front goes, number by number.
void numbersEraseAlone(benchmark::State& runs) {
    const CharString numbers = numbersText();
    const std::string source(numbers.c_str());
    std::vector<std::size_t> lengths;
    for (std::size_t at = 0, end = 0; at < source.size() - 1; at = end) {
        end = source.find(' ', at + 1);
        lengths.push_back(end - at);
    }
    for (auto _ : runs) {
        std::string s(source);
        for (const std::size_t length : lengths)
            s.erase(0, length);
        benchmark::DoNotOptimize(s.data());
    }
}

void numbersSscanf(benchmark::State& runs) {
    const CharString numbers = numbersText();
    for (auto _ : runs) {
        std::string s(numbers.c_str());
        long long sum = 0;
        for (int value = 0, n = 0; std::sscanf(s.c_str(), "%d%n", &value, &n) == 1;) {
            sum += value;
            s.erase(0, static_cast<std::size_t>(n));
        }
        benchmark::DoNotOptimize(sum);
    }
}

void addressCharString(benchmark::State& runs) {
    const char* source = kAddress;
    benchmark::DoNotOptimize(source);
    for (auto _ : runs) {
        CharString s(source);
        short a, b, c, d;
        char dot;
        s >> a >> dot >> b >> dot >> c >> dot >> d;
        benchmark::DoNotOptimize(s.good() ? a + b + c + d : 0);
    }
}

void addressFromChars(benchmark::State& runs) {
    const char* source = kAddress;
    benchmark::DoNotOptimize(source);
    for (auto _ : runs) {
        const std::string_view view(source);
        const char *at = view.data(), *const last = at + view.size();
        int sum = 0, part = 0;
        for (int field = 0; field < 4; ++field) {
            const auto [end, error] = std::from_chars(at, last, part);
            if (error != std::errc() || (field < 3 && end == last)) break;
            sum += part;
            at = end + 1;
        }
        benchmark::DoNotOptimize(sum);
    }
}

BENCHMARK(lineCharString);
BENCHMARK(lineStdString);
BENCHMARK(lineStringStream);
BENCHMARK(lineSnprintf);
BENCHMARK(numbersCharString)->Unit(benchmark::kMillisecond);
BENCHMARK(numbersEraseAlone)->Unit(benchmark::kMillisecond);
BENCHMARK(numbersSscanf)->Unit(benchmark::kMillisecond);
BENCHMARK(addressCharString);
BENCHMARK(addressFromChars);

}  // namespace

BENCHMARK_MAIN();
