// std::recursive_mutex under ThreadSanitizer's dead-lock detector: the peer of bench_locks that
// needs a process of its own. Its raw mutex is measured there, uninstrumented, in the same run.

#include <benchmark/benchmark.h>

#include <mutex>

namespace {

void takeAndReleaseUnderDetector(benchmark::State& state) {
    static std::recursive_mutex lock;
    for (auto _ : state) {
        lock.lock();
        benchmark::ClobberMemory();
        lock.unlock();
    }
}

void retakeUnderDetector(benchmark::State& state) {
    static std::recursive_mutex lock;
    const std::lock_guard hold(lock);
    for (auto _ : state) {
        lock.lock();
        benchmark::ClobberMemory();
        lock.unlock();
    }
}

BENCHMARK(takeAndReleaseUnderDetector);
BENCHMARK(retakeUnderDetector);

}  // namespace

BENCHMARK_MAIN();
