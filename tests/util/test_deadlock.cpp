#include <gmock/gmock.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <barrier>
#include <cstdarg>
#include <functional>
#include <latch>
#include <map>
#include <random>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "util/i_os_deadlock.h"
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

std::string printed;                     // what the layer printed, guarded by dlTableLock
std::atomic<int> fatals{0};              // calls of the fatal function
thread_local Mutex* to_break = nullptr;  // what this thread gives up when it reports

[[gnu::format(printf, 1, 2)]] int record(const char* format, ...) {
    char text[512];
    va_list values;
    va_start(values, format);
    const int length = vsnprintf(text, sizeof text, format, values);
    va_end(values);
    printed += text;
    return length;
}

void count(const char* text) {
    EXPECT_STREQ(text, "DeadLock");
    ++fatals;
}

// Ends the ring that was reported: the neighbour gets its lock, and all of them come home.
void breakRing(const char* text) {
    count(text);
    if (to_break) mutexRel(to_break);
    to_break = nullptr;
}

// What `body` writes to standard output in a process of its own. It leaves by _exit, by itself or
// at its end; one that hangs is killed and is a failure.
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
    bool ended = false;
    while (!ended && poll(&end, 1, kChildTime) > 0) {
        const ssize_t got = read(ends[0], piece, sizeof piece);
        ended = got <= 0;
        if (!ended) text.append(piece, static_cast<std::size_t>(got));
    }
    close(ends[0]);
    if (!ended) kill(child, SIGKILL);
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(ended) << "the child hangs";
    EXPECT_EQ(status, 0) << text;
    return text;
}

// Runs `body` with the layer's tables standing still.
template <typename Body>
auto inTables(Body body) {
    pthread_mutex_lock(&dlTableLock);
    const auto result = body();
    pthread_mutex_unlock(&dlTableLock);
    return result;
}

template <typename Condition>
bool await(Condition condition) {
    for (int i = 0; i < kChildTime / 2; ++i) {
        if (inTables(condition)) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return false;
}

struct Locks {
    explicit Locks(int number) : all(static_cast<std::size_t>(number)) {
        for (Mutex*& m : all)
            mutexInit(&m, "ring");
    }
    ~Locks() {
        for (Mutex* m : all)
            mutexDestroy(m);
    }
    Mutex* operator[](int i) const { return all[static_cast<std::size_t>(i) % all.size()]; }
    std::vector<Mutex*> all;
};

// One ring of `size` threads, each of which holds a lock and asks for its neighbour's. Without the
// barrier the first takes race with the asking too, and the ring may not come about.
void raceRing(int size, bool all_hold_first) {
    const Locks locks(size);
    std::barrier start(size);
    std::vector<std::thread> threads;
    for (int i = 0; i < size; ++i) {
        threads.emplace_back([&, i] {
            start.arrive_and_wait();
            mutexGet(locks[i], SOURCE_MODULE, __LINE__);
            to_break = locks[i];
            if (all_hold_first) start.arrive_and_wait();
            mutexGet(locks[i + 1], SOURCE_MODULE, __LINE__);
            mutexRel(locks[i + 1]);
            if (to_break) mutexRel(to_break);
            to_break = nullptr;
        });
    }
    for (std::thread& thread : threads)
        thread.join();
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
                ASSERT_EQ(printed.find("DeadLock !!! "), 0u);
                ASSERT_EQ(printed.find("DeadLock !!! ", 1), std::string::npos);
                ASSERT_EQ(printed.find("???"), std::string::npos);
                ASSERT_EQ(printed.find("Invalid"), std::string::npos);
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
        dlInit(record, count);
        constexpr int kThreads = 8;
        constexpr int kLocks = 12;
        const Locks locks(kLocks);
        std::array<long, kLocks> guarded{};
        std::vector<std::thread> threads;
        for (unsigned t = 0; t < kThreads; ++t) {
            threads.emplace_back([&, t] {
                std::minstd_rand random(t + 1);
                for (int i = 0; i < 2500 * kScale; ++i) {
                    int lock = 0;
                    std::vector<int> held;
                    for (; lock < kLocks; lock += 1 + static_cast<int>(random() % 4)) {
                        mutexGet(locks[lock], SOURCE_MODULE, __LINE__);
                        ++guarded[static_cast<std::size_t>(lock)];
                        held.push_back(lock);
                    }
                    std::shuffle(held.begin(), held.end(), random);
                    for (const int h : held)
                        mutexRel(locks[h]);
                }
            });
        }
        for (std::thread& thread : threads)
            thread.join();
        EXPECT_EQ(guarded[0], kThreads * 2500L * kScale);
        EXPECT_EQ(printed, "");
        EXPECT_EQ(fatals, 0);
        for (const DlThread* r = dlThreadList; r; r = r->next) {
            EXPECT_TRUE(!r->owned && !r->waiting_mutex && !r->waiting_thread);
        }
        for (const Mutex* m : locks.all) {
            EXPECT_TRUE(!m->lock_record.owner && !m->lock_record.count &&
                        !m->lock_record.first_attempt);
        }
    });
}

