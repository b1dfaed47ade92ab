#pragma once
// The lock layer: it stands under every Mutex and searches for a dead-lock on every take.
//
// Beside the system's mutexes it keeps a picture of the process: which thread owns which lock, and
// which thread waits for which lock and so for which other thread. An attempt on a lock that
// another thread owns follows that picture from the owner. If the chain comes back to the thread
// that asks, this thread is about to close a dead-lock, and says so before it blocks.
//
// A thread, in its DlThread:
//
//   state    | waiting_mutex | waiting_thread
//   ---------+---------------+---------------
//   no wait  | null          | null
//   attempt  | set           | null
//   waiting  | set           | set
//
//   from               | event                                  | to
//   -------------------+----------------------------------------+----------------------------------
//   no wait            | dlMutexLock on a lock that it owns     | no wait
//   no wait            | dlMutexLock on a free lock             | attempt
//   no wait            | dlMutexLock on another thread's lock   | waiting, after the search
//   attempt            | another thread takes the lock first    | waiting
//   waiting            | the owner gives the lock up            | attempt
//   waiting            | another thread becomes the owner       | waiting, for that thread
//   attempt or waiting | the real lock is obtained              | no wait, the thread owns the lock
//   attempt or waiting | the real lock call fails               | no wait
//   attempt or waiting | the fatal function ends the thread     | no wait
//
// A lock is free (owner null, count 0) or owned (count 1 or more, in its owner's owned list).
//
// On a take the real lock comes first and the tables follow; on a release the tables come first and
// the real lock follows. So the tables may lag behind a new owner, but they never name an owner
// that has already given the lock up.
//
// Any thread may call any operation, also before `main`. This is the lowest layer: it uses no
// Mutex, no trace and no CharString. Its one lock is dlTableLock, a bare pthread mutex, the
// innermost lock of the process, never held across a wait for a real lock. The system's try-lock is
// used nowhere. docs/dead-lock-detector.md tells how to read a report.
//
// A program may walk dlThreadList with dlTableLock held, by pthread_mutex_lock. It then finds, at
// every moment: a lock has an owner exactly while its count is above 0, and then stands in that
// owner's owned list; a waiting thread is the owner of the waiting mutex; a thread stands in the
// attempts of its waiting mutex. What moves under its eyes, because the owner writes it without
// dlTableLock, is a count above 0, which stays above 0; and a call stack outside an attempt, which
// may be half written: read `call_stack` only where `waiting_mutex` is set.

#include <pthread.h>

#include <atomic>
#include <cstdint>

struct DlThread;

/// One lock. The record stands inside its user (a Mutex) and isn't copied or moved. Guarded by
/// dlTableLock, except `real_lock`. `owner` is also read without it. While the count is above 0 the
/// owner alone changes it, and does so without dlTableLock in all takes but the first and all
/// releases but the last.
struct DlMutex {
    DlMutex* next_owned;              ///< next in the owner's owned list; null at the end
    DlMutex* previous_owned;          ///< previous in that list; null at the head
    std::atomic<DlThread*> owner;     ///< null when free
    const char* name;                 ///< not copied: must outlive the record
    std::atomic<std::int32_t> count;  ///< how many times the owner holds it
    pthread_mutex_t real_lock;        ///< what is really taken
    DlThread* first_attempt;          ///< the threads in an attempt on this lock
};

constexpr int kDlStackRoom = 10;  ///< code addresses kept of an attempt

/// One thread that ever called a lock operation. Records are malloc'd and never freed; a later
/// thread with the same pthread_self takes the record over. Guarded by dlTableLock, except the call
/// stack: the thread itself fills it without, before it notes its attempt.
struct DlThread {
    DlThread* next;            ///< in dlThreadList
    pthread_t id;              ///< pthread_self of the thread
    DlMutex* owned;            ///< the locks it owns, the most recent first
    DlMutex* waiting_mutex;    ///< the lock that it tries to get; null outside an attempt
    DlThread* waiting_thread;  ///< the owner of that lock as far as known; null while it is free
    void* call_stack[kDlStackRoom];  ///< of the last attempt; null-ended if shorter
    DlThread* next_attempt;          ///< in the list of `waiting_mutex`
    DlThread* previous_attempt;      ///< in that list; null at the head
    std::uint32_t waits_since;       ///< reports of the process when `waiting_thread` got its value
    std::uint32_t shown_in;          ///< number of the last report whose ring this thread was in
};

