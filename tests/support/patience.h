#pragma once
// How long tests wait for what must come.

#include <cstdlib>

/// Longest wait, in milliseconds; generous for slow machines. ZOR_TEST_PATIENCE, in seconds, sets
/// another one: with 2 a red test ends soon.
inline const int kPatience = [] {
    const char* const seconds = std::getenv("ZOR_TEST_PATIENCE");
    return 1000 * (seconds ? std::atoi(seconds) : 30);
}();