// Puts letters in place of addresses and numbers in place of thread ids, by order of appearance.
std::string masked(std::string text) {
    text = std::regex_replace(text, std::regex(R"((\[0x[0-9a-f]+\])+)"), "[stack]");
    std::string out;
    std::map<std::string, std::string> names;
    const std::regex value(R"(ID\d+ID|\([0-9a-f]+\)|(!!!|Thread) [0-9a-f]+)");
    auto from = text.cbegin();
    for (std::smatch m; std::regex_search(from, text.cend(), m, value); from = m[0].second) {
        const std::string word = m.str();
        const std::size_t blank = word.find(' ');
        const std::string number = blank == std::string::npos ? word : word.substr(blank + 1);
        const std::string name(1, static_cast<char>('a' + static_cast<int>(names.size())));
        const std::string shown = names.try_emplace(number, name).first->second;
        out.append(from, m[0].first);
        out +=
            number == "0" || number == "ID0ID"
                ? word
                : (blank == std::string::npos ? "" : word.substr(0, blank + 1)) + "<" + shown + ">";
    }
    return out.append(from, text.cend());
}

// A owns l1, l2 and l3, gives l2 back, and waits for l4; B owns l4 and asks for l1.
void closeRingOfTwo() {
    Mutex* l[5] = {};
    const char* const names[5] = {"", "l1", "l2", "l3", "l4"};
    for (int i = 1; i < 5; ++i)
        mutexInit(&l[i], names[i]);
    mutexGet(l[4], SOURCE_MODULE, __LINE__);
    std::thread a([&] {
        for (int i : {1, 2, 3})
            mutexGet(l[i], SOURCE_MODULE, __LINE__);
        mutexRel(l[2]);
        mutexGet(l[4], SOURCE_MODULE, __LINE__);
    });
    if (!await([&] { return l[4]->lock_record.first_attempt != nullptr; })) _exit(2);
    a.detach();
    mutexGet(l[1], SOURCE_MODULE, __LINE__);
}

TEST(DeadLock, ReportNamesTheAskerTheWaitersAndTheLocksStillOwned) {
    const std::string text = inChild([] {
        dlInit(nullptr, [](const char* what) {
            printf("fatal %s", what);
            fflush(stdout);
            _exit(0);
        });
        closeRingOfTwo();
    });
    EXPECT_EQ(masked(text),
              "DeadLock !!! <a> <b> lock l1<c>\n"
              "\n    Thread <d> <e>:\n      Callstack:[stack]\n"
              "      WaitingMutex l4<f> WaitingThread <a> <b>\n"
              "      OwnedMutex : l3<g> l1<c> \n"
              "\n    Thread <a> <b>:\n      Callstack:[stack]\n"
              "      WaitingMutex l1<c> WaitingThread <d> <e>\n"
              "      OwnedMutex : l4<f> \n"
              "fatal DeadLock");
}

