#include <gmock/gmock.h>

#include <algorithm>
#include <barrier>
#include <cstdarg>
#include <functional>
#include <thread>

#include "util/i_os_mutex.h"
#include "util/i_os_thread.h"

// The rings, which ThreadSanitizer would find too, are made on purpose. It still looks for races.
extern "C" const char* __tsan_default_options() {
    return "detect_deadlocks=0:report_mutex_bugs=0:report_destroy_locked=0";
}

namespace {

std::string printed;                     // what the layer printed, guarded by dlTableLock
std::function<void()> on_fatal;          // what the fatal function does besides printing
thread_local Mutex* to_break = nullptr;  // of this thread's part in a ring: what it holds
thread_local Mutex* asked = nullptr;     // and what it asks for

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

void recordFatal(const char* text) {
    printed += text;
    if (on_fatal) on_fatal();
}

const auto get = [](Mutex* m) { return mutexGet(m, "test", __LINE__); };

// Free locks; with them the record of what is printed begins anew.
struct Locks : std::vector<Mutex*> {
    explicit Locks(std::size_t number) : vector(number) {
        for (Mutex*& m : *this) mutexInit(&m, "lock");
        dlInit(record, recordFatal);
        on_fatal = nullptr;
        printed.clear();
    }
    ~Locks() { std::for_each(begin(), end(), mutexDestroy); }
};

// Ends the ring of the reporting thread: its neighbour gets the lock, and all come home.
void breakRing(bool ends_the_thread) {
    mutexRel(std::exchange(to_break, nullptr));
    mutexTry(asked, "test", __LINE__);
    mutexRel(asked);
    if (ends_the_thread) threadExit();
}

// Each thread holds a lock and asks for its neighbour's; without the barrier perhaps no ring.
void raceRing(int size, bool all_hold_first, bool ends_the_thread) {
    const Locks locks(static_cast<std::size_t>(size));
    on_fatal = [=] { breakRing(ends_the_thread); };
    std::barrier start(size);
    std::vector<std::jthread> threads;
    for (std::size_t i = 0; i < locks.size(); ++i) {
        threads.emplace_back([&, i, own = locks[i], next = locks[(i + 1) % locks.size()]] {
            start.arrive_and_wait();
            if (i % 2 != 0) mutexTry(own, "test", __LINE__);
            else get(own);
            to_break = own;
            if (all_hold_first) start.arrive_and_wait();
            asked = next;
            get(next);
            mutexRel(next);
            mutexRel(to_break);
        });
    }
}

TEST(DeadLock, TheThreadThatClosesARingSaysSoHoweverTheyRace) {
    for (const int size : {2, 3, 5, 17, 64}) {
        for (const bool ends_the_thread : {false, true}) {
            for (int round = 0; round < 2 + 200 / size; ++round) {
                raceRing(size, round % 2 == 0, ends_the_thread);  // a missed ring would hang
                if (printed.empty() && round % 2 == 1) continue;
                ASSERT_EQ(std::ranges::count(printed, '\n'), 1 + 5 * size) << printed;
                ASSERT_TRUE(printed.ends_with(" \nDeadLock")) << printed;
            }
        }
    }
}

// Who stands in the tables alone, with no thread behind: what it holds is free for the system, so
// whoever asks for that searches, and gets it at once.
struct Standing : DlThread {
    explicit Standing(pthread_t number) : DlThread{} { id = number; }
    void holds(Mutex* m) {
        DlMutex& lock = m->lock_record;
        lock.owner = this;
        lock.count = 1;
        lock.next_owned = std::exchange(owned, &lock);
    }
    void waitsFor(Mutex* m) {
        waiting_mutex = &m->lock_record;
        waiting_thread = waiting_mutex->owner;
        next_attempt = std::exchange(waiting_mutex->first_attempt, this);
    }
};

// This thread owns `own`, for which `neighbour` waits: asking for `wanted` closes a ring.
class RingTest : public testing::Test {
  protected:
    RingTest() {
        std::jthread(dlMutexUnlock, &free->lock_record).join();  // the search counts threads
        printed.clear();
        get(own);
        self = own->lock_record.owner;
        neighbour.holds(further);
        neighbour.holds(wanted);
        neighbour.waitsFor(own);
    }
    // Asks for a lock of the neighbour, and leaves it with the neighbour.
    static void ask(Mutex* m) {
        get(m);
        pthread_mutex_unlock(&m->lock_record.real_lock);
        m->lock_record.count = 1;
    }

