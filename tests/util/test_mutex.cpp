#include <gmock/gmock.h>

#include <atomic>
#include <cstring>
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
using testing::StartsWith;

std::vector<std::string> traced;   // by the test's thread alone
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

    std::string owner(std::uint32_t* id = nullptr) {
        std::uint32_t unused = 0;
        return mutexOwnerInfo(m, id ? id : &unused);
    }
    std::uint32_t ownerId() {
        std::uint32_t id = 0;
        owner(&id);
        return id;
    }

    Mutex* m = nullptr;
};

TEST_F(MutexTest, NullIsLegalEverywhereAndNeverReported) {
    std::uint32_t id = 7;
    EXPECT_EQ(mutexGet(nullptr, "f", 1), -1);
    EXPECT_EQ(mutexTry(nullptr, "f", 1), 0);
    EXPECT_EQ(mutexRel(nullptr), -1);
    mutexDestroy(nullptr);
    EXPECT_STREQ(mutexOwnerInfo(nullptr, &id), "");
    EXPECT_EQ(id, 7u);
    EXPECT_THAT(reports, IsEmpty());
}

TEST_F(MutexTest, FirstOfTwoReleasesClearsTheOwnerButNotTheHold) {
    EXPECT_EQ(ownerId(), UINT32_MAX);
    ASSERT_EQ(mutexGet(m, "f", 1), 0);
    ASSERT_EQ(mutexTry(m, "f", 2), 1);
    EXPECT_EQ(ownerId(), threadId());
    EXPECT_EQ(mutexRel(m), 0);
    EXPECT_EQ(ownerId(), UINT32_MAX);
    EXPECT_EQ(m->lock_record.count, 1);
    EXPECT_EQ(mutexRel(m), 0);
    EXPECT_EQ(m->lock_record.owner, nullptr);
    EXPECT_EQ(m->owner_text[0], '\0') << "no notes, no text";
}

TEST_F(MutexTest, FailedCallsAreReportedAndHandedBack) {
    EXPECT_EQ(mutexRel(m), EPERM);
    EXPECT_THAT(reports, ElementsAre("16 i_os mutexRel " + std::to_string(EPERM)));
    reports.clear();
    // A checking mutex in place of the recursive one is the way to make a take fail.
    pthread_mutexattr_t checking;
    pthread_mutexattr_init(&checking);
    pthread_mutexattr_settype(&checking, PTHREAD_MUTEX_ERRORCHECK);
    dlMutexDestroy(&m->lock_record);
    ASSERT_EQ(dlMutexInit(&m->lock_record, &checking, "checking"), 0);
    pthread_mutexattr_destroy(&checking);
    ASSERT_EQ(mutexGet(m, "f", 1), 0);
    m->owner_id = 5;
    EXPECT_EQ(mutexGet(m, "f", 2), EDEADLK);
    EXPECT_EQ(mutexTry(m, "f", 2), 0);
    EXPECT_EQ(ownerId(), 5u) << "a failed take changes nothing";
    EXPECT_EQ(m->lock_record.count, 1);
    EXPECT_THAT(reports, ElementsAre("15 i_os mutexGet " + std::to_string(EDEADLK)));
    { const MutexHold failing(m, "f", 3); }
    EXPECT_EQ(m->lock_record.count, 1) << "a guard gives back only what it got";
    EXPECT_EQ(mutexRel(m), 0);
}

TEST_F(MutexTest, OwnerTextKeepsTheLast24BytesOfTheFile) {
    mutexNotes = 1;
    const char* const f24 = "abcdefghijklmnopqrst.cpp";
    const struct {
        std::string file;
        int line;
        std::string text;
    } cases[] = {{"s.cpp", 9, "s.cpp 9"},
                 {f24, 123456, std::string(f24) + " 123456"},
                 {std::string("X") + f24, 1, std::string(f24) + " 1"}};
    for (const auto& c : cases) {
        mutexGet(m, c.file.c_str(), c.line);
        EXPECT_EQ(owner(), c.text);
        mutexRel(m);
        EXPECT_EQ(owner(), "");
    }
}

TEST_F(MutexTest, NotesTellTheHolderOnceAndOnlyWhileSwitchedOn) {
    mutexGet(m, "first.cpp", 10);
    mutexGet(m, "second.cpp", 11);
    EXPECT_THAT(traced, IsEmpty()) << "off";
    EXPECT_EQ(m->call_stack, nullptr);
    mutexRel(m);
    mutexRel(m);

    mutexNotes = 1;
    mutexGet(m, "first.cpp", 10);
    EXPECT_THAT(traced, IsEmpty()) << "a free lock makes no note";
    const std::string stack = m->call_stack.load();
    EXPECT_THAT(stack, StartsWith("0 pc:0x"));
    EXPECT_THAT(stack, HasSubstr("End traceback thread "));
    mutexGet(m, "util/i_os", 11);
    EXPECT_THAT(traced, IsEmpty()) << "the library's own takes make none";
    EXPECT_EQ(owner(), "util/i_os 11");
    mutexTry(m, "util/i_os", 12);
    ASSERT_EQ(traced.size(), 2u) << "a try has no such exception";
    const std::string self = std::to_string(static_cast<int>(threadId()));
    EXPECT_THAT(traced[0], HasSubstr("\n  try mutex util/i_os 12 by th " + self +
                                     " \n  already got since util/i_os 11 by th " + self));
    EXPECT_THAT(traced[1], HasSubstr("\n " + stack + " \n"));
    traced.clear();
    m->in_note = 1;
    mutexGet(m, "again.cpp", 13);
    EXPECT_THAT(traced, IsEmpty()) << "a note is being written";
    m->in_note = 0;
    for (int i = 0; i < 4; ++i)
        mutexRel(m);
    EXPECT_EQ(m->call_stack, nullptr);
    EXPECT_THAT(reports, IsEmpty());
}

TEST_F(MutexTest, ExcludesWithAndWithoutNotesAndShowsItsOwnerToOthers) {
    constexpr int kThreads = 4;
    constexpr int kTakes = 400;
    setTraceSink([](const char*) {});
    long total = 0;  // guarded by m
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < kTakes; ++i) {
                if (t == 0) mutexNotes = (i / 20) % 2 == 0;
                const std::string text = owner();
                EXPECT_TRUE(text.empty() || text.starts_with("taker.cpp ")) << text;
                ASSERT_EQ(mutexGet(m, "taker.cpp", i), 0);
                ++total;
                mutexRel(m);
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(total, kThreads * kTakes);
    EXPECT_EQ(m->call_stack, nullptr);
    EXPECT_EQ(ownerId(), UINT32_MAX);
}

}  // namespace
