#include <gmock/gmock.h>
#include <unistd.h>

#include <algorithm>
#include <barrier>
#include <cstdarg>
#include <random>
#include <regex>
#include <semaphore>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "util/i_os_mutex.h"
#include "util/i_os_thread.h"

// The rings, which ThreadSanitizer would find too, are made on purpose. It still looks for races.
extern "C" const char* __tsan_default_options() {
    return "detect_deadlocks=0:report_mutex_bugs=0:report_destroy_locked=0";
}

namespace {

std::string printed;                     // what the layer printed, guarded by dlTableLock
thread_local Mutex* to_break = nullptr;  // of this thread's part in a ring: what it holds
thread_local Mutex* asked = nullptr;     // and what it asks for
enum { kReturns, kTriesForTheLock, kEndsItsThread, kWays } way = kReturns;  // of the fatal function

[[gnu::format(printf, 1, 2)]] int record(const char* format, ...) {
    const MutexHold hold(systemMutex(), "test", __LINE__);  // a print function may take a Mutex
    char text[512];
    va_list values;
    va_start(values, format);
    vsnprintf(text, sizeof text, format, values);
    va_end(values);
    printed += text;
    return 0;
}

// Ends the reported ring: the neighbour gets its lock, and all come home.
void breakRing(const char* text) {
    printed += text;
    mutexRel(std::exchange(to_break, nullptr));
    if (way == kEndsItsThread) threadExit();
    if (way == kReturns) return;
    mutexTry(asked, "test", __LINE__);
    mutexRel(asked);
}

void await(auto condition) {
    for (bool fulfilled = false; !fulfilled; std::this_thread::yield()) {
        pthread_mutex_lock(&dlTableLock);
        fulfilled = condition();
        pthread_mutex_unlock(&dlTableLock);
    }
}

void awaitOwnerOf(const Mutex* m) {
    await([m] { return m->lock_record.owner != nullptr; });
}

void awaitAttemptOn(const Mutex* m) {
    await([m] { return m->lock_record.first_attempt != nullptr; });
}

// Free locks; with them the record of what was printed begins anew.
struct Locks : std::vector<Mutex*> {
    explicit Locks(std::size_t number) : vector(number) {
        for (Mutex*& m : *this) mutexInit(&m, "lock");
        printed.clear();
    }
    ~Locks() { std::for_each(begin(), end(), mutexDestroy); }
};

const auto get = [](Mutex* m) { return mutexGet(m, "test", __LINE__); };

// Each thread holds a lock and asks for its neighbour's; without the barrier perhaps no ring.
void raceRing(unsigned size, bool all_hold_first) {
    const Locks locks(size);
    std::barrier start(static_cast<int>(size));
    std::vector<std::jthread> threads;
    for (std::size_t i = 0; i < size; ++i) {
        threads.emplace_back([&, i, own = locks[i], next = locks[(i + 1) % size]] {
            start.arrive_and_wait();
            i % 2 ? mutexTry(own, "test", __LINE__) : get(own);
            to_break = own;
            if (all_hold_first) start.arrive_and_wait();
            asked = next;
            get(next);
            mutexRel(next);
            mutexRel(to_break);
        });
    }
}

// One thread owns l0, l1 and l2, gives l1 back, and waits for l3; another owns l3 and asks for l0.
// Both wait for ever.
[[noreturn]] void showARing(DlFatalFunction fatal) {
    dup2(STDERR_FILENO, STDOUT_FILENO);
    alarm(60);
    dlInit(nullptr, fatal);
    dlThreadList = nullptr;  // a thread of an earlier test would leave its place to one of these
    const Locks l(4);
    const std::jthread asker([&] {
        get(l[3]);
        awaitAttemptOn(l[3]);
        asked = l[0];
        get(asked);
    });
    awaitOwnerOf(l[3]);
    const std::jthread waiter([&] {
        get(l[0]);
        get(l[1]);
        get(l[2]);
        mutexRel(l[1]);
        get(l[3]);
    });
    awaitAttemptOn(l[3]);
    awaitAttemptOn(l[0]);
    std::this_thread::sleep_for(std::chrono::milliseconds(50));  // room for a second report
    fflush(stdout);
    _exit(0);
}

TEST(DeadLockDeathTest, ReportNamesTheAskerTheWaitersAndTheLocksStillOwned) {
    // \1 is the asker, \2 l0, \3 the waiter, and \5 l3.
    constexpr char kReport[] = R"re(DeadLock !!! ([0-9a-f]+ ID[0-9]+ID) lock lock\(([0-9a-f]+)\)

    Thread ([0-9a-f]+ ID[0-9]+ID):
      Callstack:(\[0x[0-9a-f]+\])+
      WaitingMutex lock\(([0-9a-f]+)\) WaitingThread \1
      OwnedMutex : lock\([0-9a-f]+\) lock\(\2\)[ ]

    Thread \1:
      Callstack:(\[0x[0-9a-f]+\])+
      WaitingMutex lock\(\2\) WaitingThread \3
      OwnedMutex : lock\(\5\)[ ]
DeadLock
)re";
    const DlFatalFunction take_asked_again = [](const char* text) {
        puts(text);
        get(asked);
    };
    const auto is_the_report = testing::Truly(
        [&](const std::string& text) { return std::regex_match(text, std::regex(kReport)); });
    EXPECT_EXIT(showARing(nullptr), testing::ExitedWithCode(0), is_the_report);
    EXPECT_EXIT(showARing(take_asked_again), testing::ExitedWithCode(0), is_the_report);
}