    Standing neighbour{1};
    Locks locks{4};
    Mutex* const own = locks[0];
    Mutex* const wanted = locks[1];
    Mutex* const further = locks[2];
    Mutex* const free = locks[3];
    DlThread* self = nullptr;
};

std::string hex(const void* address) { return testing::PrintToString(address).substr(2); }

std::string shown(const Mutex* m) { return "lock(" + hex(&m->lock_record) + ")"; }

std::string shown(const DlThread* t) {
    return hex(t) + " ID" + std::to_string(static_cast<std::uint32_t>(t->id)) + "ID";
}

TEST_F(RingTest, TheReportShowsTheAskerAllThatWaitAndWhatTheyOwn) {
    Standing late(2);
    late.waitsFor(free);
    DlThread* const real_threads = std::exchange(dlThreadList, &late);
    late.next = &neighbour;
    neighbour.next = real_threads;
    for (std::uintptr_t i = 0; i < 10; ++i) late.call_stack[i] = reinterpret_cast<void*>(i + 1);
    std::copy_n(late.call_stack, 4, neighbour.call_stack);
    const auto report = [&] {
        std::string frames;
        for (int i = 2; i < 10 && self->call_stack[i]; ++i)
            frames += "[0x" + hex(self->call_stack[i]) + "]";
        return "DeadLock !!! " + shown(self) + " lock " + shown(wanted) + "\n\n    Thread " +
               shown(&late) +
               ":\n      Callstack:[0x3][0x4][0x5][0x6][0x7][0x8][0x9][0xa]\n      WaitingMutex " +
               shown(free) + " WaitingThread 0 ID0ID\n      OwnedMutex : \n\n    Thread " +
               shown(&neighbour) + ":\n      Callstack:[0x3][0x4]\n      WaitingMutex " +
               shown(own) + " WaitingThread " + shown(self) +
               "\n      OwnedMutex : " + shown(wanted) + " " + shown(further) + " \n\n    Thread " +
               shown(self) + ":\n      Callstack:" + frames + "\n      WaitingMutex " +
               shown(wanted) + " WaitingThread " + shown(&neighbour) +
               "\n      OwnedMutex : " + shown(own) + " \nDeadLock";
    };
    ask(wanted);
    EXPECT_TRUE(pthread_equal(self->id, pthread_self()));
    EXPECT_EQ(printed, report());
    dlInit(nullptr, nullptr);
    testing::internal::CaptureStdout();
    ask(wanted);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), report() + "\n");
    dlThreadList = real_threads;
}

TEST_F(RingTest, TakesOfTheFatalFunctionTellNewRingsAndNoToldOne) {
    int calls = 0;
    on_fatal = [&] {
        ask(wanted);
        if (++calls == 1) ask(further);
        if (calls == 2) neighbour.waits_since = self->shown_in;  // it gave up, and waits again
        mutexTry(own, "test", __LINE__);
        mutexRel(own);
        get(free);
        mutexRel(free);
    };
    ask(wanted);
    EXPECT_EQ(calls, 3);
    EXPECT_EQ(std::ranges::count(printed, '!'), 3 * 3) << "three reports: " << printed;
}

TEST_F(RingTest, ASearchThatMeetsAnOlderRingOfOthersEnds) {
    Standing other(2);
    neighbour.waiting_thread = &other;
    other.waiting_thread = &neighbour;
    ask(wanted);
    EXPECT_EQ(printed, "");
}

TEST_F(RingTest, AnAttemptKeepsTheFramesOfItsCallers) {
    mutexGet(free, "test", __LINE__);
    EXPECT_EQ(self->call_stack[3], __builtin_return_address(0)) << "entry 2 leads here";
}

TEST_F(RingTest, WaitersNameTheOwnerOfTheMoment) {
    Standing first(2);
    Standing second(3);
    first.waitsFor(free);
    second.waitsFor(free);
    const auto owners = [&] { return std::vector{first.waiting_thread, second.waiting_thread}; };
    mutexTry(free, "test", __LINE__);
    EXPECT_THAT(owners(), testing::Each(self)) << "a try names the new owner too";
    self->call_stack[0] = nullptr;
    get(free);
    EXPECT_EQ(self->call_stack[0], nullptr) << "a recursive take is no attempt";
    mutexRel(free);
    EXPECT_THAT(owners(), testing::Each(self)) << "a recursive hold goes on";
    mutexRel(free);
    EXPECT_THAT(owners(), testing::Each(nullptr));
    get(free);
    EXPECT_THAT(owners(), testing::Each(self));
    EXPECT_EQ(free->lock_record.first_attempt, &second) << "the attempt has ended";
}

TEST_F(RingTest, AStrangersReleaseOrADamagedRecordIsToldAndStopsNothing) {
    wanted->lock_record.count = 2;
    EXPECT_EQ(dlMutexUnlock(&wanted->lock_record), EPERM);
    EXPECT_EQ(wanted->lock_record.count, 2);
    neighbour.waiting_thread = &neighbour;
    EXPECT_EQ(mutexRel(own), 0);
    EXPECT_EQ(neighbour.waiting_thread, nullptr);
    get(own);
    own->lock_record.count = 0;
    EXPECT_EQ(mutexRel(own), 0);
    EXPECT_EQ(own->lock_record.owner, self);
    EXPECT_EQ(printed,
              "Unlock Mutex (lock) not from the owner\n"
              "RemoveThreadWaiting Invalid data\nMutexCount <0 ???\n");
}

TEST(DeadLock, AThreadOwnsWhatItHasNeitherGivenBackNorDestroyed) {
    Locks locks(5);
    std::ranges::for_each(locks, get);
    const DlThread* const self = locks[0]->lock_record.owner;
    mutexRel(locks[2]);
    mutexRel(locks[4]);
    mutexDestroy(std::exchange(locks[1], nullptr));
    EXPECT_EQ(printed, "pthread_mutex_destroy with one owner for mutex (lock)\n");
    EXPECT_EQ(self->owned, &locks[3]->lock_record);
    EXPECT_EQ(self->owned->next_owned, &locks[0]->lock_record);
    EXPECT_EQ(self->owned->next_owned->next_owned, nullptr);
}

}  // namespace
