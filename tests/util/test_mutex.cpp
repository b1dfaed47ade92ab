#include <dlfcn.h>
#include <gmock/gmock.h>
#include <sys/time.h>

#include <climits>
#include <csignal>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "support/captured_trace.h"
#include "util/i_os_sync.h"
#include "util/i_os_thread.h"

// These tests give locks back that the caller doesn't hold, which is the fault they look at.
extern "C" const char* __tsan_default_options() {
    return "report_mutex_bugs=0:report_destroy_locked=0";
}

static std::atomic<int> refusal = 0;

// Stands before the C library's, which never refuses.
extern "C" int pthread_mutex_init(pthread_mutex_t* m, const pthread_mutexattr_t* kind) noexcept {
    static const auto real =
        reinterpret_cast<decltype(&pthread_mutex_init)>(dlsym(RTLD_NEXT, __func__));
    return refusal != 0 ? refusal.exchange(0) : real(m, kind);
}

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

// Runs `body(0)` to `body(number - 1)` at once; the end of the result waits for them.
std::vector<std::jthread> launch(int number, const std::function<void(int)>& body) {
    std::vector<std::jthread> threads;
    for (int t = 0; t < number; ++t) threads.emplace_back(body, t);
    return threads;
}

std::vector<std::string> reports;  // "number operation code"

class LockTest : public testing::Test {
  protected:
    LockTest() {
        reports.clear();
        errorIpcHandler = [](short number, const char*, const char* word, const char* code) {
            reports.push_back(std::to_string(number) + " " + word + " " + code);
        };
        mutexInit(&m, "a lock");
    }
    ~LockTest() override {
        mutexNotes = 0;
        mutexDestroy(m);
    }
    static std::string owner(Mutex* asked) {
        std::uint32_t id = 7;
        const std::string text = mutexOwnerInfo(asked, &id);
        return text + "|" + std::to_string(id);
    }
    const std::string own_id = std::to_string(threadId());
    CapturedTrace trace;
    Mutex* m = nullptr;
};

TEST_F(LockTest, ANullMutexIsRefused) {
    mutexDestroy(nullptr);
    EXPECT_EQ(mutexGet(nullptr, "f", 1), -1);
    EXPECT_EQ(mutexTry(nullptr, "f", 1), 0);
    EXPECT_EQ(mutexRel(nullptr), -1);
    EXPECT_EQ(owner(nullptr), "|7") << "the id stays";
}

TEST_F(LockTest, TheOwnerIsShownUntilTheFirstReleaseAndOneTooManyIsReported) {
    EXPECT_EQ(mutexGet(m, "f", 1), 0);
    EXPECT_EQ(mutexTry(m, "f", 2), 1);
    EXPECT_EQ(owner(m), "|" + own_id) << "no notes, no text";
    EXPECT_EQ(mutexRel(m), 0);
    EXPECT_EQ(owner(m), "|4294967295");
    EXPECT_EQ(mutexRel(m), 0);
    EXPECT_EQ(mutexRel(m), EPERM);
    EXPECT_THAT(reports, ElementsAre("16 mutexRel " + std::to_string(EPERM)));
}

TEST_F(LockTest, AFailureChangesNothingAndIsReported) {
    // A checking lock in place of the recursive one, held past the tables, makes a take fail.
    pthread_mutex_t& real = m->lock_record.real_lock;
    real = PTHREAD_ERRORCHECK_MUTEX_INITIALIZER_NP;
    pthread_mutex_lock(&real);
    m->owner_id = 5;
    EXPECT_EQ(mutexGet(m, "f", 1), EDEADLK);
    EXPECT_EQ(mutexTry(m, "f", 2), 0);
    EXPECT_EQ(m->lock_record.first_attempt, nullptr);
    EXPECT_EQ(owner(m), "|5");
    pthread_mutex_unlock(&real);
    mutexDestroy(std::exchange(m, nullptr));
    refusal = ENOMEM;
    mutexInit(&m, "unmade");
    EXPECT_TRUE(m) << "set all the same";
    EXPECT_THAT(reports, ElementsAre("15 mutexGet " + std::to_string(EDEADLK),
                                     "14 mutexInit " + std::to_string(ENOMEM)));
}

