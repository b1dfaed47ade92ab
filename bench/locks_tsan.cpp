// std::recursive_mutex under ThreadSanitizer's dead-lock detector: the peer of bench_locks that
// needs a process of its own. The raw recursive
// mutex beside it is the system's own, taken past the sanitizer's interceptors.

#include <benchmark/benchmark.h>
#include <dlfcn.h>
#include <pthread.h>

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

using LockCall = int (*)(pthread_mutex_t*);

LockCall systemCall(const char* name) {
    static void* const library = dlopen("libc.so.6", RTLD_NOW);
    return reinterpret_cast<LockCall>(dlsym(library, name));
}

void takeAndReleaseRaw(benchmark::State& state) {
    const LockCall lock = systemCall("pthread_mutex_lock");
    const LockCall unlock = systemCall("pthread_mutex_unlock");
    pthread_mutex_t mutex = PTHREAD_RECURSIVE_MUTEX_INITIALIZER_NP;
    for (auto _ : state) {
        lock(&mutex);
        benchmark::ClobberMemory();
        unlock(&mutex);
    }
}

BENCHMARK(takeAndReleaseRaw);
BENCHMARK(takeAndReleaseUnderDetector);
BENCHMARK(retakeUnderDetector);

}  // namespace

BENCHMARK_MAIN();
