#pragma once
// The Mutex: the system's one lock for shared data, a recursive heap object used through a pointer.
//
// Every take and release goes through the lock layer (i_os_deadlock.h), which searches for
// dead-locks in every configuration. What this room adds: a failed call is reported by ErrorIpc and
// handed back as a result, and, while `mutexNotes` is on, traces of who holds what. Nothing here
// stops the program.
//
// A null Mutex is legal in every operation, and all of them may be called from any thread, also
// before `main`. A Mutex is free (owner id all bits set) or held. Since it is recursive, one
// release may not free it; it still clears the owner, so the owner id tells the last taker or
// nobody, never the number of holds. The lock layer keeps the count.
//
// Names in use: "mutex_Systeme" (systemMutex), "mutex_write" (Write and Close of one connection),
// "mutex_obj" (one l_univ), "mutex" (inside a ReadWriteLock or a Gate).
//
// The one circle of the library: the notes made here are trace lines, and a stamped trace line
// takes "mutex_Systeme" in i_os_time. It ends there, because a take whose file text holds "i_"
// makes no note, and a Mutex that is being noted makes no second one.

#include <atomic>
#include <cstdint>

#include "util/i_os_deadlock.h"

/// Not 0: takes of a held Mutex are traced, owner texts and call stacks are kept, and the thread
/// listing shows where threads wait. Steers nothing else. May be set at any time by any thread.
extern std::atomic<short> mutexNotes;

/// Not 0: the thread table and the connections write their extra traces. May be set at any time.
extern std::atomic<short> verboseIpc;

/// Made by mutexInit, ended by mutexDestroy, never copied. Owner text and call-stack text are
/// guarded by a lock of this room, so that a note can read them while the holder changes.
struct Mutex {
    char
        owner_text[32];  ///< "file line" of the last taker, the file's last 24 bytes; empty if free
    std::atomic<std::uint32_t> owner_id;  ///< threadId() of the last taker; all bits set if free
    DlMutex lock_record;                  ///< holds the name and the system's mutex
    std::atomic<short> in_note;           ///< 1 while a note about this Mutex is being written
    std::atomic<char*> call_stack;        ///< of the first taker, 256 bytes; null without notes
};

/// Makes a free Mutex and stores it at once in `*out`. `name` isn't copied: it must outlive the
/// Mutex. A failure goes to ErrorIpc; the Mutex stays allocated, fit only for mutexDestroy.
void mutexInit(Mutex** out, const char* name);

/// Takes `m`. `file` and `line` tell where, for the notes only. Gives 0 when held, -1 for a null
/// `m`, else the code of the failed lock call, which ErrorIpc got and which leaves `m` unchanged.
int mutexGet(Mutex* m, const char* file, int line);

/// Takes `m` and *waits* for it like mutexGet; it isn't a test, and a dead-lock through it isn't
/// seen. Gives 1 when held, 0 for a null `m` or a failed call, which isn't reported.
short mutexTry(Mutex* m, const char* file, int line);

/// Gives one hold back and clears the owner. Gives 0, -1 for a null `m`, else the code of the
/// failed unlock call, which ErrorIpc got; the owner is cleared even then.
int mutexRel(Mutex* m);

/// Ends a free Mutex and its memory.
void mutexDestroy(Mutex* m);

/// Stores the owner id in `*id` and gives the owner text, as a copy that is good until the calling
/// thread's next call. For a null `m` the empty text, with `*id` left as it is.
const char* mutexOwnerInfo(Mutex* m, std::uint32_t* id);

/// The process-wide Mutex "mutex_Systeme", made at its first use, once: it guards `localtime` and
/// the hand-over of `emit`. Every stamped trace line takes it, so it may be taken with any other
/// Mutex held. Never destroyed.
Mutex* systemMutex();

/// Holds a Mutex (null too) from its construction to the end of its scope.
class MutexHold {
  public:
    /// Takes `m` by mutexGet.
    MutexHold(Mutex* m, const char* file, int line)
        : held_(mutexGet(m, file, line) == 0 ? m : nullptr) {}
    ~MutexHold() { mutexRel(held_); }
    MutexHold(const MutexHold&) = delete;
    MutexHold& operator=(const MutexHold&) = delete;

  private:
    Mutex* held_;  // null also after a failed take, which leaves nothing to give back
};
