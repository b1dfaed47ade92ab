// The universal list beside `std::list`: a million elements put at the end, walked, and every
// second one removed. Both sides make and delete the same elements, so the ratio is that of the
// lists.

#include <benchmark/benchmark.h>
#include <malloc.h>

#include <climits>
#include <cstring>
#include <ctime>
#include <list>
#include <memory>

#include "util/l_univ.h"

namespace {

constexpr int kElements = 1'000'000;

struct Plain : el_int {
    explicit Plain(int v) { value = v; }
};

// The same three steps for each kind of list.
struct Universal {
    void fill() {
        for (int i = 0; i < kElements; ++i)
            l.put_end(new Plain(i));
    }
    long walk() {
        long sum = 0;
        for (l.start(); !l.off(); l.forth())
            sum += static_cast<Plain*>(l.item(t_int))->value;
        return sum;
    }
    void removeEverySecond() {
        for (l.start(); !l.off();) {
            l.remove();
            if (!l.off()) l.forth();
        }
    }
    l_univ l{"bench", t_int};
};

template <typename Pointer>
struct Standard {
    ~Standard() {
        for (auto& p : l)
            drop(p);
    }
    void fill() {
        for (int i = 0; i < kElements; ++i)
            l.push_back(Pointer(new Plain(i)));
    }
    long walk() {
        long sum = 0;
        for (auto& p : l)
            sum += p->value;
        return sum;
    }
    void removeEverySecond() {
        for (auto it = l.begin(); it != l.end();) {
            drop(*it);
            it = l.erase(it);
            if (it != l.end()) ++it;
        }
    }
    static void drop(Plain* p) { delete p; }
    static void drop(std::shared_ptr<Plain>&) {}
    std::list<Pointer> l;
};

using Raw = Standard<Plain*>;
using Shared = Standard<std::shared_ptr<Plain>>;

// A list on an orderly heap: the large block makes the allocator merge the small ones that an
// earlier list left behind, so that no side starts with the other's scattered memory.
template <typename List>
std::unique_ptr<List> newList() {
    benchmark::DoNotOptimize(std::make_unique<char[]>(16 << 20));
    return std::make_unique<List>();
}

// Times `work` by the processor time of this thread: what else runs on the machine stays out.
template <typename Work>
void timed(benchmark::State& state, Work work) {
    const auto seconds = [] {
        timespec now{};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
        return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
    };
    const double begin = seconds();
    work();
    state.SetIterationTime(seconds() - begin);
}

template <typename List>
void fill(benchmark::State& state) {
    for (auto _ : state) {
        auto list = newList<List>();
        timed(state, [&] { list->fill(); });
    }
}

template <typename List>
void walk(benchmark::State& state) {
    auto list = newList<List>();
    list->fill();
    for (auto _ : state)
        timed(state, [&] { benchmark::DoNotOptimize(list->walk()); });
}

template <typename List>
void removeEverySecond(benchmark::State& state) {
    for (auto _ : state) {
        auto list = newList<List>();
        list->fill();
        timed(state, [&] { list->removeEverySecond(); });
    }
}

// The making of a list is outside the timed part and costs more: few rounds are enough.
void inMilliseconds(benchmark::internal::Benchmark* b) {
    b->UseManualTime()->Iterations(5)->Unit(benchmark::kMillisecond);
}

BENCHMARK(fill<Universal>)->Apply(inMilliseconds);
BENCHMARK(fill<Raw>)->Apply(inMilliseconds);
BENCHMARK(fill<Shared>)->Apply(inMilliseconds);
BENCHMARK(walk<Universal>)->Apply(inMilliseconds);
BENCHMARK(walk<Raw>)->Apply(inMilliseconds);
BENCHMARK(walk<Shared>)->Apply(inMilliseconds);
BENCHMARK(removeEverySecond<Universal>)->Apply(inMilliseconds);
BENCHMARK(removeEverySecond<Raw>)->Apply(inMilliseconds);
BENCHMARK(removeEverySecond<Shared>)->Apply(inMilliseconds);

// Memory that was freed stays with the process, and is touched before anything is measured: whether
// the system takes it back, and gives it page by page again, is no merit of a list.
void keepMemory() {
    constexpr std::size_t kMostInUse = 256 << 20;
    mallopt(M_TRIM_THRESHOLD, INT_MAX);
    mallopt(M_MMAP_MAX, 0);
    const std::unique_ptr<char[]> touched(new char[kMostInUse]);
    std::memset(touched.get(), 1, kMostInUse);
    benchmark::DoNotOptimize(touched.get());
}

}  // namespace

int main(int argc, char** argv) {
    keepMemory();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
