#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "support/captured_trace.h"
#include "util/i_charstr.h"
#include "util/i_os_mutex.h"
#include "util/i_trace.h"

namespace {

using testing::ElementsAre;

const bool traced_before_main = (tracePrintfRaw("%s", ""), traceTexts("before main"), true);

TEST(Trace, LinesHaveTheirPiecesAndBlanksAndFormatsAreCut) {
    const CapturedTrace trace;
    const std::string endless(5000, 'x');
    traceTexts("a");
    traceTexts("a", "b", "c", "d");
    traceValues("mkdir", -1, "/tmp/x", short{2});
    traceValues("x", 1L, "", 2, "y", 3LL);
    traceValues("", 7u);
    traceLine("no end");
    traceLine("");
    tracePrintf("%s=%d\n", "n", 5);
    tracePrintf("%s", endless.c_str());
    tracePrintfRaw("%s", endless.c_str());
    EXPECT_THAT(trace.lines(),
                ElementsAre("@a   \n", "@a b c d\n", "@mkdir -1 /tmp/x 2\n", "@x 1 y 3\n", "@ 7\n",
                            "@no end", "\n", "@n=5\n   \n", "@" + endless.substr(0, 1023) + "   \n",
                            endless.substr(0, 1023)));
}

TEST(Trace, SwitchesSinkAndHandlerRouteTheText) {
    CharString text("e");
    testing::internal::CaptureStdout();
    traceOff = 1;
    traceTexts("no");
    traceValues("no", 1);
    traceLine("");
    tracePrintf("no");
    tracePrintfRaw("raw|");
    traceOff = 0;
    traceEmit(text);
    EXPECT_EQ(text.length(), 0);
    traceStdoutOff = 1;
    traceTexts("no");
    ErrorIpc(15, "i_os", "mutexGet", 22);
    const CapturedTrace trace;
    text = "to the sink";
    traceEmit(text);
    EXPECT_EQ(text.length(), 0);
    errorIpcHandler = [](short number, const char* module, const char* word, const char* code) {
        tracePrintfRaw("%d %s %s %s", number, module, word, code);
    };
    ErrorIpc(11, "i_os", "threadCreate", -1);
    errorIpcHandler = nullptr;
    traceStdoutOff = 0;
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "raw|eErrorIpc: i_os  mutexGet  22\n");
    EXPECT_THAT(trace.raw(), ElementsAre("to the sink", "11 i_os threadCreate -1"));
}

// Lines of many threads come out whole; a stamped one waits while another holds "mutex_Systeme".
TEST(Trace, LinesOfManyThreadsReachTheSinkWhole) {
    const CapturedTrace trace;
    std::vector<std::thread> threads;
    std::atomic<int> began{0};
    {
        const MutexHold hold(systemMutex(), "test", __LINE__);
        for (int t = 0; t < 8; ++t) {
            threads.emplace_back([t, &began] {
                ++began;
                for (int i = 0; i < 200; ++i)
                    traceValues(std::string(20u << t, 'a').c_str(), t);
            });
        }
        while (began < 8)
            std::this_thread::yield();
        traceTexts("holder");
        EXPECT_THAT(trace.lines(), ElementsAre("@holder   \n"));
    }
    for (auto& thread : threads)
        thread.join();
    const auto lines = trace.lines();
    for (int t = 0; t < 8; ++t) {
        const auto whole = "@" + std::string(20u << t, 'a') + " " + std::to_string(t) + "\n";
        EXPECT_EQ(std::count(lines.begin(), lines.end(), whole), 200);
    }
}

}  // namespace
