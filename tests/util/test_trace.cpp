#include <gtest/gtest.h>

#include "support/captured_trace.h"
#include "support/chosen_clock.h"
#include "util/i_charstr.h"

static const bool traced_before_main = (tracePrintfRaw("%s", ""), traceTexts("early"), true);

TEST(Trace, LinesHaveTheirPiecesAndBlanksAndFormatsAreCut) {
    const CapturedTrace trace;
    const std::string endless(5000, 'x'), cut(1023, 'x');
    traceTexts("a");
    traceTexts("a", "b", "c", "d");
    traceValues("m", -1, "/x", short{2});
    traceValues("x", 1L, "", 2, "y", 3LL);
    traceValues("", 7u);
    traceLine("no end");
    traceLine("");
    tracePrintf("%s=%d\n", "n", 5);
    tracePrintf("%s", endless.c_str());
    tracePrintfRaw("%s", endless.c_str());
    EXPECT_EQ(trace.all(), "@a   \n@a b c d\n@m -1 /x 2\n@x 1 y 3\n@ 7\n@no end\n@n=5\n   \n@" +
                               cut + "   \n" + cut);
}

TEST(Trace, SwitchesAndTheSinkRouteTheText) {
    CharString text("text|");
    testing::internal::CaptureStdout();
    setenv("TZ", "UTC0", 1);
    now = 1767297091;
    microsecond = 642'999;
    traceTexts("x");
    traceOff = 1;
    traceTexts("no");
    traceValues("no", 1);
    traceLine("");
    tracePrintfRaw("raw|");
    traceEmit(text);
    ErrorIpc(15, "i_os", "mutexGet", 22);
    traceOff = 0;
    traceStdoutOff = 1;
    traceTexts("no");
    const CapturedTrace trace;
    text << "text|";
    traceEmit(text);
    ErrorIpc(15, "i_os", "mutexGet", "-1");
    traceStdoutOff = 0;
    const std::string told = "ErrorIpc: i_os  mutexGet  ";
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "19h51:31.642   x   \nraw|text|" + told + "22\n" + told + "-1\n");
    EXPECT_EQ(trace.all(), "text|");
    EXPECT_STREQ(text.c_str(), "");
}

TEST(Trace, AHandlerTakesTheReportsOfFailedCalls) {
    const CapturedTrace trace;
    errorIpcHandler = [](short number, const char* module, const char* word, const char* code) {
        tracePrintfRaw("%d %s %s %s", number, module, word, code);
    };
    ErrorIpc(15, "i_os", "mutexGet", -2);
    errorIpcHandler = nullptr;
    EXPECT_EQ(trace.all(), "15 i_os mutexGet -2");
}
