#include <gtest/gtest.h>

#include <chrono>

#include "support/feed.h"

namespace {

TEST(ConnectionSlowTest, GivesUpAfterAHundredFailuresInARow) {
    FedLine line;
    line.near.SetNonBlocking();
    char byte;
    std::int32_t got = 9;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(line.near.ReadBlock(&byte, 1, -1, &got), 0);
    EXPECT_EQ(got, 0);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(9900));
}

}  // namespace
