#include <execinfo.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include <algorithm>
#include <barrier>
#include <cstdarg>
#include <random>
#include <regex>
#include <semaphore>
#include <set>
#include <sstream>
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

Mutex* const print_lock = [](Mutex* m) { return mutexInit(&m, "print"), m; }(nullptr);
std::string printed;  // what the layer printed, guarded by dlTableLock
thread_local Mutex *to_break = nullptr, *asked = nullptr;  // of this thread's part in a ring
int way = 0;  // what the fatal function does then: nothing, try for `asked`, end its thread

[[gnu::format(printf, 1, 2)]] int record(const char* format, ...) {
    const MutexHold hold(print_lock, "test", __LINE__);  // a print function may take a Mutex
    char text[512];
    va_list values;
    va_start(values, format);
    vsnprintf(text, sizeof text, format, values);
    va_end(values);
    return static_cast<int>((printed += text).size());
}

// Ends the reported ring: the neighbour gets its lock, and all come home.
void breakRing(const char* text) {
    printed += text;
    mutexRel(std::exchange(to_break, nullptr));
    if (way == 1) mutexTry(asked, "test", __LINE__), mutexRel(asked);
    if (way == 2) threadExit();
}

void await(auto condition) {
    for (bool fulfilled = false; !fulfilled; std::this_thread::yield()) {
        pthread_mutex_lock(&dlTableLock);
        fulfilled = condition();
        pthread_mutex_unlock(&dlTableLock);
    }
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
            get(asked = next);
            mutexRel(next);
            mutexRel(to_break);
        });
    }
}

const DlFatalFunction take_asked = [](const char* text) { get((puts(text), asked)); };

// One thread owns l0, l1 and l2, gives l1 back, and waits for l3; another owns l3 and asks for l0;
// a third waits for l4, free in the tables. All wait for ever; the names of addresses follow.
[[noreturn]] void showARing(bool takes_again) {
    dup2(STDERR_FILENO, STDOUT_FILENO);
    alarm(60);
    dlInit(nullptr, takes_again ? take_asked : nullptr);
    dlThreadList = nullptr;  // a thread of an earlier test would leave its place to one of these
    const Locks l(5);
    DlMutex &first = l[0]->lock_record, &last = l[3]->lock_record, &spare = l[4]->lock_record;
    pthread_mutex_lock(&spare.real_lock);
    const std::jthread idler([&] { get(l[4]); });
    await([&] { return spare.first_attempt != nullptr; });
    const std::jthread asker([&] {
        get(l[3]);
        await([&] { return last.first_attempt != nullptr; });
        get(asked = l[0]);
    });
    await([&] { return last.owner != nullptr; });
    const std::jthread waiter([&] {
        for (const std::size_t i : {0u, 1u, 2u}) get(l[i]);
        mutexRel(l[1]);
        get(l[3]);
    });
    await([&] { return first.first_attempt && last.first_attempt; });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));  // room for a second report
    const auto at = [](const void* p) { return reinterpret_cast<std::uintmax_t>(p); };
    printf("|%jx=l0\n%jx=l2\n", at(&first), at(&l[2]->lock_record));
    printf("%jx=l3\n%jx=l4\n", at(&last), at(&spare));
    for (const auto& [r, name] : {std::pair{first.owner.load(), "Waiter"},
                                  {last.owner.load(), "Asker"},
                                  {spare.first_attempt, "Idler"}})
        printf("%jx ID%uID=%s\n", at(r), static_cast<std::uint32_t>(r->id), name);
    fflush(stdout);
    _exit(0);
}

// The report alone, with "..." for the frames of a call stack, and with names for addresses.
std::string named(const std::string& report_and_names) {
    std::istringstream output(report_and_names);
    std::string text, address, name;
    std::getline(output, text, '|');
    text = std::regex_replace(text, std::regex(R"((\[0x[^\]]*\])+)"), "...");
    while (std::getline(std::getline(output, address, '='), name))
        text = std::regex_replace(text, std::regex(address), name);
    return text;
}

TEST(DeadLockDeathTest, ReportNamesTheAskerTheWaitersAndTheLocksStillOwned) {
    constexpr char kReport[] =
        "DeadLock !!! Asker lock lock(l0)\n"
        "\n    Thread Waiter:\n      Callstack:...\n"
        "      WaitingMutex lock(l3) WaitingThread Asker\n      OwnedMutex : lock(l2) lock(l0) \n"
        "\n    Thread Asker:\n      Callstack:...\n"
        "      WaitingMutex lock(l0) WaitingThread Waiter\n      OwnedMutex : lock(l3) \n"
        "\n    Thread Idler:\n      Callstack:...\n"
        "      WaitingMutex lock(l4) WaitingThread 0 ID0ID\n      OwnedMutex : \n"
        "DeadLock\n";
    for (const bool takes_again : {false, true})
        EXPECT_EXIT(showARing(takes_again), testing::ExitedWithCode(0),
                    testing::ResultOf(named, kReport));
}

