#include <gtest/gtest.h>

#include <string>

#include "util/i_assert.h"

TEST(AssertDeathTest, ReportsExpressionPlaceAndListThenAborts) {
    std::setvbuf(stderr, nullptr, _IOFBF, BUFSIZ);
    EXPECT_EXIT(assertionFailed("n > 0", "util/i_os", 7), testing::KilledBySignal(SIGABRT),
                "^Assertion <n > 0> failed:\nfile \"util/i_os\", line 7\n");
    EXPECT_EXIT(assertionFailed("p", "util/l_univ", 9, "calls"), testing::KilledBySignal(SIGABRT),
                "^Assertion <p> failed:\nfile \"util/l_univ\", line 9, calls\n");
    const std::string endless(1000, 'x');
    EXPECT_EXIT(assertionFailed(endless.c_str(), "m", 1), testing::KilledBySignal(SIGABRT),
                "^Assertion <x{388}([^x]|$)");
}
