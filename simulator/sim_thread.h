#pragma once
// The threads of zor_sim: threads of threadStart (i_os_task.h), which leave the thread table again
// and are waited for by threadWaitStarted, and which survive that no memory is left.

#include <semaphore.h>

#include <functional>
#include <string>

/// Runs `work` on a new thread that stands in the thread table under `name` (11 bytes of it) before
/// `work` begins, and leaves the table behind it. A thread that finds no memory ends, and tells it
/// in the log. Gives false if no thread can be started, or next to no memory is left; `work` is
/// then dropped. Any thread.
bool simStartThread(const std::string& name, std::function<void()> work);

/// Takes a post of `semaphore`, which is there, however long that takes: a signal may end a wait
/// early, and whoever went on without its post would give back later what was never granted.
void simTake(sem_t* semaphore);
