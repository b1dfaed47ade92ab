#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <barrier>
#include <cstdarg>
#include <functional>
#include <random>
#include <semaphore>
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
constexpr unsigned kChildTime = 60;  // seconds until a child counts as hanging

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
    FILE* const output = tmpfile();
    fflush(stdout);
    const pid_t child = fork();
    if (child == 0) {
        alarm(kChildTime);
        dup2(fileno(output), STDOUT_FILENO);
        body();
        fflush(stdout);
        _exit(testing::Test::HasFailure());
    }
    int status = 0;
    waitpid(child, &status, 0);
    std::string text(10000, ' ');
    rewind(output);
    text.resize(fread(text.data(), 1, text.size(), output));
    fclose(output);
    EXPECT_EQ(status, 0) << text;
    return text;
}

// Waits until the tables fulfil `condition`; the child's time bounds it.
template <typename Condition>
void await(Condition condition) {
    for (bool fulfilled = false; !fulfilled; std::this_thread::yield()) {
        pthread_mutex_lock(&dlTableLock);
        fulfilled = condition();
        pthread_mutex_unlock(&dlTableLock);
    }
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
    std::vector<std::jthread> threads;
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
    threads.clear();
    for (Mutex* m : locks)
        mutexDestroy(m);
}

TEST(DeadLock, TheThreadThatClosesARingSaysSoHoweverTheyRace) {
    inChild([] {
        mutexInit(&print_lock, "print");  // a print function may take a Mutex
        dlInit(record, breakRing);
        for (const int size : {2, 3, 5, 17, 64}) {
            for (int round = 0; round < 2 + 20 * kScale / size; ++round) {
                fatals = 0;
                printed.clear();
                raceRing(size, true);
                ASSERT_EQ(fatals, 1) << "ring of " << size;
                ASSERT_EQ(std::ranges::count(printed, '\n'), 1 + 5 * size)
                    << "all wait: " << printed;
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
        std::vector<std::jthread> threads;
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
        threads.clear();
        EXPECT_EQ(printed + std::to_string(fatals), "0");
        for (const Mutex* m : locks) {
            EXPECT_TRUE(!m->lock_record.owner && !m->lock_record.first_attempt);
        }
        std::thread([&] { mutexRel((get(locks[0]), locks[0])); }).join();
        std::set<pthread_t> ids;
        for (const DlThread* r = dlThreadList; r; r = r->next) {
            EXPECT_TRUE(!r->owned && !r->waiting_mutex && !r->waiting_thread);
            EXPECT_TRUE(ids.insert(r->id).second) << "a later thread takes the record over";
        }
    });
}

std::string hex(const void* address) {
    char text[20];
    snprintf(text, sizeof text, "%jx", reinterpret_cast<std::uintmax_t>(address));
    return text;
}

std::string shown(const DlThread* t) {
    return hex(t) + " ID" + std::to_string(static_cast<std::uint32_t>(t->id)) + "ID";
}

std::string shown(const Mutex* m) {
    return "lock(" + hex(&m->lock_record) + ")";
}

std::string block(const DlThread* t, const Mutex* wanted, const DlThread* owner) {
    return "\n    Thread " + shown(t) + ":\n      Callstack:\n      WaitingMutex " + shown(wanted) +
           " WaitingThread " + shown(owner) + "\n      OwnedMutex : ";
}

// One thread owns l0, l1 and l2, gives l1 back, and waits for l3; another owns l3 and asks for l0.
// With the default functions the report goes to standard output, once, and both wait for ever.
TEST(DeadLock, ReportNamesTheAskerTheWaitersAndTheLocksStillOwned) {
    std::string text = inChild([] {
        const std::vector<Mutex*> l = makeLocks(4);
        std::thread([&] {
            get(l[3]);
            await([&] { return l[3]->lock_record.first_attempt != nullptr; });
            get(l[0]);
        }).detach();
        await([&] { return l[3]->lock_record.owner != nullptr; });
        std::thread([&] {
            for (std::size_t i : {0u, 1u, 2u})
                get(l[i]);
            mutexRel(l[1]);
            get(l[3]);
        }).detach();
        await([&] { return l[0]->lock_record.first_attempt && l[3]->lock_record.first_attempt; });
        std::this_thread::sleep_for(std::chrono::milliseconds(50));  // room for a second report
        const DlThread* const waiter = l[0]->lock_record.owner;
        const DlThread* const asker = l[3]->lock_record.owner;
        const std::string first =
            block(waiter, l[3], asker) + shown(l[2]) + " " + shown(l[0]) + " \n";
        const std::string second = block(asker, l[0], waiter) + shown(l[3]) + " \n";
        printf("|DeadLock !!! %s lock %s\n%s%sDeadLock\n", shown(asker).c_str(),
               shown(l[0]).c_str(), first.c_str(), second.c_str());
    });
    int frames = 0;
    for (std::size_t at; (at = text.find("[0x")) != std::string::npos; ++frames) {
        text.erase(at, text.find(']', at) - at + 1);
    }
    EXPECT_GE(frames, 2);
    EXPECT_EQ(text.substr(0, text.find('|')), text.substr(text.find('|') + 1));
}

TEST(DeadLock, StatesFollowTheLockFromThreadToThread) {
    inChild([] {
        dlInit(record, breakRing);
        Mutex* const m = makeLocks(1)[0];
        DlMutex& lock = m->lock_record;
        const auto waiters = [&](const DlThread* owner) {
            int number = 0;
            for (const DlThread* r = lock.first_attempt; r; r = r->next_attempt) {
                number += r->waiting_mutex == &lock && r->waiting_thread == owner;
            }
            return number;
        };
        get(m);
        get(m);
        DlThread* const self = lock.owner;
        EXPECT_TRUE(!self->waiting_mutex && lock.count == 2);
        std::atomic<int> holders{0};
        std::counting_semaphore<2> give_up(0);
        const auto take = [&] {
            get(m);
            ++holders;
            give_up.acquire();
            mutexRel(m);
        };
        std::thread first(take), second(take);
        await([&] { return waiters(self) == 2; });
        mutexRel(m);
        EXPECT_EQ(waiters(self), 2) << "a recursive hold goes on";
        mutexRel(m);
        await([&] { return holders == 1 && waiters(lock.owner) == 1; });  // for the new owner
        give_up.release();
        await([&] { return holders == 2 && !lock.first_attempt; });
        give_up.release();
        first.join();
        second.join();
        // With the real lock taken behind the tables' back an attempt finds no owner, a try leaves
        // no state, and a release turns "waiting" back into "attempt".
        pthread_mutex_lock(&lock.real_lock);
        std::thread late(take);
        await([&] { return waiters(nullptr) == 1; });
        EXPECT_EQ(dlMutexTryLock(&lock), 0);
        EXPECT_EQ(waiters(self), 1) << "the try made this the owner";
        dlMutexUnlock(&lock);
        EXPECT_EQ(waiters(nullptr), 1);
        pthread_mutex_unlock(&lock.real_lock);
        give_up.release();
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