TEST(DeadLock, TheThreadThatClosesARingSaysSoHoweverTheyRace) {
    dlInit(record, breakRing);
    for (const int size : {2, 3, 5, 17, 64}) {
        for (int round = 0; round < 4 + 400 / size; ++round) {
            way = round % 3;
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
    const auto is_waited_for = [](int which) {
        await([which] { return lock[which]->lock_record.first_attempt != nullptr; });
    };
    dlInit(record, give_first_then_second);
    const Locks locks(4);
    lock = locks.data();
    calls = 0;
    get(lock[kLog]);
    std::jthread holder([&] {
        get(lock[kFirst]);
        get(lock[kSecond]);
        is_waited_for(kFirst);
        get(lock[kWanted]);
        mutexRel(lock[kWanted]);
    });
    await([] { return lock[kSecond]->lock_record.owner != nullptr; });
    std::jthread asker([&] {
        get(lock[kWanted]);
        get(lock[kFirst]);
        is_waited_for(kLog);
        get(lock[kSecond]);
        for (const int held : {kSecond, kFirst, kWanted}) mutexRel(lock[held]);
    });
    is_waited_for(kSecond);
    mutexRel(lock[kLog]);
    holder.join();
    asker.join();
    EXPECT_EQ(calls, 2);
    const std::regex first_line("DeadLock !!! ");
    using Matches = std::sregex_iterator;
    EXPECT_EQ(std::distance(Matches(printed.begin(), printed.end(), first_line), Matches()), 2)
        << printed;
}

TEST(DeadLock, NoRingNoReport) {
    dlInit(record, breakRing);
    const Locks locks(12);
    std::vector<std::jthread> threads;
    for (unsigned seed = 1; seed <= 8; ++seed) {
        threads.emplace_back([&locks, random = std::minstd_rand(seed)]() mutable {
            for (int i = 0; i < 20000; ++i) {
                std::vector<Mutex*> held;
                for (std::size_t l = 0; l < locks.size(); l += 1 + random() % 4)
                    get(held.emplace_back(locks[l]));
                std::shuffle(held.begin(), held.end(), random);
                std::for_each(held.begin(), held.end(), mutexRel);
            }
        });
    }
    threads.clear();
    EXPECT_EQ(printed, "");
    for (const Mutex* m : locks) EXPECT_FALSE(m->lock_record.first_attempt);
    std::jthread([&] { mutexRel((get(locks[0]), locks[0])); }).join();
    std::set<pthread_t> ids;
    for (const DlThread* r = dlThreadList; r; r = r->next) {
        EXPECT_TRUE(!r->owned && !r->waiting_mutex && !r->waiting_thread);
        EXPECT_TRUE(ids.insert(r->id).second) << "a later thread takes the record over";
    }
}

// Whether an attempt on a free lock keeps the frames that `backtrace` gives: entry 2 leads here,
// and those behind it, which differ from it, into the callers.
[[gnu::noinline]] bool keepsFrames(const DlThread* self, Mutex* m, int depth) {
    volatile bool keeps = depth > 0 && keepsFrames(self, m, depth - 1);  // no tail call
    if (depth > 0) return keeps;
    void *frames[2 * kDlStackRoom], *const *const kept = self->call_stack;
    void** const end = frames + backtrace(frames, 2 * kDlStackRoom);
    mutexRel((mutexGet(m, "test", __LINE__), m));
    return kept[2] != kept[3] && std::search(frames, end, kept + 3, kept + kDlStackRoom) != end;
}

TEST(DeadLock, StatesFollowTheLockAndABreachOfTheContractIsToldOnly) {
    dlInit(record, breakRing);
    Locks locks(2);
    DlMutex &lock = locks[0]->lock_record, &other = locks[1]->lock_record;
    const auto waiters = [&](const DlThread* owner) {
        int number = 0;
        for (const DlThread* r = lock.first_attempt; r; r = r->next_attempt)
            number += r->waiting_mutex == &lock && r->waiting_thread == owner;
        return number;
    };
    get(locks[1]);
    DlThread* const self = other.owner;
    EXPECT_TRUE(keepsFrames(self, locks[0], 2 * kDlStackRoom));
    std::counting_semaphore<2> give_up(0);
    const auto take = [&] { mutexRel((get(locks[0]), give_up.acquire(), locks[0])); };
    pthread_mutex_lock(&lock.real_lock);  // held before the tables know it
    std::jthread first(take), second(take);
    await([&] { return waiters(nullptr) == 2; });
    mutexTry(locks[0], "test", __LINE__);
    EXPECT_EQ(waiters(self), 2) << "a try names the new owner too";
    get(locks[0]);
    EXPECT_TRUE(!self->waiting_mutex && lock.count == 2);
    mutexRel(locks[0]);
    EXPECT_EQ(waiters(self), 2) << "a recursive hold goes on";
    mutexRel(locks[0]);
    EXPECT_EQ(waiters(nullptr), 2) << "given up";
    pthread_mutex_unlock(&lock.real_lock);
    await([&] { return lock.owner && lock.owner != self && waiters(lock.owner) == 1; });
    EXPECT_TRUE(dlMutexUnlock(&lock) == EPERM && lock.count == 1 && waiters(lock.owner) == 1);
    give_up.release(2);
    await([&] { return !lock.owner && !lock.first_attempt; });
    EXPECT_EQ(self->owned, &other);
    mutexDestroy(std::exchange(locks[1], nullptr));
    EXPECT_EQ(self->owned, nullptr);
    EXPECT_EQ(printed,
              "Unlock Mutex (lock) not from the owner\n"
              "pthread_mutex_destroy with one owner for mutex (lock)\n");
}

}  // namespace
