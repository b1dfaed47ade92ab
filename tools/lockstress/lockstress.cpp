// Random takes and releases of random locks by 2 to 16 threads, for as long as one likes, beside a
// model that knows whether they have closed a ring: lockstress SECONDS [SEED]
//
// The walk fails when the lock layer tells a ring that isn't there, when it misses one (the threads
// of a missed ring stand still for ever), when what it keeps contradicts itself, or when it calls
// its own records damaged. SEED says which locks are wanted, not how the threads meet.

#include <unistd.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <thread>
#include <vector>

#include "util/i_os_mutex.h"

// The rings, which ThreadSanitizer would find too, are made on purpose. It still looks for races.
// NOLINTNEXTLINE(bugprone-reserved-identifier): the name is the sanitizer's
extern "C" const char* __tsan_default_options() {
    return "detect_deadlocks=0";
}

namespace {

using Clock = std::chrono::steady_clock;

constexpr char SOURCE_MODULE[] = "tools/lockstress";
constexpr unsigned kMostThreads = 16;
constexpr unsigned kLocksPerThread = 2;  // at most: all locks are bits of a word of both machines
constexpr unsigned kDeepest = 5;         // holds of one thread
constexpr int kNobody = -1;
constexpr std::chrono::milliseconds kRound{300};  // then other threads walk among other locks
constexpr std::chrono::milliseconds kGlance{20};  // between two looks of the overseer
constexpr std::chrono::seconds kStandstill{30};   // so long without a step: it won't come any more

// What the model knows of a thread. It writes its words itself, around its calls of the lock layer:
// `wanted` from before an attempt till behind it, `held` from behind a take till behind its
// release. So whatever the layer may call a ring is one here too.
struct Walker {
    std::atomic<std::uint32_t> held{0};  // a bit for each lock
    std::atomic<int> wanted{kNobody};
    std::atomic<unsigned> steps{0};
    std::atomic<bool> at_home{false};  // its walk is over
};

std::array<Walker, kMostThreads> walkers;
std::vector<Mutex*> locks;
Mutex* print_lock = nullptr;  // taken by the print function alone
Mutex* fatal_lock = nullptr;  // taken by the fatal function alone
std::atomic<bool> ending{false};
std::atomic<unsigned> rings{0};
std::atomic<int> longest{0};
unsigned seed = 1;

[[noreturn]] void fail(const char* what, int walker) {
    std::fprintf(stderr, "lockstress: %s (thread %d, seed %u)\n", what, walker, seed);
    _exit(1);
}

std::uint32_t bitOf(int number) {
    return std::uint32_t{1} << number;
}

// The threads that hold what the threads of `waiting` want, a bit for each.
std::uint32_t holdersFor(std::uint32_t waiting) {
    std::uint32_t wanted = 0;
    std::uint32_t holders = 0;
    for (int w = 0; w < static_cast<int>(kMostThreads); ++w) {
        const int lock = walkers[w].wanted;
        if ((waiting & bitOf(w)) && lock != kNobody) wanted |= bitOf(lock);
    }
    for (int w = 0; w < static_cast<int>(kMostThreads); ++w) {
        if (walkers[w].held & wanted) holders |= bitOf(w);
    }
    return holders;
}

// The number of threads in the shortest ring through `walker`; 0 if there is none.
int ringThrough(int walker) {
    std::uint32_t reached = bitOf(walker);
    for (int length = 1; length <= static_cast<int>(kMostThreads); ++length) {
        reached = holdersFor(reached);
        if (reached & bitOf(walker)) return length;
    }
    return 0;
}

// One thread's walk.
class Walk {
  public:
    Walk(int number, unsigned walk_seed) : own_(walkers[number]), number_(number) {
        random_.seed(walk_seed);
        current = this;
    }

    void run() {
        const unsigned depth = 2 + below(kDeepest - 1);
        while (!ending) {
            if (holds_.size() < depth && below(3) > 0)
                take(static_cast<int>(below(static_cast<unsigned>(locks.size()))));
            else if (!holds_.empty())
                release(below(static_cast<unsigned>(holds_.size())));
            if (below(50) == 0) std::this_thread::yield();
            ++own_.steps;
        }
        releaseAll();
        own_.at_home = true;
    }

    int number() const { return number_; }

    void releaseAll() {
        while (!holds_.empty())
            release(holds_.size() - 1);
    }

    unsigned below(unsigned limit) { return static_cast<unsigned>(random_() >> 8) % limit; }

    static inline thread_local Walk* current = nullptr;

  private:
    void take(int lock) {
        own_.wanted = lock;
        // A try may stand in no ring, so only who holds nothing makes one.
        const bool held = holds_.empty() && below(4) == 0
                              ? mutexTry(locks[lock], SOURCE_MODULE, __LINE__) == 1
                              : mutexGet(locks[lock], SOURCE_MODULE, __LINE__) == 0;
        if (!held) fail("a take failed", number_);
        own_.held |= bitOf(lock);
        own_.wanted = kNobody;
        holds_.push_back(lock);
    }

