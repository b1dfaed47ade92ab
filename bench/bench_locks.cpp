// What a take and a release cost beside a raw recursive pthread mutex and the dead-lock detection
// of others. Compare ratios of one run only.

#include <absl/synchronization/mutex.h>
#include <benchmark/benchmark.h>
#include <pthread.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <latch>
#include <mutex>
#include <thread>
#include <vector>

#include "util/i_os_mutex.h"

namespace {

constexpr char SOURCE_MODULE[] = "bench/locks";

// One benchmark thread's view of each lock: take() and release() on one shared object.
struct ZorMutex {
    ZorMutex() { mutexInit(&m, "bench"); }
    void take() { mutexGet(m, SOURCE_MODULE, __LINE__); }
    void release() { mutexRel(m); }
    Mutex* m = nullptr;
};

struct RawRecursive {
    RawRecursive() {
        pthread_mutexattr_t attribute;
        pthread_mutexattr_init(&attribute);
        pthread_mutexattr_settype(&attribute, PTHREAD_MUTEX_RECURSIVE);
        pthread_mutex_init(&m, &attribute);
    }
    void take() { pthread_mutex_lock(&m); }
    void release() { pthread_mutex_unlock(&m); }
    pthread_mutex_t m;
};

struct AbslMutex {
    AbslMutex() { absl::SetMutexDeadlockDetectionMode(absl::OnDeadlockCycle::kReport); }
    void take() ABSL_NO_THREAD_SAFETY_ANALYSIS { m.Lock(); }
    void release() ABSL_NO_THREAD_SAFETY_ANALYSIS { m.Unlock(); }
    absl::Mutex m;
};

template <typename Lock>
Lock& shared() {
    static Lock lock;
    return lock;
}

template <typename Lock>
void takeAndRelease(benchmark::State& state) {
    Lock& lock = shared<Lock>();
    for (auto _ : state) {
        lock.take();
        benchmark::ClobberMemory();
        lock.release();
    }
}

// Each thread with a lock of its own, so that what they share is the lock layer alone.
template <typename Lock>
void takeAndReleaseOwn(benchmark::State& state) {
    Lock lock;
    for (auto _ : state) {
        lock.take();
        benchmark::ClobberMemory();
        lock.release();
    }
}

template <typename Lock>
void retake(benchmark::State& state) {
    Lock& lock = shared<Lock>();
    lock.take();
    takeAndRelease<Lock>(state);
    lock.release();
}

// Threads that have a record in the lock layer and then only live, and one without a record, so
// that the system's mutexes never fall into their way for single-threaded processes.
class IdleThreads {
  public:
    explicit IdleThreads(int with_record) : started_(with_record + 1) {
        for (int i = 0; i <= with_record; ++i) {
            threads_.emplace_back([this, i] {
                if (i > 0) makeRecord();
                started_.count_down();
                end_.wait();
            });
        }
        started_.wait();
    }
    ~IdleThreads() {
        end_.count_down();
        for (std::thread& thread : threads_)
            thread.join();
    }

  private:
    static void makeRecord() {
        ZorMutex own;
        own.take();
        own.release();
        mutexDestroy(own.m);
    }

    std::latch started_;
    std::latch end_{1};
    std::vector<std::thread> threads_;
};

constexpr int kTakesInChild = 200000;

double secondsOfTakes(int records) {
    const IdleThreads others(records - 1);
    ZorMutex lock;
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < kTakesInChild; ++i) {
        lock.take();
        lock.release();
    }
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// Thread records outlive their threads, so each measure runs in a process of its own.
void withThreadRecords(benchmark::State& state) {
    for (auto _ : state) {
        int ends[2];
        if (pipe(ends) != 0) return state.SkipWithError("pipe");
        const pid_t child = fork();
        if (child == 0) {
            const double seconds = secondsOfTakes(static_cast<int>(state.range(0)));
            _exit(write(ends[1], &seconds, sizeof seconds) == sizeof seconds ? 0 : 1);
        }
        double seconds = 0;
        const bool got = read(ends[0], &seconds, sizeof seconds) == sizeof seconds;
        close(ends[0]);
        close(ends[1]);
        waitpid(child, nullptr, 0);
        if (!got) return state.SkipWithError("no time from the child");
        state.SetIterationTime(seconds / kTakesInChild);
    }
}

BENCHMARK(withThreadRecords)->Arg(1)->Arg(8)->Arg(64)->Arg(512)->UseManualTime()->Iterations(20);
BENCHMARK(takeAndRelease<RawRecursive>);
BENCHMARK(takeAndRelease<ZorMutex>);
BENCHMARK(takeAndRelease<AbslMutex>);
BENCHMARK(retake<RawRecursive>);
BENCHMARK(retake<ZorMutex>);
BENCHMARK(takeAndRelease<RawRecursive>)->Threads(2)->UseRealTime();
BENCHMARK(takeAndRelease<ZorMutex>)->Threads(2)->UseRealTime();
BENCHMARK(takeAndRelease<AbslMutex>)->Threads(2)->UseRealTime();
BENCHMARK(takeAndReleaseOwn<RawRecursive>)->Threads(2)->Threads(4)->UseRealTime();
BENCHMARK(takeAndReleaseOwn<ZorMutex>)->Threads(2)->Threads(4)->UseRealTime();
BENCHMARK(takeAndReleaseOwn<AbslMutex>)->Threads(2)->Threads(4)->UseRealTime();

}  // namespace

// A second thread lives throughout: whether a process is single-threaded changes what the system's
// mutexes cost, and the order of the benchmarks would decide it.
int main(int argc, char** argv) {
    const IdleThreads second(0);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
