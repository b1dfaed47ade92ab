#pragma once
// Stands before the C library's clock, so that a test chooses the moment.

#include <sys/time.h>

#include <ctime>

inline std::time_t now = 0;
inline int microsecond = 0;  // below 0 the clock can't be read that finely

extern "C" std::time_t time(std::time_t*) noexcept { return now; }

extern "C" int gettimeofday(timeval* fine, void*) noexcept {
    fine->tv_usec = microsecond;
    return microsecond < 0 ? -1 : 0;
}
