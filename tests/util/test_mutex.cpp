#include <dlfcn.h>
#include <gmock/gmock.h>

#include <climits>
#include <functional>
#include <thread>

#include "support/captured_trace.h"
#include "util/i_charstr.h"
#include "util/i_os.h"

// These tests give locks back that the caller doesn't hold, which is the fault they look at.
extern "C" const char* __tsan_default_options() {
    return "report_mutex_bugs=0:report_destroy_locked=0";
}

// Asked in front of each wait of this thread; an error number makes the wait fail.
static thread_local std::function<int()> on_wait;

// Stands before the C library's, so that a test acts inside a wait and sees it fail.
extern "C" int sem_wait(sem_t* semaphore) {
    static const auto real = reinterpret_cast<decltype(&sem_wait)>(dlsym(RTLD_NEXT, __func__));
    const int failure = on_wait ? on_wait() : 0;
    if (failure == 0) return real(semaphore);
    errno = failure;
    return -1;
}

namespace {

using testing::MatchesRegex;

// Acts below so many calls, each with a frame: none of them is the last act of its caller.
[[gnu::noinline]] int below(int calls, const std::function<void()>& act) {
    if (calls > 0) return 1 + below(calls - 1, act);
    act();
    return 0;
}

class LockTest : public testing::Test {
  protected:
    LockTest() {
        reports.clear();
        errorIpcHandler = [](short number, const char* module, const char* word, const char* code) {
            reports += std::to_string(number) + " " + module + " " + word + " " + code + ";";
            errno = 0;  // as any handler may leave it
        };
        mutexInit(&m, "a lock");
    }
    ~LockTest() override {
        mutexNotes = 0;
        on_wait = nullptr;
        mutexDestroy(m);
    }
    static std::string owner(Mutex* asked) {
        std::uint32_t id = 7;
        const std::string text = mutexOwnerInfo(asked, &id);
        return text + "|" + std::to_string(id);
    }
    const std::string own_id = std::to_string(threadId());
    const CapturedTrace trace;
    static inline std::string reports;
    Mutex* m = nullptr;
};

TEST_F(LockTest, ANullMutexOrSemaphoreIsRefused) {
    mutexDestroy(nullptr);
    EXPECT_EQ(mutexGet(nullptr, "f", 1), -1);
    EXPECT_EQ(mutexTry(nullptr, "f", 1), 0);
    EXPECT_EQ(mutexRel(nullptr), -1);
    EXPECT_EQ(owner(nullptr), "|7") << "the id stays";
    EXPECT_EQ(semLock(nullptr, 0, 0), -4);
    EXPECT_EQ(semLock(nullptr, -1), 0);
    EXPECT_EQ(semUnLock(nullptr), 0);
    EXPECT_EQ(semDestroy(nullptr), 0);
}

TEST_F(LockTest, ItsOwnerIsShownUntilTheFirstReleaseAndOneTooManyIsReported) {
    EXPECT_EQ(mutexTry(m, "f", 1), 1);
    EXPECT_EQ(mutexGet(m, "f", 2), 0);
    EXPECT_EQ(owner(m), "|" + own_id) << "no notes, no text";
    EXPECT_EQ(trace.all(), "");
    EXPECT_EQ(mutexRel(m), 0);
    EXPECT_EQ(owner(m), "|4294967295");
    EXPECT_EQ(mutexRel(m), 0);
    EXPECT_EQ(mutexRel(m), EPERM);
    EXPECT_EQ(reports, "16 i_os mutexRel 1;");
}

TEST_F(LockTest, AFailedTakeChangesNothing) {
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
    mutexGet(m, "f", 3);
    EXPECT_EQ(mutexGet(m, "f", 4), EDEADLK) << "of its owner too";
    EXPECT_EQ(m->lock_record.count, 1);
    EXPECT_EQ(reports, "15 i_os mutexGet 35;15 i_os mutexGet 35;") << "a try isn't reported";
}

TEST_F(LockTest, ANoteTellsWhoHasItSinceWhere) {
    mutexNotes = 1;
    below(5, [this] { mutexGet(m, "Xabcdefghijklmnopqrst.cpp", 123456); });  // 25 bytes
    EXPECT_EQ(owner(m), "abcdefghijklmnopqrst.cpp 123456|" + own_id);
    const std::string stack = m->call_stack.load();
    EXPECT_THAT(stack, MatchesRegex("0 pc:0x.*\n1 pc:0x.*\n2 pc:0x.*\nEnd traceback thread " +
                                    own_id + ", nb recurence 3 .*\n"));
    mutexTry(m, "util/i_os", 12);
    mutexGet(m, "wants.cpp", 13);
    const std::string self = std::to_string(static_cast<int>(threadId()));
    const std::string since = " by th " + self + " \n  already got since ";
    const std::string by = " by th " + self + "   \n@\n " + stack + " \n   \n";
    EXPECT_EQ(trace.all(), "@\n  try mutex util/i_os 12" + since +
                               "abcdefghijklmnopqrst.cpp 123456" + by +
                               "@\n  get mutex wants.cpp 13" + since + "util/i_os 12" + by);
    mutexRel(m);
    EXPECT_EQ(owner(m), "|4294967295");
    EXPECT_EQ(m->call_stack, nullptr);
}

TEST_F(LockTest, NoNoteIsMadeOfAFreeOneOrByTheLibraryOrInsideANote) {
    mutexNotes = 1;
    mutexGet(m, "free.cpp", 1);
    mutexGet(m, "util/i_os", 2);
    m->in_note = 1;
    mutexTry(m, "inside.cpp", 3);
    EXPECT_EQ(trace.all(), "");
}

TEST_F(LockTest, AThreadIsListedWithWhereItWaitsWhileItDoesAndNotesAreOn) {
    const auto listed = [](const char* note) {
        CharString text;
        listThreads(text);
        return text.contains(note) != 0;
    };
    mutexNotes = 1;
    mutexGet(m, "holds.cpp", 1);
    std::jthread waiter([&] {
        PutThreadInTbThread("waiter", 1, threadId());
        mutexGet(m, "Xabcdefghijklmnopqrst.cpp", 123456);
        EXPECT_FALSE(listed("wait mutex"));
        mutexRel(m);
        RemoveThreadFromTb();
    });
    while (!listed("Trace -1 wait mutex abcdefghijklmnopqrst.cpp 123456\n"))
        std::this_thread::yield();
    mutexNotes = 0;
    EXPECT_FALSE(listed("wait mutex"));
    mutexNotes = 1;
    mutexRel(m);
}

TEST_F(LockTest, ASemaphoreCountsItsPostsAndReportsEachFailedCall) {
    sem_t* full = nullptr;
    EXPECT_EQ(semInit(&full, SEM_VALUE_MAX + 1U), 0);
    EXPECT_EQ(semDestroy(full), 1) << "made all the same";
    EXPECT_EQ(semInit(&full, SEM_VALUE_MAX), 1);
    EXPECT_EQ(semUnLock(full), 0) << "a post too many";
    EXPECT_EQ(semLock(full, 8, 9), 0);
    EXPECT_EQ(semUnLock(full), 1);
    on_wait = [] { return EINTR; };
    EXPECT_EQ(semLock(full, 0, 0), -4);
    EXPECT_EQ(semLock(full, 1), 0);
    EXPECT_EQ(errno, EINTR);
    EXPECT_EQ(semLock(full, 0), 1) << "a try doesn't wait";
    EXPECT_EQ(semDestroy(full), 1);
    EXPECT_EQ(reports,
              "18 i_os semInit -1;20 i_os semUnLock -1;19 i_os semLock -1;19 i_os semLock -1;");
}

TEST_F(LockTest, ASuspendedThreadAsksAgainAfterASignalAloneAndOutlivesItsSlot) {
    PutThreadInTbThread("suspended", 1, threadId());
    threadResume(threadId());
    int waits = 0;
    on_wait = [&waits] {
        constexpr int kAnswers[] = {EINTR, EINTR, EINVAL, 0};
        if (waits == 1) RemoveThreadFromTb();
        return kAnswers[waits++];
    };
    EXPECT_EQ(threadSuspend(threadId()), 0);
    EXPECT_EQ(waits, 3) << "a fault isn't a signal";
}

TEST(ReadWriteLock, TheLastOfItsReadersLetsAWriterIn) {
    ReadWriteLock lock;
    rwInit(&lock);
    EXPECT_EQ(rwLock(&lock, 0), 1);
    EXPECT_EQ(rwLock(&lock, 0, 0, "read"), 1);
    rwUnlock(&lock, 0);
    EXPECT_EQ(rwLock(&lock, 1, 0, "refused"), 0) << "one reader is left";
    EXPECT_STREQ(lock.note, "read");
    rwUnlock(&lock, 0);
    EXPECT_EQ(rwLock(&lock, 1, 0), 1);
    EXPECT_EQ(lock.note, nullptr) << "a grant without a note";
    EXPECT_EQ(lock.writers, 1);
    EXPECT_EQ(rwLock(&lock, 0, 0), 0);
    rwUnlock(&lock, 1);
    EXPECT_EQ(lock.writers, 0);
    rwDestroy(&lock);
}

TEST_F(LockTest, NotesAndCountersAreGuarded) {
    ReadWriteLock lock;
    rwInit(&lock);
    const auto use = [&] {
        for (short i = 0; i < 1000; ++i) {
            mutexNotes = i / 20 % 2 == 0;
            EXPECT_THAT(owner(m), MatchesRegex("(taker.cpp [0-9]+)?\\|[0-9]+"));
            rwLock(&lock, i % 2, -1, "copied");
            mutexGet(m, "taker.cpp", i);
            mutexRel(m);
            rwUnlock(&lock, i % 2);
        }
    };
    std::jthread other(use);
    use();
    other.join();
    rwDestroy(&lock);
}

TEST_F(LockTest, AGateCountsWhoWaitsUntilItOpensForGoodOrIsClosed) {
    Gate gate;
    gateInit(&gate);
    EXPECT_EQ(gateWait(&gate, 0), 0) << "shut";
    on_wait = [&gate] {
        EXPECT_EQ(gate.waiters, 1);
        gateOpen(&gate);
        return 0;
    };
    EXPECT_EQ(gateWait(&gate), 1) << "opened while it waits";
    EXPECT_EQ(gate.waiters, -2) << "lowered by who left, so never shut again";
    EXPECT_EQ(gateWait(&gate), 1);
    gateDestroy(&gate);
    EXPECT_EQ(gateWait(&gate), 0) << "closed";
}

TEST_F(LockTest, AGateMayBeDestroyedUnderWhoWaits) {
    Gate gate;
    gateInit(&gate);
    std::jthread destroyer;
    on_wait = [&] {
        destroyer = std::jthread(gateDestroy, &gate);
        while (!gate.closed) std::this_thread::yield();
        return 0;
    };
    EXPECT_EQ(gateWait(&gate), 0);
}

TEST(Traceback, BeginsWithTheCallerAndStopsAtTheLimit) {
    const std::string caller = testing::PrintToString(__builtin_return_address(0));
    const std::string end =
        "End traceback thread " + std::to_string(threadId()) + ", nb recurence ";
    char none[256] = "kept ";
    tracebackToBuffer(none, 0, 0);
    EXPECT_EQ(std::string(none), "kept " + end + "0 stack size 0 \n");
    char two[256] = "";
    tracebackToBuffer(two, 0, 2);
    EXPECT_THAT(std::string(two), MatchesRegex("0 pc:0x[0-9a-f]{8,16}\n1 pc:" + caller + "\n" +
                                               end + "[12] stack size 0 \n"));
}

TEST(Traceback, ShowsTwentyFramesToTheTrace) {
    const CapturedTrace trace;
    below(30, tracebackToTrace);
    EXPECT_THAT(trace.lines().at(20), testing::HasSubstr(", nb recurence 20 stack size "));
}

}  // namespace
