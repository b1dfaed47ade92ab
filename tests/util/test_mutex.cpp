#include <gmock/gmock.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "util/i_os_mutex.h"
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

class MutexTest : public testing::Test {
  protected:
    MutexTest() {
        traced.clear();
        reports.clear();
        setTraceSink([](const char* text) { traced.emplace_back(text); });
        errorIpcHandler = [](short number, const char* module, const char* word, const char* code) {
            reports.push_back(std::to_string(number) + " " + module + " " + word + " " + code);
        };
        mutexInit(&m, "a lock");
    }
    ~MutexTest() override {
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

TEST_F(MutexTest, NullIsLegalAndTheFirstOfTwoReleasesClearsTheOwnerOnly) {
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

TEST_F(MutexTest, FailedCallsAreReportedAndHandedBack) {
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

TEST_F(MutexTest, NotesTellTheHolderOnceAndOnlyWhileSwitchedOn) {
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

TEST_F(MutexTest, ExcludesWithAndWithoutNotesAndShowsItsOwnerToOthers) {
    constexpr int kTakes = 400;
    setTraceSink([](const char*) {});
    int total = 0;  // guarded by m
    std::vector<std::thread> threads;
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
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(total, 4 * kTakes);
    EXPECT_EQ(m->call_stack, nullptr);
}

}  // namespace