TEST(DeadLock, TheThreadThatClosesARingSaysSoHoweverTheyRace) {
    dlInit(record, breakRing);
    for (const int size : {2, 3, 5, 17, 64}) {
        for (int round = 0; round < 4 + 400 / size; ++round) {
            way = static_cast<decltype(way)>(round % kWays);
            raceRing(static_cast<unsigned>(size), round % 2 == 0);  // a missed ring would hang
            if (printed.empty() && round % 2 == 1) continue;
            ASSERT_EQ(std::ranges::count(printed, '\n'), 1 + 5 * size) << printed;
            ASSERT_TRUE(printed.ends_with(" \nDeadLock")) << printed;
        }
    }
}

// Both rings run through `holder` and `asker`: the second is closed while the fatal function of the
// first waits for `log`, which sets the reported attempt aside.
TEST(DeadLock, ARingClosedWhileTheFatalFunctionWaitsIsToldAsWell) {
    static Mutex* const* lock = nullptr;
    static int calls = 0;
    enum { kFirst, kSecond, kWanted, kLog };
    const auto give_first_then_second = [](const char*) {
        mutexRel(lock[calls == 0 ? kFirst : kSecond]);
        ++calls;
        get(lock[kLog]);
        mutexRel(lock[kLog]);
    };
    dlInit(record, give_first_then_second);
    const Locks locks(4);
    lock = locks.data();
    calls = 0;
    get(lock[kLog]);
    std::jthread holder([&] {
        get(lock[kFirst]);
        get(lock[kSecond]);
        awaitAttemptOn(lock[kFirst]);
        get(lock[kWanted]);
        mutexRel(lock[kWanted]);
    });
    awaitOwnerOf(lock[kSecond]);
    std::jthread asker([&] {
        get(lock[kWanted]);
        get(lock[kFirst]);
        awaitAttemptOn(lock[kLog]);
        get(lock[kSecond]);
        for (const int held : {kSecond, kFirst, kWanted}) mutexRel(lock[held]);
    });
    awaitAttemptOn(lock[kSecond]);
    mutexRel(lock[kLog]);
    holder.join();
    asker.join();
    EXPECT_EQ(calls, 2);
    const std::size_t report = printed.find("DeadLock !!! ");
    EXPECT_NE(report, printed.rfind("DeadLock !!! ")) << "two reports: " << printed;
}

