#pragma once
// The threads of zor_sim. Threads of the family are detached and stay in the thread table unless
// they leave it themselves; here every thread does, so that a table of 55 slots serves for ever.

#include <semaphore.h>

#include <cstdint>
#include <functional>
#include <string>

/// Runs `work` on a new thread that stands in the thread table under `name` (11 bytes of it) before
/// `work` begins, and leaves the table behind it. A thread that finds no memory ends, and tells it
/// in the log. Gives false if no thread can be started, or next to no memory is left; `work` is
/// then dropped. Any thread.
bool simStartThread(const std::string& name, std::function<void()> work);

/// Waits until all threads started here have ended, at most `limit` ms. Gives whether they have.
bool simWaitForThreads(std::int32_t limit);

/// Takes a post of `semaphore`, which is there, however long that takes: a signal may end a wait
/// early, and whoever went on without its post would give back later what was never granted.
void simTake(sem_t* semaphore);
