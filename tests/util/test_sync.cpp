#include <gmock/gmock.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <string>
#include <thread>
#include <vector>

#include "util/i_os_sync.h"
#include "util/i_trace.h"

namespace {

using testing::ElementsAre;

std::vector<std::string> reports;

TEST(Semaphore, CountsPostsAndAnswersEachFaultInItsForm) {
    errorIpcHandler = [](short number, const char* module, const char* word, const char* code) {
        reports.push_back(std::to_string(number) + " " + module + " " + word + " " + code);
    };
    EXPECT_EQ(semLock(nullptr, 0, 0), -4);
    EXPECT_EQ(semLock(nullptr, -1), 0);
    EXPECT_EQ(semUnLock(nullptr), 0);
    EXPECT_EQ(semDestroy(nullptr), 0);

    sem_t* s = nullptr;
    ASSERT_EQ(semInit(&s, 1), 1);
    EXPECT_EQ(semLock(s, 8, 9), 0);
    EXPECT_EQ(semLock(s, 0), 0) << "a try";
    EXPECT_TRUE(reports.empty()) << "a refused try is an answer";
    std::thread poster([s] { EXPECT_EQ(semUnLock(s), 1); });
    EXPECT_EQ(semLock(s, -1), 1) << "waits without limit";
    poster.join();
    EXPECT_EQ(semDestroy(s), 1);

    ASSERT_EQ(semInit(&s, SEM_VALUE_MAX), 1);
    EXPECT_EQ(semUnLock(s), 0) << "overflow";
    semDestroy(s);
    s = nullptr;
    EXPECT_EQ(semInit(&s, SEM_VALUE_MAX + 1u), 0);
    EXPECT_NE(s, nullptr) << "set all the same";
    semDestroy(s);
    EXPECT_THAT(reports, ElementsAre("20 i_os semUnLock -1", "18 i_os semInit -1"));
    errorIpcHandler = nullptr;
}

TEST(ReadWriteLock, CountsGrantsAndKeepsTheNoteOfTheLast) {
    ReadWriteLock lock;
    rwInit(&lock);
    EXPECT_EQ(rwLock(&lock, 0, 0, "first"), 1);
    EXPECT_EQ(rwLock(&lock, 0, 0), 1) << "the first reader took the semaphore for both";
    EXPECT_EQ(lock.note, nullptr);
    EXPECT_EQ(rwLock(&lock, 0, 0, "third"), 1);
    EXPECT_EQ(rwLock(&lock, 1, 0, "writer"), 0);
    EXPECT_STREQ(lock.note, "third") << "a refused one changes nothing";
    EXPECT_EQ(lock.readers, 3);
    EXPECT_EQ(lock.writers, 0);
    for (int i = 0; i < 2; ++i)
        rwUnlock(&lock, 0);
    EXPECT_EQ(rwLock(&lock, 1, 0), 0) << "one reader left";
    rwUnlock(&lock, 0);
    EXPECT_EQ(rwLock(&lock, 1), 1);
    EXPECT_EQ(rwLock(&lock, 0, 0), 0);
    EXPECT_EQ(lock.writers, 1);
    rwUnlock(&lock, 1);
    EXPECT_EQ(rwLock(&lock, 1, 0, "kept"), 1) << "given back exactly once";
    EXPECT_EQ(rwLock(&lock, 1, 0), 0);
    rwUnlock(&lock, 1);
    rwDestroy(&lock);
    EXPECT_EQ(lock.note, nullptr);
}

TEST(ReadWriteLock, KeepsWritersAloneUnderContention) {
    constexpr int kRounds = 500;
    ReadWriteLock lock;
    rwInit(&lock);
    std::atomic<int> reading{0};
    long first = 0, second = 0;  // equal for every reader
    std::vector<std::thread> threads;
    for (int t = 0; t < 2; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < kRounds; ++i) {
                ASSERT_EQ(rwLock(&lock, 1, -1, "writes"), 1);
                EXPECT_EQ(reading, 0);
                ++first;
                ++second;
                rwUnlock(&lock, 1);
            }
        });
        threads.emplace_back([&] {
            for (int i = 0; i < kRounds; ++i) {
                ASSERT_EQ(rwLock(&lock, 0), 1);
                ++reading;
                EXPECT_EQ(first, second);
                --reading;
                rwUnlock(&lock, 0);
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(first, 2 * kRounds);
    EXPECT_EQ(lock.readers + lock.writers, 0);
    rwDestroy(&lock);
}

// Waits, with a bound, until `count` threads wait at the gate.
void awaitWaiters(Gate& gate, std::int32_t count) {
    for (int i = 0; i < 10000; ++i) {
        {
            const MutexHold hold(gate.mutex, "test", __LINE__);
            if (gate.waiters == count) return;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    FAIL() << "no " << count << " threads at the gate";
}

TEST(Gate, OpensOnceForThoseThatWaitAndForAllThatCome) {
    Gate gate;
    gateInit(&gate);
    EXPECT_EQ(gateWait(&gate, 0), 0) << "shut";
    EXPECT_EQ(gate.waiters, 0);
    std::vector<std::thread> threads;
    for (int t = 0; t < 8; ++t)
        threads.emplace_back([&] { EXPECT_EQ(gateWait(&gate), 1); });
    awaitWaiters(gate, 8);
    gateOpen(&gate);
    gateOpen(&gate);
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_LT(gate.waiters, 0);
    EXPECT_EQ(gateWait(&gate, 0), 1);
    EXPECT_EQ(gate.mutex->lock_record.count, 0) << "no Mutex held behind it";
    gateDestroy(&gate);
    EXPECT_EQ(gateWait(&gate), 0) << "closed";
    gateOpen(&gate);
    gateDestroy(&gate);
}

TEST(Gate, MayBeDestroyedUnderThreadsThatWaitAndThatCome) {
    for (int round = 0; round < 50; ++round) {
        Gate gate;
        gateInit(&gate);
        std::atomic<int> left{0};
        std::vector<std::thread> threads;
        for (int t = 0; t < 4; ++t) {
            threads.emplace_back([&] {
                gateWait(&gate);
                while (gateWait(&gate))
                    ++left;  // 1 while open, 0 once closed
            });
        }
        if (round % 2 == 0) awaitWaiters(gate, 4);
        gateDestroy(&gate);
        for (std::thread& thread : threads)
            thread.join();
    }
}

}  // namespace
