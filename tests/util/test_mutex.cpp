#include <gmock/gmock.h>

#include <climits>
#include <string>
#include <thread>
#include <vector>

#include "util/i_os_sync.h"
#include "util/i_os_thread.h"
#include "util/i_trace.h"

// These tests give locks back that the caller doesn't hold, which is the fault they look at.
extern "C" const char* __tsan_default_options() {
    return "report_mutex_bugs=0:report_destroy_locked=0";
}

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

std::vector<std::string> traced;
std::vector<std::string> reports;  // "number module operation code"

class LockTest : public testing::Test {
  protected:
    LockTest() {
        traced.clear();
        reports.clear();
        setTraceSink([](const char* text) { traced.emplace_back(text); });
        errorIpcHandler = [](short number, const char* module, const char* word, const char* code) {
            reports.push_back(std::to_string(number) + " " + module + " " + word + " " + code);
        };
        mutexInit(&m, "a lock");
    }
    ~LockTest() override {
        mutexNotes = 0;
        mutexDestroy(m);
        setTraceSink(nullptr);
        errorIpcHandler = nullptr;
    }
    std::string owner() {
        std::uint32_t id = 0;
        const std::string text = mutexOwnerInfo(m, &id);
        return text + "|" + std::to_string(id);
    }
    const std::string own_id = std::to_string(threadId());
    Mutex* m = nullptr;
};

TEST_F(LockTest, NullIsLegalAndTheFirstOfTwoReleasesClearsTheOwnerOnly) {
    EXPECT_EQ(mutexGet(nullptr, "f", 1), -1);
    EXPECT_EQ(mutexTry(nullptr, "f", 1), 0);
    EXPECT_EQ(mutexRel(nullptr), -1);
    mutexDestroy(nullptr);
    std::uint32_t id = 7;
    EXPECT_STREQ(mutexOwnerInfo(nullptr, &id), "");
    EXPECT_EQ(id, 7u);
    EXPECT_THAT(reports, IsEmpty());

    ASSERT_EQ(mutexGet(m, "f", 1), 0);
    ASSERT_EQ(mutexTry(m, "f", 2), 1);
    EXPECT_EQ(owner(), "|" + own_id) << "no notes, no text";
    EXPECT_EQ(mutexRel(m), 0);
    EXPECT_EQ(owner(), "|4294967295");
    EXPECT_EQ(m->lock_record.count, 1);
    EXPECT_EQ(mutexRel(m), 0);
    EXPECT_EQ(m->lock_record.owner, nullptr);
}

TEST_F(LockTest, FailedCallsAreReportedAndHandedBack) {
    EXPECT_EQ(mutexRel(m), EPERM);
    // A checking mutex in place of the recursive one is the way to make a take fail.
    pthread_mutexattr_t checking;
    pthread_mutexattr_init(&checking);
    pthread_mutexattr_settype(&checking, PTHREAD_MUTEX_ERRORCHECK);
    dlMutexDestroy(&m->lock_record);
    ASSERT_EQ(dlMutexInit(&m->lock_record, &checking, "checking"), 0);
    ASSERT_EQ(mutexGet(m, "f", 1), 0);
    m->owner_id = 5;
    EXPECT_EQ(mutexGet(m, "f", 2), EDEADLK);
    EXPECT_EQ(mutexTry(m, "f", 2), 0);
    { const MutexHold failing(m, "f", 3); }
    EXPECT_EQ(owner(), "|5") << "a failed take changes nothing";
    EXPECT_EQ(m->lock_record.count, 1);
    EXPECT_EQ(mutexRel(m), 0);
    EXPECT_THAT(reports, ElementsAre("16 i_os mutexRel " + std::to_string(EPERM),
                                     "15 i_os mutexGet " + std::to_string(EDEADLK),
                                     "15 i_os mutexGet " + std::to_string(EDEADLK)));
}

TEST_F(LockTest, NotesTellTheHolderOnceAndOnlyWhileSwitchedOn) {
    mutexGet(m, "first.cpp", 10);
    mutexGet(m, "second.cpp", 11);
    EXPECT_EQ(m->call_stack, nullptr);
    mutexRel(m);
    mutexRel(m);
    mutexNotes = 1;
    mutexGet(m, "Xabcdefghijklmnopqrst.cpp", 123456);  // 25 bytes
    EXPECT_EQ(owner(), "abcdefghijklmnopqrst.cpp 123456|" + own_id);
    const std::string stack = m->call_stack.load();
    EXPECT_THAT(stack, HasSubstr("0 pc:0x"));
    EXPECT_THAT(stack, HasSubstr("End traceback thread "));
    mutexGet(m, "util/i_os", 11);
    EXPECT_THAT(traced, IsEmpty()) << "off, on a free lock, and for the library's own takes";
    mutexTry(m, "util/i_os", 12);
    ASSERT_EQ(traced.size(), 2u) << "a try has no such exception";
    const std::string self = std::to_string(static_cast<int>(threadId()));
    EXPECT_THAT(traced[0], HasSubstr("\n  try mutex util/i_os 12 by th " + self +
                                     " \n  already got since util/i_os 11 by th " + self));
    EXPECT_THAT(traced[1], HasSubstr("\n " + stack + " \n"));
    m->in_note = 1;
    mutexGet(m, "again.cpp", 13);
    EXPECT_EQ(traced.size(), 2u) << "a note is being written";
    for (int i = 0; i < 4; ++i)
        mutexRel(m);
    EXPECT_EQ(m->call_stack, nullptr);
    const MutexHold hold(systemMutex(), "first.cpp", 1);
    const MutexHold again(systemMutex(), "second.cpp",
                          2);  // its note takes the same Mutex, and ends
    EXPECT_THAT(traced.at(2), HasSubstr("get mutex second.cpp 2"));
}

TEST_F(LockTest, ExcludesWithAndWithoutNotesAndShowsItsOwnerToOthers) {
    constexpr int kTakes = 400;
    setTraceSink([](const char*) {});
    int total = 0;  // guarded by m
    std::vector<std::jthread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            std::uint32_t unused = 0;
            for (int i = 0; i < kTakes; ++i) {
                if (t == 0) mutexNotes = (i / 20) % 2 == 0;
                const std::string text = mutexOwnerInfo(m, &unused);
                EXPECT_TRUE(text.empty() || text.starts_with("taker.cpp ")) << text;
                const MutexHold hold(m, "taker.cpp", i);
                ++total;
            }
        });
    }
    threads.clear();
    EXPECT_EQ(total, 4 * kTakes);
    EXPECT_EQ(m->call_stack, nullptr);
}

TEST_F(LockTest, SemaphoreCountsPostsAndAnswersEachFaultInItsForm) {
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
    std::vector<std::jthread> threads;
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
    threads.clear();
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
    std::vector<std::jthread> threads;
    for (int t = 0; t < 8; ++t)
        threads.emplace_back([&] { EXPECT_EQ(gateWait(&gate), 1); });
    awaitWaiters(gate, 8);
    gateOpen(&gate);
    gateOpen(&gate);
    threads.clear();
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
        std::vector<std::jthread> threads;
        for (int t = 0; t < 4; ++t) {
            threads.emplace_back([&] {
                gateWait(&gate);
                while (gateWait(&gate))
                    continue;  // 1 while open, 0 once closed
            });
        }
        if (round % 2 == 0) awaitWaiters(gate, 4);
        gateDestroy(&gate);
        threads.clear();
    }
}

}  // namespace
