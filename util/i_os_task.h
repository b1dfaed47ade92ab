#pragma once
// Threads that leave nothing behind: a server that starts one for each client would otherwise fill
// the thread table, which has 55 slots, with threads that are gone.
//
// A thread of `threadCreate` may run, and end, before its entry in the table is made, and an entry
// made too late stays for ever. What is started here waits for its entry, and takes it out again.

#include <cstdint>
#include <functional>

/// Runs `work` on a new detached thread that stands in the thread table under `name`, copied and
/// cut to 11 bytes, before `work` begins, and leaves the table when it has ended. What `work` holds
/// ends on that thread too. Nothing may be thrown out of `work`, and it ends by returning, not by
/// `threadExit`. Gives 1, or 0 if no thread can be started; `work` is then dropped. Any thread.
short threadStart(const char* name, std::function<void()> work);

/// Waits until all threads of threadStart have ended, those too that they start meanwhile, at most
/// `limit` ms; with 0 it only looks. Gives 1 if they have, else 0. For the orderly end of a
/// program: not on a thread of threadStart itself, which would wait for its own end.
short threadWaitStarted(std::int32_t limit);
