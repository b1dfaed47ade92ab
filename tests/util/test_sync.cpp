#include <gmock/gmock.h>

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
    EXPECT_EQ(semLock(nullptr, -1) + semUnLock(nullptr) + semDestroy(nullptr), 0);
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
    // Read, write, or give back as a Reader or Writer.
    const struct {
        char operation;
        short granted, readers, writers;
    } steps[] = {{'r', 1, 1, 0}, {'r', 1, 2, 0}, {'w', 0, 2, 0}, {'R', 1, 1, 0}, {'w', 0, 1, 0},
                 {'R', 1, 0, 0}, {'w', 1, 0, 1}, {'w', 0, 0, 1}, {'r', 0, 0, 1}, {'W', 1, 0, 0},
                 {'w', 1, 0, 1}, {'w', 0, 0, 1}, {'W', 1, 0, 0}, {'r', 1, 1, 0}, {'R', 1, 0, 0}};
    for (const auto& step : steps) {
        const bool exclusive = step.operation == 'w' || step.operation == 'W';
        const std::string note = lock.note ? lock.note : "";
        if (step.operation < 'a') {
            rwUnlock(&lock, exclusive);
        } else {
            const std::string own = note + step.operation;
            EXPECT_EQ(rwLock(&lock, exclusive, 0, own.c_str()), step.granted);
            EXPECT_EQ(lock.note, step.granted ? own : note);
        }
        EXPECT_EQ(lock.readers, step.readers);
        EXPECT_EQ(lock.writers, step.writers);
    }
    rwDestroy(&lock);
    EXPECT_EQ(lock.note, nullptr);
}

TEST(ReadWriteLock, KeepsWritersAloneUnderContention) {
    constexpr int kRounds = 500;
    ReadWriteLock lock;
    rwInit(&lock);
    long first = 0, second = 0;  // equal for every reader
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, exclusive = static_cast<short>(t % 2)] {
            for (int i = 0; i < kRounds; ++i) {
                ASSERT_EQ(rwLock(&lock, exclusive), 1);
                if (exclusive) ++first;
                EXPECT_EQ(first, second + exclusive);
                if (exclusive) ++second;
                rwUnlock(&lock, exclusive);
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(first, 2 * kRounds);
    rwDestroy(&lock);
}

void awaitWaiters(Gate& gate, std::int32_t count) {
    for (std::int32_t waiters = -1; waiters != count; std::this_thread::yield()) {
        const MutexHold hold(gate.mutex, "test", __LINE__);
        waiters = gate.waiters;
    }
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
        std::vector<std::thread> threads;
        for (int t = 0; t < 4; ++t) {
            threads.emplace_back([&] {
                gateWait(&gate);
                while (gateWait(&gate))
                    continue;  // 1 while open, 0 once closed
            });
        }
        if (round % 2 == 0) awaitWaiters(gate, 4);
        gateDestroy(&gate);
        for (std::thread& thread : threads)
            thread.join();
    }
}

}  // namespace