TEST_F(LockTest, NotesTellTheHolderOnceAndOnlyWhileSwitchedOn) {
    { const MutexHold first(m, "first.cpp", 10), second(m, "second.cpp", 11); }
    mutexNotes = 1;
    mutexGet(m, "Xabcdefghijklmnopqrst.cpp", 123456);  // 25 bytes
    EXPECT_EQ(owner(m), "abcdefghijklmnopqrst.cpp 123456|" + own_id);
    const std::string stack = m->call_stack.load();
    EXPECT_THAT(stack, testing::AllOf(HasSubstr("0 pc:0x"), HasSubstr("End traceback thread ")));
    mutexGet(m, "util/i_os", 11);
    EXPECT_EQ(trace.all(), "") << "off, on a free lock, and for the library's own takes";
    mutexTry(m, "util/i_os", 12);
    ASSERT_EQ(trace.lines().size(), 2u) << "a try has no such exception";
    const std::string self = std::to_string(static_cast<int>(threadId()));
    EXPECT_THAT(trace.lines()[0], HasSubstr("\n  try mutex util/i_os 12 by th " + self +
                                            " \n  already got since util/i_os 11 by th " + self));
    EXPECT_THAT(trace.lines()[1], HasSubstr("\n " + stack + " \n"));
    m->in_note = 1;
    mutexGet(m, "again.cpp", 13);
    EXPECT_EQ(trace.lines().size(), 2u) << "a note is being written";
    for (int i = 0; i < 4; ++i) mutexRel(m);
    EXPECT_EQ(m->call_stack, nullptr);
    const MutexHold hold(systemMutex(), "first.cpp", 1);
    const MutexHold again(systemMutex(), "next.cpp", 2);  // its note takes the same Mutex, and ends
    EXPECT_THAT(trace.lines().at(2), HasSubstr("get mutex next.cpp 2"));
}

TEST_F(LockTest, SemaphoreCountsPostsAndAnswersEachFaultInItsForm) {
    EXPECT_EQ(semLock(nullptr, -1) + semUnLock(nullptr) + semDestroy(nullptr), 0);
    sem_t *s = nullptr, *full = nullptr, *failed = nullptr;
    ASSERT_TRUE(semInit(&s, 1) == 1 && semInit(&full, SEM_VALUE_MAX) == 1);
    EXPECT_TRUE(semLock(s, 8, 9) == 0 && semLock(nullptr, 0, 0) == -4);
    EXPECT_EQ(semLock(s, 0), 0) << "a refused try is an answer, not reported";
    launch(2, [s](int t) { EXPECT_EQ(t == 0 ? semLock(s, -1) : semUnLock(s), 1); });
    struct sigaction heard = {};
    heard.sa_handler = [](int) {};
    sigaction(SIGALRM, &heard, nullptr);
    const itimerval often{{0, 1000}, {0, 1000}}, never{};
    setitimer(ITIMER_REAL, &often, nullptr);
    EXPECT_TRUE(semLock(s, 0, 0) == -4 && semLock(s, -1) == 0) << "a signal ends the wait";
    setitimer(ITIMER_REAL, &never, nullptr);
    EXPECT_EQ(semUnLock(full), 0) << "overflow";
    EXPECT_TRUE(semInit(&failed, SEM_VALUE_MAX + 1u) == 0 && failed) << "set all the same";
    EXPECT_EQ(semDestroy(s) + semDestroy(full) + semDestroy(failed), 3);
    EXPECT_THAT(reports,
                ElementsAre("19 semLock -1", "19 semLock -1", "20 semUnLock -1", "18 semInit -1"));
}

TEST(ReadWriteLock, KeepsTheNoteOfTheLastGrantAndWritersAloneUnderContention) {
    ReadWriteLock lock;
    rwInit(&lock);
    EXPECT_TRUE(rwLock(&lock, 0) && rwLock(&lock, 0, 0, "held") && !rwLock(&lock, 1, 0, "refused"));
    EXPECT_STREQ(lock.note, "held");
    for (int held = lock.readers; held > 0; --held) rwUnlock(&lock, 0);
    long first = 0, second = 0;  // equal for every reader
    launch(4, [&](int t) {
        const auto exclusive = static_cast<short>(t % 2);
        for (int i = 0; i < 500; ++i) {
            ASSERT_EQ(rwLock(&lock, exclusive), 1);
            if (exclusive) ++first;
            EXPECT_EQ(first, second + exclusive);
            if (exclusive) ++second;
            rwUnlock(&lock, exclusive);
        }
    });
    EXPECT_EQ(first, 2 * 500);
    rwDestroy(&lock);
    EXPECT_EQ(lock.note, nullptr);
}

// Odd rounds close it under threads that wait; even ones open it first and close it as they come.
TEST(Gate, OpensForAllAndMayBeDestroyedUnderThoseThatWaitAndCome) {
    for (int round = 0; round < 60; ++round) {
        Gate gate;
        gateInit(&gate);
        EXPECT_EQ(gateWait(&gate, 0), 0) << "shut";
        const auto threads = launch(4, [&gate](int) {
            while (gateWait(&gate)) continue;  // 1 while open, 0 once closed
        });
        for (int waiters = 0; waiters < 4; std::this_thread::yield()) {
            const MutexHold hold(gate.mutex, "test", __LINE__);
            waiters = gate.waiters;
        }
        if (round % 2 == 0) {
            gateOpen(&gate);
            EXPECT_EQ(gateWait(&gate, 0), 1);
        }
        gateDestroy(&gate);
        EXPECT_EQ(gateWait(&gate), 0) << "closed";
        gateOpen(&gate);
        gateDestroy(&gate);
    }
}

}  // namespace
