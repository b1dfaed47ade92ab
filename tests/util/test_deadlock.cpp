#include <gmock/gmock.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <barrier>
#include <cstdarg>
#include <functional>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "util/i_os_mutex.h"

// The faults that these tests commit on purpose. ThreadSanitizer's own dead-lock detector would
// find the rings, which are the subject here; its search for data races stays on.
extern "C" const char* __tsan_default_options() {
    return "detect_deadlocks=0:report_mutex_bugs=0:report_destroy_locked=0";
}

namespace {

constexpr char SOURCE_MODULE[] = "test";
#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__) || defined(__powerpc__)
constexpr int kScale = 1;  // slow machines
#else
constexpr int kScale = 20;
#endif
constexpr int kChildTime = 60000;  // ms until a child counts as hanging

Mutex* print_lock = nullptr;             // taken by the print function: null or a Mutex
std::string printed;                     // what the layer printed, guarded by dlTableLock
std::atomic<int> fatals{0};              // calls of the fatal function
thread_local Mutex* to_break = nullptr;  // what this thread gives up when it reports

[[gnu::format(printf, 1, 2)]] int record(const char* format, ...) {
    const MutexHold hold(print_lock, SOURCE_MODULE, __LINE__);
    char text[512];
    va_list values;
    va_start(values, format);
    const int length = vsnprintf(text, sizeof text, format, values);
    va_end(values);
    printed += text;
    return length;
}

// Ends the ring that was reported: the neighbour gets its lock, and all of them come home.
void breakRing(const char* text) {
    EXPECT_STREQ(text, "DeadLock");
    ++fatals;
    mutexRel(to_break);
    to_break = nullptr;
}

// Runs `body` in a process of its own and gives its standard output. A failure or a hang in there
// is one here.
std::string inChild(const std::function<void()>& body) {
    int ends[2];
    if (pipe(ends) != 0) return "no pipe";
    fflush(stdout);
    const pid_t child = fork();
    if (child == 0) {
        dup2(ends[1], STDOUT_FILENO);
        body();
        fflush(stdout);
        _exit(testing::Test::HasFailure() ? 1 : 0);
    }
    close(ends[1]);
    std::string text;
    char piece[4096];
    pollfd end{ends[0], POLLIN, 0};
    ssize_t got = 1;
    while (got > 0 && poll(&end, 1, kChildTime) > 0) {
        got = read(ends[0], piece, sizeof piece);
        text.append(piece, static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
    }
    close(ends[0]);
    if (got > 0) kill(child, SIGKILL);
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0) << text;
    return text;
}

// Waits, with a bound, until the tables fulfil `condition`.
template <typename Condition>
bool await(Condition condition) {
    for (int i = 0; i < kChildTime / 2; ++i) {
        pthread_mutex_lock(&dlTableLock);
        const bool fulfilled = condition();
        pthread_mutex_unlock(&dlTableLock);
        if (fulfilled) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return false;
}

std::vector<Mutex*> makeLocks(int number) {
    std::vector<Mutex*> locks(static_cast<std::size_t>(number));
    for (Mutex*& m : locks)
        mutexInit(&m, "lock");
    return locks;
}

void get(Mutex* m) {
    mutexGet(m, SOURCE_MODULE, __LINE__);
}

// `size` threads, each of which holds a lock and asks for its neighbour's. Without the barrier the
// first takes race with the asking too, and the ring may not come about.
void raceRing(int size, bool all_hold_first) {
    const std::vector<Mutex*> locks = makeLocks(size);
    std::barrier start(size);
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < locks.size(); ++i) {
        threads.emplace_back([&, own = locks[i], next = locks[(i + 1) % locks.size()]] {
            start.arrive_and_wait();
            get(own);
            to_break = own;
            if (all_hold_first) start.arrive_and_wait();
            get(next);
            mutexRel(next);
            mutexRel(to_break);
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    for (Mutex* m : locks)
        mutexDestroy(m);
}

TEST(DeadLock, TheThreadThatClosesARingSaysSoHoweverTheyRace) {
    inChild([] {
        dlInit(record, breakRing);
        for (const int size : {2, 3, 5, 17, 64}) {
            for (int round = 0; round < 2 + 20 * kScale / size; ++round) {
                fatals = 0;
                printed.clear();
                raceRing(size, true);
                ASSERT_EQ(fatals, 1) << "ring of " << size;
                ASSERT_TRUE(printed.starts_with("DeadLock !!! ") &&
                            printed.find("DeadLock", 1) == std::string::npos &&
                            printed.find("Invalid") == std::string::npos);
            }
        }
        for (int round = 0; round < 20 * kScale; ++round) {
            fatals = 0;
            raceRing(2 + round % 3, false);  // a missed ring would hang here
            ASSERT_LE(fatals, 1);
        }
    });
}

TEST(DeadLock, NoRingNoReport) {
    inChild([] {
        dlInit(record, breakRing);
        const std::vector<Mutex*> locks = makeLocks(12);
        std::vector<std::thread> threads;
        for (unsigned t = 0; t < 8; ++t) {
            threads.emplace_back([&, t] {
                std::minstd_rand random(t + 1);
                for (int i = 0; i < 2500 * kScale; ++i) {
                    std::vector<Mutex*> held;
                    for (std::size_t l = 0; l < locks.size(); l += 1 + random() % 4) {
                        get(locks[l]);
                        held.push_back(locks[l]);
                    }
                    std::shuffle(held.begin(), held.end(), random);
                    for (Mutex* m : held)
                        mutexRel(m);
                }
            });
        }
        for (std::thread& thread : threads)
            thread.join();
        EXPECT_EQ(printed + std::to_string(fatals), "0");
        for (const DlThread* r = dlThreadList; r; r = r->next) {
            EXPECT_TRUE(!r->owned && !r->waiting_mutex && !r->waiting_thread);
        }
        for (const Mutex* m : locks) {
            const DlMutex& l = m->lock_record;
            EXPECT_TRUE(!l.owner && !l.count && !l.first_attempt && !l.next_owned);
        }
        std::set<pthread_t> ids;
        for (const DlThread* r = dlThreadList; r; r = r->next) {
            EXPECT_TRUE(ids.insert(r->id).second) << "later threads take records over";
        }
    });
}

// A thread owns l0, l1 and l2, gives l1 back, and waits for l3; the caller owns l3 and asks for l0.
std::vector<Mutex*> ring;
void closeRingOfTwo() {
    ring = makeLocks(4);
    get(ring[3]);
    std::thread([] {
        for (std::size_t i : {0u, 1u, 2u})
            get(ring[i]);
        mutexRel(ring[1]);
        get(ring[3]);
    }).detach();
    if (!await([] { return ring[3]->lock_record.first_attempt != nullptr; })) _exit(2);
    get(ring[0]);
}

std::string block(const DlThread* thread, Mutex* wanted, const DlThread* owner) {
    char text[200];
    snprintf(text, sizeof text,
             "\n    Thread %jx ID%uID:\n      Callstack:\n"
             "      WaitingMutex lock(%jx) WaitingThread %jx ID%uID\n      OwnedMutex : ",
             reinterpret_cast<std::uintmax_t>(thread), static_cast<unsigned>(thread->id),
             reinterpret_cast<std::uintmax_t>(&wanted->lock_record),
             reinterpret_cast<std::uintmax_t>(owner), static_cast<unsigned>(owner->id));
    return text;
}

std::string lockText(Mutex* m) {
    char text[40];
    snprintf(text, sizeof text, "lock(%jx)", reinterpret_cast<std::uintmax_t>(&m->lock_record));
    return text;
}

TEST(DeadLock, ReportNamesTheAskerTheWaitersAndTheLocksStillOwned) {
    inChild([] {
        mutexInit(&print_lock, "print");  // print and fatal functions may take a Mutex
        dlInit(record, [](const char*) {
            const MutexHold hold(print_lock, SOURCE_MODULE, __LINE__);
            const DlThread* const self = ring[3]->lock_record.owner;
            const DlThread* const other = ring[0]->lock_record.owner;
            char head[80];
            snprintf(head, sizeof head, "DeadLock !!! %jx ID%uID lock ",
                     reinterpret_cast<std::uintmax_t>(self), static_cast<unsigned>(self->id));
            std::size_t stacks = 0;
            for (std::size_t at; (at = printed.find("[0x")) != std::string::npos; ++stacks) {
                printed.erase(at, printed.find(']', at) - at + 1);
            }
            EXPECT_GE(stacks, 4u);
            EXPECT_EQ(printed, head + lockText(ring[0]) + "\n" + block(other, ring[3], self) +
                                   lockText(ring[2]) + " " + lockText(ring[0]) + " \n" +
                                   block(self, ring[0], other) + lockText(ring[3]) + " \n");
            fflush(stdout);
            _exit(testing::Test::HasFailure() ? 1 : 0);
        });
        closeRingOfTwo();
    });
}

TEST(DeadLock, DefaultReportGoesToStandardOutputAndTheAttemptThenWaits) {
    const std::string text = inChild([] {
        std::thread(closeRingOfTwo).detach();
        const auto both_wait = [] {
            int waiting = 0;
            for (const DlThread* r = dlThreadList; r; r = r->next)
                waiting += !!r->waiting_thread;
            return waiting == 2;
        };
        EXPECT_TRUE(await(both_wait));
        std::this_thread::sleep_for(std::chrono::milliseconds(50));  // room for a second report
        EXPECT_TRUE(await(both_wait));
    });
    EXPECT_TRUE(text.ends_with(" \nDeadLock\n")) << text;
    EXPECT_EQ(text.find("DeadLock !!!"), text.rfind("DeadLock !!!"));
}

TEST(DeadLock, StatesFollowTheLockFromThreadToThread) {
    inChild([] {
        dlInit(record, breakRing);
        Mutex* const m = makeLocks(1)[0];
        DlMutex& lock = m->lock_record;
        std::array<std::atomic<bool>, 2> give_up{};
        std::atomic<std::size_t> holder{9};
        get(m);
        get(m);
        DlThread* const self = lock.owner;
        EXPECT_TRUE(await([&] { return !self->waiting_mutex && lock.count == 2; }));
        const auto waiters = [&](const DlThread* owner) {
            int number = 0;
            for (const DlThread* r = lock.first_attempt; r; r = r->next_attempt) {
                number += r->waiting_mutex == &lock && r->waiting_thread == owner;
            }
            return number;
        };
        std::vector<std::thread> threads;
        for (std::size_t t = 0; t < 2; ++t) {
            threads.emplace_back([&, t] {
                get(m);
                holder = t;
                give_up[t].wait(false);
                mutexRel(m);
            });
        }
        const auto let = [&](std::size_t t) {
            give_up[t] = true;
            give_up[t].notify_all();
        };
        EXPECT_TRUE(await([&] { return waiters(self) == 2; })) << "waiting for the owner";
        mutexRel(m);
        EXPECT_EQ(waiters(self), 2) << "a recursive hold goes on";
        mutexRel(m);
        EXPECT_TRUE(await([&] { return holder < 2 && waiters(lock.owner) == 1; }))
            << "the one left waits for the new owner";
        const std::size_t first = holder;
        let(first);
        EXPECT_TRUE(await([&] { return holder == 1 - first && !lock.first_attempt; }));
        let(1 - first);
        for (std::thread& thread : threads)
            thread.join();

        // With the real lock taken behind the tables' back an attempt finds no owner, a try leaves
        // no state, and a release turns "waiting" back into "attempt".
        pthread_mutex_lock(&lock.real_lock);
        std::thread late([&] {
            get(m);
            mutexRel(m);
        });
        EXPECT_TRUE(await([&] { return waiters(nullptr) == 1; })) << "in an attempt";
        EXPECT_EQ(dlMutexTryLock(&lock), 0);
        EXPECT_EQ(waiters(self), 1) << "the try made this the owner";
        dlMutexUnlock(&lock);
        EXPECT_EQ(waiters(nullptr), 1);
        pthread_mutex_unlock(&lock.real_lock);
        late.join();
        EXPECT_EQ(printed + std::to_string(fatals), "0");
    });
}

TEST(DeadLock, BreachesOfTheContractAreToldAndChangeNothingElse) {
    EXPECT_EQ(inChild([] {
                  const std::vector<Mutex*> locks = makeLocks(2);
                  DlMutex& held = locks[0]->lock_record;
                  DlMutex& other = locks[1]->lock_record;
                  get(locks[1]);
                  get(locks[0]);
                  std::thread([&] { EXPECT_EQ(dlMutexUnlock(&held), EPERM); }).join();
                  DlThread* const self = held.owner;
                  EXPECT_TRUE(self && self->owned == &held && held.count == 1);
                  dlMutexDestroy(&held);
                  EXPECT_TRUE(self->owned == &other && !other.previous_owned);
                  mutexRel(locks[1]);
                  EXPECT_EQ(dlMutexUnlock(&other), EPERM);
                  EXPECT_EQ(self->owned, nullptr);
              }),
              "Unlock Mutex (lock) not from the owner\n"
              "pthread_mutex_destroy with one owner for mutex (lock)\n"
              "Unlock Mutex (lock) not from the owner\n");
}

}  // namespace
