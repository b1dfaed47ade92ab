#pragma once
// The way to the tables of the lock layer, for that layer alone: who takes dlTableLock first when
// several threads want it.
//
// A round on the tables takes some ten nanoseconds; to hand their cache lines to another core takes
// ten times as long, and to sleep and be woken a hundred times. So what counts under contention is
// how seldom the tables change hands. Who finds them in use steps back for as long as some dozen
// takes of the other thread, which goes on with everything in its cache; then it claims the next
// round, and the other steps back. Neither sleeps, and neither runs into the other.
//
// Both flags are hints, so their loads and stores order nothing, and dlTableLock alone guards. A
// holder that sets no flag, an inner hold of the recursive kind that clears it early, a thread that
// is stopped between its claim and its round: each costs others a bounded wait, and then a sleep.

#include <pthread.h>

#include <atomic>

#include "util/i_os_deadlock.h"

/// dlTableLock with what the contending threads tell each other. All on one cache line: who looks
/// at a flag and finds the way free has the lock's line too, before another can get it back.
struct alignas(64) DlTable {
    pthread_mutex_t lock;       ///< dlTableLock itself
    std::atomic<bool> in_use;   ///< a thread is in the tables
    std::atomic<bool> claimed;  ///< a thread goes in next
};
/// The one of the process.
extern constinit DlTable dl_table;

// All in pauses of the processor, 10 to 40 ns each.
constexpr int kDlRest = 100;      ///< how long to step back; some dozen takes of another thread
constexpr int kDlPatience = 400;  ///< how long to wait for a flag before the thread may sleep

/// Waits for `pauses` of the processor.
void dlPause(int pauses);

/// Takes dlTableLock when others are at it.
void dlLockBusyTable();

/// Takes dlTableLock.
inline void dlLockTable() {
    if (dl_table.in_use.load(std::memory_order_relaxed) ||
        dl_table.claimed.load(std::memory_order_relaxed)) [[unlikely]]
        return dlLockBusyTable();
    pthread_mutex_lock(&dl_table.lock);
    dl_table.in_use.store(true, std::memory_order_relaxed);
}

/// Gives dlTableLock back.
inline void dlUnlockTable() {
    dl_table.in_use.store(false, std::memory_order_relaxed);
    pthread_mutex_unlock(&dl_table.lock);
}