TEST(DeadLock, NoRingNoReport) {
    dlInit(record, breakRing);
    const Locks locks(12);
    std::vector<std::jthread> threads;
    for (unsigned seed = 1; seed <= 8; ++seed) {
        threads.emplace_back([&locks, random = std::minstd_rand(seed)]() mutable {
            for (int i = 0; i < 20000; ++i) {
                std::vector<Mutex*> held;
                std::ranges::sample(locks, std::back_inserter(held), 4, random);
                std::ranges::for_each(held, get);  // in one order everywhere
                std::ranges::shuffle(held, random);
                std::ranges::for_each(held, mutexRel);
            }
        });
    }
    threads.clear();
    EXPECT_EQ(printed, "");
    std::set<pthread_t> ids;
    for (const DlThread* r = dlThreadList; r; r = r->next) {
        EXPECT_TRUE(!r->owned && !r->waiting_mutex && !r->waiting_thread);
        EXPECT_TRUE(ids.insert(r->id).second) << "a later thread takes the record over";
    }
}

TEST(DeadLock, AnAttemptOnAFreeLockKeepsTheFramesOfItsCallers) {
    const Locks locks(1);
    get(locks[0]);
    const DlThread* const self = locks[0]->lock_record.owner;
    mutexRel(locks[0]);
    mutexGet(locks[0], "test", __LINE__);
    mutexRel(locks[0]);
    EXPECT_EQ(self->call_stack[3], __builtin_return_address(0)) << "entry 2 leads here";
}

TEST(DeadLock, WaitersNameTheOwnerOfTheMoment) {
    dlInit(record, breakRing);
    const Locks locks(1);
    DlMutex& lock = locks[0]->lock_record;
    const auto waiters = [&](const DlThread* owner) {
        int number = 0;
        for (const DlThread* r = lock.first_attempt; r; r = r->next_attempt)
            number += r->waiting_mutex == &lock && r->waiting_thread == owner;
        return number;
    };
    std::counting_semaphore<2> give_up(0);
    const auto take = [&] {
        get(locks[0]);
        give_up.acquire();
        mutexRel(locks[0]);
    };
    pthread_mutex_lock(&lock.real_lock);  // held before the tables know it
    std::jthread first(take), second(take);
    await([&] { return waiters(nullptr) == 2; });
    mutexTry(locks[0], "test", __LINE__);
    const DlThread* const self = lock.owner;
    EXPECT_EQ(waiters(self), 2) << "a try names the new owner too";
    get(locks[0]);
    EXPECT_TRUE(!self->waiting_mutex && lock.count == 2);
    mutexRel(locks[0]);
    EXPECT_EQ(waiters(self), 2) << "a recursive hold goes on";
    mutexRel(locks[0]);
    EXPECT_EQ(waiters(nullptr), 2) << "given up";
    pthread_mutex_unlock(&lock.real_lock);
    await([&] { return lock.owner && lock.owner != self && waiters(lock.owner) == 1; });
    EXPECT_EQ(dlMutexUnlock(&lock), EPERM);
    EXPECT_TRUE(lock.count == 1 && waiters(lock.owner) == 1) << "a stranger's release";
    give_up.release(2);
    await([&] { return !lock.owner && !lock.first_attempt; });
    EXPECT_EQ(printed, "Unlock Mutex (lock) not from the owner\n");
}

TEST(DeadLock, AHeldLockThatIsDestroyedLeavesItsOwnersList) {
    dlInit(record, breakRing);
    Locks locks(1);
    get(locks[0]);
    const DlThread* const self = locks[0]->lock_record.owner;
    mutexDestroy(std::exchange(locks[0], nullptr));
    EXPECT_EQ(self->owned, nullptr);
    EXPECT_EQ(printed, "pthread_mutex_destroy with one owner for mutex (lock)\n");
}

}  // namespace
