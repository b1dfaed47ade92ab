#pragma once
// The thread table `TbThreadCreated`, which names the threads that `threadCreate` started, and the
// traceback of the calling thread.
//
// A diagnostic aid: nothing stops working when a thread has no slot. The main thread has none. The
// table has 55 slots and a lock of its own, which is held neither across a wait nor while a text
// goes to the trace, so any thread may call everything here at any time, a trace sink too. A thread
// that ends without `RemoveThreadFromTb` keeps its slot for the life of the process, and a later
// thread to which the system hands the same id is taken for it.

#include <cstdint>

class CharString;

/// Enters a thread in the lowest free slot, with a semaphore of its own, no mark and no wait note.
/// The name is cut to 11 bytes. A full table is traced and changes nothing for the thread.
void PutThreadInTbThread(const char* name, std::uint32_t handle, std::uint32_t id);

/// Frees the calling thread's slot and destroys its semaphore, once nobody waits on it any more.
void RemoveThreadFromTb();

/// The calling thread's name, or "Unknown" without a slot. Belongs to the table and is good until
/// the thread calls `RemoveThreadFromTb`.
const char* threadName();

/// Marks how far the calling thread has got. Marks in use: 10 `client_read` reads standard input;
/// 11, 12, 13 `read_parametre` has begun, has its element, is done; 14, 15 `call_client` has begun,
/// is done. A thread can run before its entry is made, so a caller without a slot is looked for 5
/// times with 50 ms behind each; one that never gets a slot, as the main thread, spends 250 ms.
void setThreadTrace(std::int32_t mark);

/// Notes that the calling thread waits at `line` of `file` (of which the last 24 bytes count); a
/// null `file` clears the note.
void setThreadWaitNote(const char* file, int line);

/// Waits until `threadResume` is called for this id. A thread suspends itself with its own id; with
/// another one it waits on that thread's slot. Resumes are counted, so one that comes first lets
/// the next suspend pass. Both give 0, also for an id without a slot, which they ignore.
short threadSuspend(std::uint32_t id);
short threadResume(std::uint32_t id);

/// Appends the table to `text`: a heading, one line per slot in use in table order, a line end.
/// Wait notes show only while `mutexNotes` is on.
void listThreads(CharString& text);

/// Appends the caller's call stack to `text`, a terminated text with room for what comes: at most
/// `limit` lines "%d pc:0x%08x\n" of up to 32 bytes, the return address into the caller first, and
/// the line "End traceback thread %u, nb recurence %d stack size %d \n" of up to 80. The size isn't
/// consulted. Addresses print in full width; the stack size is the distance that the links cover.
/// Nothing at all is written where the stack has no frame above this call.
void tracebackToBuffer(char* text, int size, int limit);

/// The same to the trace, line by line, with at most 20 frames.
void tracebackToTrace();
