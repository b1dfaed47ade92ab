#pragma once
// Semaphores, and two small objects made of a semaphore and a Mutex: ReadWriteLock and Gate.
//
// Any thread may call any operation. A failed system call goes to ErrorIpc and comes back as a
// result; nothing here stops the program. The counters of both objects are guarded by their inner
// Mutex, named "mutex", which is never held across a wait for the semaphore. The lock layer sees
// that inner Mutex, not a wait for a semaphore.
//
// The wait flag of all operations: 0 tries once and doesn't wait; any other value waits without
// limit. -1, which callers pass, is no time-out: no timed wait exists.
//
// A signal ends a wait without limit: it fails with EINTR in `errno`, is reported, and takes
// nothing. Whoever has to have what he waits for asks again, and gives back only what was granted.

#include <semaphore.h>

#include <cstdint>

#include "util/i_os_mutex.h"

/// Makes a process-private semaphore with `initial` posts and stores it in `*out`, also when that
/// fails. The caller ends it by semDestroy. Gives 1, or 0 after a report.
short semInit(sem_t** out, unsigned initial);

/// Waits for a post and takes it. Gives 0, or -4 for a null semaphore and after a failed wait,
/// which is reported. The two further arguments are ignored.
int semLock(sem_t* semaphore, long ignored1, long ignored2);

/// Takes a post, waiting for it as the wait flag says. Gives 1, or 0 for a null semaphore, a failed
/// wait (reported) or a try that found no post (an ordinary answer, not reported).
short semLock(sem_t* semaphore, std::int32_t wait);

/// Posts once. Gives 1, or 0 for a null semaphore and after a failed post, which is reported.
short semUnLock(sem_t* semaphore);

/// Ends a semaphore that nobody waits for, and its memory. Gives 1, or 0 for a null semaphore.
short semDestroy(sem_t* semaphore);

/// Many readers or one writer. The first reader takes the semaphore for all readers and the last
/// one gives it back; a writer takes it for itself. Not recursive. Of several readers that ask for
/// a free lock in the same moment, one takes the semaphore and the others may wait until it is
/// done.
struct ReadWriteLock {
    char* note;        ///< heap text of the last grant, or null
    sem_t* semaphore;  ///< initial value 1
    Mutex* mutex;      ///< guards the counters
    short writers;     ///< 1 while a writer has it
    short readers;     ///< how many have it
};

/// Makes a free lock. A failure inside is reported by the operation that failed.
void rwInit(ReadWriteLock* lock);

/// Ends a free lock and frees its note.
void rwDestroy(ReadWriteLock* lock);

/// Takes the lock, exclusive or shared. Gives 1 when granted, with a copy of `note` (or null) as
/// the lock's note; 0 if the semaphore wasn't obtained, with nothing counted and the note as it
/// was. The short forms wait without limit and give no note.
short rwLock(ReadWriteLock* lock, short exclusive, std::int32_t wait, const char* note);
short rwLock(ReadWriteLock* lock, short exclusive, std::int32_t wait);
short rwLock(ReadWriteLock* lock, short exclusive);

/// Gives back one grant; `exclusive` must be that of its rwLock. Any thread may do so.
void rwUnlock(ReadWriteLock* lock, short exclusive);

/// An event that happens once: shut, then open for good, then perhaps closed by its destruction.
///
///   state  | waiters       | closed | gateWait gives
///   -------+---------------+--------+---------------------------------------
///   shut   | 0 or more     | 0      | waits (1 later), or 0 for a failed try
///   open   | negative      | 0      | 1 at once
///   closed | negative      | 1      | 0 at once
struct Gate {
    sem_t* semaphore;                    ///< initial value 0
    Mutex* mutex;                        ///< guards `waiters`
    std::int32_t waiters;                ///< threads that wait; negative once the gate is open
    std::atomic<short> closed;           ///< 1 once the gate is being destroyed
    std::atomic<std::int32_t> visitors;  ///< threads inside gateWait or gateOpen
};

/// Makes a shut gate. A failure inside is reported by the operation that failed.
void gateInit(Gate* gate);

/// Opens the gate, closes it and ends its parts, once every thread has left that was inside an
/// operation. A thread that waited gets 1 or 0, as it leaves before or after the closing. The
/// record stays readable as a closed gate: later operations on it give 0 or do nothing.
void gateDestroy(Gate* gate);

/// Waits for the opening as the wait flag says. Gives 1 when released; 0 if the gate is closed or
/// the semaphore wasn't obtained. The short form waits without limit.
short gateWait(Gate* gate, std::int32_t wait);
short gateWait(Gate* gate);

/// Opens the gate for good and releases all that wait. Nothing on a closed gate.
void gateOpen(Gate* gate);