/// Head of the list of all thread records, the newest first; it only grows.
extern DlThread* dlThreadList;

/// Guards every field of both records except the real lock. Constant-initialised, so locks work
/// before `main`.
extern pthread_mutex_t& dlTableLock;

/// The calling thread's record; null before its first use of a lock. Set by this layer alone.
extern constinit thread_local DlThread* dl_own_record;

/// A `printf`-shaped function for all text of this layer. Runs with dlTableLock held, so a Mutex
/// that it takes must be taken nowhere else: another thread needs dlTableLock to give it back, and
/// a wait for it here would stop every thread that uses a lock.
using DlPrintFunction = int (*)(const char* format, ...);
/// Gets the text "DeadLock" after a report, on the reporting thread, with no lock of this layer
/// held: it may trace, may take any Mutex, and may end its thread, whose attempt ends with it. It
/// is called once for each report, but never inside itself: if a take of its own closes another
/// ring, that one's report is written at once, and its call follows when the running one has
/// returned.
using DlFatalFunction = void (*)(const char* text);

/// Makes `m` a free lock around a new system mutex with `attribute`. Result of pthread_mutex_init.
int dlMutexInit(DlMutex* m, const pthread_mutexattr_t* attribute, const char* name);

/// Takes `m`, after the search for a dead-lock if another thread owns it. Gives the result of
/// pthread_mutex_lock: 0 when held, else nothing has changed.
///
/// A ring is told once. If the fatal function returns, the attempt waits for the real lock, in a
/// true dead-lock for ever. A take made by the fatal function sets this attempt aside; when it is
/// noted again, it is searched again, and tells a ring that was closed meanwhile. A take made by
/// the print function during a report only waits. The search takes at most as many steps as there
/// are thread records, so it also ends when it meets an older dead-lock of other threads.
int dlMutexLock(DlMutex* m);

/// Changes the count and gives its new value. One writer at a time: the owner, or whoever holds
/// dlTableLock over a lock that is being got.
inline std::int32_t dlAddToCount(DlMutex* m, std::int32_t step) {
    const std::int32_t count = m->count.load(std::memory_order_relaxed) + step;
    m->count.store(count, std::memory_order_relaxed);
    return count;
}

/// Whether the calling thread owns `m`. Only the thread itself makes itself the owner, so this
/// needs no dlTableLock.
inline bool dlOwns(const DlMutex* m) {
    DlThread* const owner = m->owner.load(std::memory_order_relaxed);
    return owner && owner == dl_own_record;
}

/// The short way of dlMutexLock for a lock that the calling thread owns: one hold more. It touches
/// no table.
inline int dlMutexLockAgain(DlMutex* m) {
    const int code = pthread_mutex_lock(&m->real_lock);
    if (code == 0) dlAddToCount(m, 1);
    return code;
}

/// Whether the calling thread holds `m` more than once, so that a release leaves it held.
inline bool dlHoldsTwice(const DlMutex* m) {
    return dlOwns(m) && m->count.load(std::memory_order_relaxed) > 1;
}

/// The short way of dlMutexUnlock for such a lock: one hold less. It touches no table.
inline int dlMutexUnlockOnce(DlMutex* m) {
    dlAddToCount(m, -1);
    return pthread_mutex_unlock(&m->real_lock);
}

/// Takes `m` like dlMutexLock and *waits* like it: not a test. It leaves no trace while it waits,
/// so a dead-lock through it isn't seen.
int dlMutexTryLock(DlMutex* m);

/// Gives one hold of `m` back, in any order with other locks. Gives the result of
/// pthread_mutex_unlock. For a caller that isn't the owner it writes
/// "Unlock Mutex (%s) not from the owner\n", changes no table, and the system gives its error.
int dlMutexUnlock(DlMutex* m);

/// Ends `m`; gives the result of pthread_mutex_destroy. A held lock is told by
/// "pthread_mutex_destroy with one owner for mutex (%s)\n" and leaves its owner's list first.
int dlMutexDestroy(DlMutex* m);

/// Makes dlTableLock anew as a recursive mutex, so that a print function may take a Mutex, and sets
/// the two functions; null selects the default (`printf`, and a fatal function that writes its text
/// and a line end through the print function). Call it before any other thread uses a lock.
void dlInit(DlPrintFunction print, DlFatalFunction fatal);