TEST(DeadLock, DefaultReportGoesToStandardOutputAndTheAttemptThenWaits) {
    const std::string text = inChild([] {
        setvbuf(stdout, nullptr, _IONBF, 0);
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
        dlInit(record, count);
        const Locks locks(2);
        DlMutex& lock = locks[0]->lock_record;
        std::array<std::latch, 2> give_up{std::latch(1), std::latch(1)};
        std::atomic<int> holder{-1};
        mutexGet(locks[0], SOURCE_MODULE, __LINE__);
        mutexGet(locks[0], SOURCE_MODULE, __LINE__);
        DlThread* const self = lock.owner;
        EXPECT_TRUE(inTables([&] { return !self->waiting_mutex && lock.count == 2; }));
        std::vector<std::thread> threads;
        for (int t = 0; t < 2; ++t) {
            threads.emplace_back([&, t] {
                mutexGet(locks[0], SOURCE_MODULE, __LINE__);
                holder = t;
                give_up[static_cast<std::size_t>(t)].wait();
                mutexRel(locks[0]);
            });
        }
        const auto waiters = [&](const DlThread* owner) {
            int number = 0;
            for (const DlThread* r = dlThreadList; r; r = r->next) {
                number += r->waiting_mutex == &lock && r->waiting_thread == owner;
            }
            return number;
        };
        EXPECT_TRUE(await([&] { return waiters(self) == 2; })) << "waiting for the owner";
        mutexRel(locks[0]);
        EXPECT_EQ(inTables([&] { return waiters(self); }), 2) << "a recursive hold goes on";
        mutexRel(locks[0]);
        EXPECT_TRUE(await([&] { return holder >= 0 && waiters(lock.owner) == 1; }))
            << "the one left waits for the new owner";
        const int first = holder;
        give_up[static_cast<std::size_t>(first)].count_down();
        EXPECT_TRUE(await([&] { return holder == 1 - first && !lock.first_attempt; }));
        give_up[static_cast<std::size_t>(1 - first)].count_down();
        for (std::thread& thread : threads)
            thread.join();

        // With the real lock taken behind the tables' back an attempt finds no owner: it waits
        // without a search, and a take that fails or that is a try leaves no state behind.
        pthread_mutex_lock(&lock.real_lock);
        std::thread late([&] {
            mutexGet(locks[0], SOURCE_MODULE, __LINE__);
            mutexRel(locks[0]);
        });
        EXPECT_TRUE(await([&] { return waiters(nullptr) == 1; })) << "in an attempt";
        EXPECT_EQ(dlMutexTryLock(&lock), 0);
        EXPECT_EQ(inTables([&] { return waiters(self); }), 1) << "the try made this the owner";
        dlMutexUnlock(&lock);
        EXPECT_EQ(inTables([&] { return waiters(nullptr); }), 1);
        pthread_mutex_unlock(&lock.real_lock);
        late.join();
        EXPECT_EQ(printed + std::to_string(fatals), "0");
    });
}

TEST(DeadLock, BreachesOfTheContractAreToldAndChangeNothingElse) {
    const std::string text = inChild([] {
        Mutex* held = nullptr;
        Mutex* other = nullptr;
        mutexInit(&held, "held");
        mutexInit(&other, "other");
        mutexGet(other, SOURCE_MODULE, __LINE__);
        mutexGet(held, SOURCE_MODULE, __LINE__);
        std::thread([&] { EXPECT_EQ(dlMutexUnlock(&held->lock_record), EPERM); }).join();
        DlThread* const self = held->lock_record.owner;
        EXPECT_TRUE(self && self->owned == &held->lock_record && held->lock_record.count == 1);
        dlMutexDestroy(&held->lock_record);
        EXPECT_EQ(self->owned, &other->lock_record);
        EXPECT_EQ(other->lock_record.previous_owned, nullptr);
        mutexRel(other);
        EXPECT_EQ(dlMutexUnlock(&other->lock_record), EPERM);
        EXPECT_EQ(self->owned, nullptr);
    });
    EXPECT_EQ(text,
              "Unlock Mutex (held) not from the owner\n"
              "pthread_mutex_destroy with one owner for mutex (held)\n"
              "Unlock Mutex (other) not from the owner\n");
}

Mutex* print_lock = nullptr;

[[gnu::format(printf, 1, 2)]] int lockedPrint(const char* format, ...) {
    const MutexHold hold(print_lock, SOURCE_MODULE, __LINE__);
    va_list values;
    va_start(values, format);
    const int length = vprintf(format, values);
    va_end(values);
    return length;
}

TEST(DeadLock, PrintAndFatalFunctionsMayTakeAMutex) {
    const std::string text = inChild([] {
        mutexInit(&print_lock, "print");
        dlInit(lockedPrint, [](const char*) {
            const MutexHold hold(print_lock, SOURCE_MODULE, __LINE__);
            fflush(stdout);
            _exit(0);
        });
        closeRingOfTwo();
    });
    EXPECT_TRUE(
        masked(text).ends_with("WaitingMutex l1<c> WaitingThread <d> <e>\n"
                               "      OwnedMutex : l4<f> \n"))
        << text;
}

TEST(DeadLock, RecordsPassToLaterThreadsOfTheSameId) {
    inChild([] {
        const Locks locks(1);
        const auto records = [] {
            int number = 0;
            for (const DlThread* r = dlThreadList; r; r = r->next)
                ++number;
            return number;
        };
        std::map<pthread_t, int> ids;
        for (int i = 0; i < 20; ++i) {
            std::thread([&] {
                ++ids[pthread_self()];
                mutexGet(locks[0], SOURCE_MODULE, __LINE__);
                mutexRel(locks[0]);
            }).join();
        }
        EXPECT_EQ(inTables(records), static_cast<int>(ids.size()));
    });
}

}  // namespace
