#include <gtest/gtest.h>

#include <string>

#include "util/i_assert.h"

namespace {

constexpr char SOURCE_MODULE[] = "util/i_assert";

TEST(AssertDeathTest, ReportsExpressionPlaceAndListThenAborts) {
    EXPECT_EXIT(assertionFailed("n > 0", "util/i_os", 7), testing::KilledBySignal(SIGABRT),
                "^Assertion <n > 0> failed:\nfile \"util/i_os\", line 7\n");
    EXPECT_EXIT(assertionFailed("p", "util/l_univ", 9, "calls"), testing::KilledBySignal(SIGABRT),
                "^Assertion <p> failed:\nfile \"util/l_univ\", line 9, calls\n");
    const std::string endless(1000, 'x');
    EXPECT_EXIT(assertionFailed(endless.c_str(), "m", 1), testing::KilledBySignal(SIGABRT),
                "^Assertion <x{388}([^x]|$)");
}

TEST(AssertDeathTest, EvaluatesItsConditionOnceAndPassesWhenItHolds) {
    int evaluations = 0;
    ZOR_ASSERT(++evaluations == 1, "first");
    EXPECT_EQ(evaluations, 1);
    EXPECT_DEATH(ZOR_ASSERT_NAMED(evaluations == 0, "kept  as typed", "l"), "<kept  as typed>");
}

}  // namespace