    void release(std::size_t which) {
        const int lock = holds_[which];
        holds_.erase(holds_.begin() + static_cast<std::ptrdiff_t>(which));
        if (mutexRel(locks[lock]) != 0) fail("a release failed", number_);
        for (const int other : holds_) {
            if (other == lock) return;
        }
        own_.held &= ~bitOf(lock);
    }

    Walker& own_;
    int number_;
    std::minstd_rand random_;
    std::vector<int> holds_;  // a lock once for each hold
};

bool startsWith(const char* text, const char* beginning) {
    return std::strncmp(text, beginning, std::strlen(beginning)) == 0;
}

// The print function of the lock layer: compares what it tells with the model. The other threads of
// a ring can't leave it now, because dlTableLock is held.
int hear(const char* format, ...) {
    const MutexHold hold(print_lock, SOURCE_MODULE, __LINE__);
    const int walker = Walk::current ? Walk::current->number() : kNobody;
    for (const char* fault : {"RemoveThreadWaiting", "MutexCount", "Unlock Mutex", "pthread_mutex"})
        if (startsWith(format, fault)) fail(format, walker);
    if (!startsWith(format, "DeadLock !!!")) return 0;
    const int length = walker == kNobody ? 0 : ringThrough(walker);
    if (length == 0) fail("told a ring that isn't there", walker);
    if (length > longest) longest = length;
    ++rings;
    return 0;
}

// The fatal function: breaks the ring, every second time also by way of another attempt.
void breakRing(const char*) {
    Walk::current->releaseAll();
    if (Walk::current->below(2) == 0) return;
    const MutexHold hold(fatal_lock, SOURCE_MODULE, __LINE__);
}

// What must be true whenever nobody else is in the tables.
void lookAtTables() {
    pthread_mutex_lock(&dlTableLock);
    for (const DlThread* t = dlThreadList; t; t = t->next) {
        for (const DlMutex* m = t->owned; m; m = m->next_owned)
            if (m->owner != t || m->count <= 0) fail("an owned lock isn't its owner's", kNobody);
        if (t->waiting_thread && t->waiting_mutex->owner != t->waiting_thread)
            fail("a thread waits for one that isn't the owner", kNobody);
    }
    pthread_mutex_unlock(&dlTableLock);
}

struct Seen {
    unsigned steps;
    Clock::time_point since;
};

// Gives false while the walker has a way to go; fails if it will never go it.
bool isHome(int number, Seen& seen) {
    const Walker& walker = walkers[number];
    if (walker.at_home) return true;
    const Clock::time_point now = Clock::now();
    if (walker.steps != seen.steps) seen = {walker.steps, now};
    if (now - seen.since > kStandstill)
        fail(ringThrough(number) > 0 ? "missed a ring" : "stands still without a ring", number);
    return false;
}

// Sees to it that all go on, tells them to go home at `end`, and waits until they are there.
void oversee(unsigned threads, Clock::time_point end) {
    std::vector<Seen> seen(threads, {0, Clock::now()});
    for (unsigned home = 0; home < threads;) {
        std::this_thread::sleep_for(kGlance);
        lookAtTables();
        ending = Clock::now() >= end;
        home = 0;
        for (unsigned i = 0; i < threads; ++i)
            home += isHome(static_cast<int>(i), seen[i]) ? 1 : 0;
    }
}

// Gives the steps that its threads made.
unsigned runRound(std::minstd_rand& random) {
    const unsigned threads = 2 + random() % (kMostThreads - 1);
    locks.resize(2 + random() % (threads * kLocksPerThread - 1));
    for (Mutex*& lock : locks)
        mutexInit(&lock, "walked");
    ending = false;
    std::vector<std::thread> walking;
    for (unsigned i = 0; i < threads; ++i) {
        walkers[i].steps = 0;
        walkers[i].at_home = false;
        walking.emplace_back([i, walk_seed = random()] {
            Walk(static_cast<int>(i), static_cast<unsigned>(walk_seed)).run();
        });
    }
    oversee(threads, Clock::now() + kRound);
    unsigned steps = 0;
    for (unsigned i = 0; i < threads; ++i) {
        walking[i].join();
        steps += walkers[i].steps;
    }
    lookAtTables();
    for (Mutex* lock : locks)
        mutexDestroy(lock);
    return steps;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fputs("usage: lockstress SECONDS [SEED]\n", stderr);
        return 2;
    }
    const Clock::time_point end = Clock::now() + std::chrono::seconds(std::atoi(argv[1]));
    seed = argc > 2 ? static_cast<unsigned>(std::atoi(argv[2])) : std::random_device()();
    dlInit(hear, breakRing);
    mutexInit(&print_lock, "print");
    mutexInit(&fatal_lock, "fatal");
    std::minstd_rand random(seed);
    unsigned long long steps = 0;
    unsigned rounds = 0;
    for (; Clock::now() < end; ++rounds)
        steps += runRound(random);
    std::printf("lockstress: %llu steps in %u rounds, %u rings of up to %d threads, seed %u\n",
                steps, rounds, rings.load(), longest.load(), seed);
    return rings > 0 ? 0 : 1;
}
