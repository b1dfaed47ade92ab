#pragma once
// The workers of a session: the threads beside the main one, and their common end.

#include <condition_variable>
#include <cstdint>
#include <mutex>

#include "util/i_os.h"

/// Keeps the count of a session's workers, so that their connection outlives the last of them.
/// All workers are detached; one that has called `leave` touches nothing of its session any more.
/// Any thread may call `waitForEnd` and `leave`; the rest is the main thread's.
class SessionWorkers {
  public:
    /// Starts a worker by `threadCreate` with a null argument. Gives false, and counts nothing, if
    /// the system has no thread left.
    bool start(const char* name, ThreadEntry entry);

    /// The last act of a worker.
    void leave();

    /// Sleeps for `milliseconds`, or until the session ends if that is sooner. Gives true if the
    /// session has ended.
    bool waitForEnd(std::int32_t milliseconds);

    /// Wakes the sleeping workers and returns when all of them have left.
    void endSession();

  private:
    // Held for a few instructions only and never with another lock, so a plain lock serves here.
    std::mutex guard_;
    std::condition_variable changed_;
    int running_ = 0;     // guarded by guard_
    bool ended_ = false;  // guarded by guard_; a new session's first start clears it
};
