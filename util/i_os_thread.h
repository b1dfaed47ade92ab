#pragma once
// Threads: the only place of the system that starts one or sleeps.
//
// Every thread has a name and, while there is room, a slot in the thread table (i_os_table.h).
// Threads are started detached and never joined. Any thread may call everything here.

#include <cstdint>

/// What a thread runs. It ends the thread by returning (the result goes nowhere) or by
/// `threadExit`; nothing may be thrown out of it.
using ThreadEntry = void* (*)(void* argument);

/// Starts `entry(argument)` as a detached thread with a stack of 2,097,152 bytes, whatever the
/// ignored arguments say, and enters it in the thread table under `name`, which is copied. Gives
/// the new thread's id, or 0 if it can't be started. A failed system call is reported through
/// `ErrorIpc` with the number 11. The entry may run before the thread stands in the table, and a
/// short one may be done by then: threadStart (i_os_task.h) runs what has to leave the table again.
std::uint32_t threadCreate(const char* name, ThreadEntry entry, long ignored1, long ignored2,
                           void* argument, short ignored3);

/// The caller's `pthread_self()`. Where that is wider than 32 bits this is its low half, which
/// tells threads apart as long as their stacks lie within 4 GiB.
std::uint32_t threadId();

/// Ends the calling thread, with the address of a word that holds 0 as its result. Its slot in the
/// thread table stays until the thread itself has called `RemoveThreadFromTb`.
[[noreturn]] void threadExit();

/// Sleeps, and gives the result of `nanosleep`: 0, or -1 when a signal ended the sleep early (the
/// rest isn't slept) or the time is negative (no sleep at all).
int threadSleep(std::int32_t milliseconds);

/// Lets other threads run: a sleep of 10 ms.
int threadYield();
