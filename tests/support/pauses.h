#pragma once
// Stands before the C library's pause, so that a test sees what the code under test waits for,
// takes no time over it, and acts inside it.

#include <time.h>

#include <functional>

/// Gets the milliseconds of each pause of this thread; while it is empty the pause is made.
inline thread_local std::function<void(long)> on_pause;

extern "C" int nanosleep(const timespec* pause, timespec* rest) {
    if (!on_pause) return clock_nanosleep(CLOCK_REALTIME, 0, pause, rest) == 0 ? 0 : -1;
    on_pause(static_cast<long>(pause->tv_sec) * 1000 + pause->tv_nsec / 1000000);
    return 0;
}
