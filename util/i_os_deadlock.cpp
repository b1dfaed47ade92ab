#include "util/i_os_deadlock.h"

#include <execinfo.h>

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <new>

#include "util/i_assert.h"
#include "util/i_os_deadlock_table.h"
#include "util/i_os_frames.h"

// Process-wide state, constant-initialised. All of it is guarded by dlTableLock, but the two
// function slots, which are set before a second thread uses a lock.
constinit DlThread* dlThreadList = nullptr;
constinit pthread_mutex_t& dlTableLock = dl_table.lock;
constinit thread_local DlThread* dl_own_record = nullptr;  // spares the walk of dlThreadList

namespace {

constexpr char SOURCE_MODULE[] = "util/i_os";

void dlDefaultFatal(const char* text);

DlPrintFunction dlPrint = printf;
DlFatalFunction dlFatal = dlDefaultFatal;
constinit unsigned thread_count = 0;  // records in dlThreadList
constinit std::uint32_t reports = 0;  // made so far: the clock by which a ring is known again
constinit bool printing = false;      // a report is being written

// The calls of the fatal function that this thread's reports ask for.
struct FatalCalls {
    unsigned owed;
    bool running;
};
constinit thread_local FatalCalls fatal_calls{0, false};

// Entries of a call stack that no report shows: they lie in this layer and in mutexGet.
constexpr int kHiddenFrames = 2;

void dlDefaultFatal(const char* text) {
    dlPrint("%s\n", text);
}

class TableHold {
  public:
    TableHold() { dlLockTable(); }
    ~TableHold() { dlUnlockTable(); }
    TableHold(const TableHold&) = delete;
    TableHold& operator=(const TableHold&) = delete;
};

DlThread* findOrAddRecord() {
    const pthread_t self = pthread_self();
    for (DlThread* r = dlThreadList; r; r = r->next) {
        if (pthread_equal(r->id, self)) return r;
    }
    void* const memory = std::malloc(sizeof(DlThread));
    ZOR_ASSERT(memory != nullptr, "memory != NULL");  // no thread can be told apart without it
    // cppcheck-suppress legacyUninitvar  // the braces make it, all zero
    auto* const added = new (memory) DlThread{};
    added->next = dlThreadList;
    added->id = self;
    dlThreadList = added;
    ++thread_count;
    return added;
}

// The first use on a thread. The unwinder of `backtrace` loads itself at its first call, which may
// allocate and take the loader's lock: it does so here, outside dlTableLock.
[[gnu::noinline]] DlThread* makeOwnRecord() {
    void* address = nullptr;
    backtrace(&address, 1);
    ownStack();
    const TableHold hold;
    dl_own_record = findOrAddRecord();
    return dl_own_record;
}

inline DlThread* dlCurrentThread() {
    return dl_own_record ? dl_own_record : makeOwnRecord();
}

inline DlThread* ownerOf(const DlMutex* m) {
    return m->owner.load(std::memory_order_relaxed);
}

inline void setOwner(DlMutex* m, DlThread* owner) {
    m->owner.store(owner, std::memory_order_relaxed);
}

void setWaitingThread(DlThread* t, DlThread* owner) {
    if (t->waiting_thread == owner) return;
    t->waiting_thread = owner;
    t->waits_since = reports;
}

void beginAttempt(DlThread* t, DlMutex* m) {
    t->waiting_mutex = m;
    t->waiting_thread = ownerOf(m);
    t->waits_since = reports;
    t->previous_attempt = nullptr;
    t->next_attempt = m->first_attempt;
    if (t->next_attempt) t->next_attempt->previous_attempt = t;
    m->first_attempt = t;
}

void endAttempt(DlThread* t) {
    if (t->next_attempt) t->next_attempt->previous_attempt = t->previous_attempt;
    if (t->previous_attempt) {
        t->previous_attempt->next_attempt = t->next_attempt;
    } else {
        t->waiting_mutex->first_attempt = t->next_attempt;
    }
    t->waiting_mutex = nullptr;
    t->waiting_thread = nullptr;
}

void setWaiters(const DlMutex* m, DlThread* new_owner) {
    for (DlThread* r = m->first_attempt; r; r = r->next_attempt) {
        if (r != new_owner) setWaitingThread(r, new_owner);
    }
}

void clearWaiters(const DlMutex* m, const DlThread* old_owner) {
    for (DlThread* r = m->first_attempt; r; r = r->next_attempt) {
        // The old owner stands here itself if its fatal function got the lock that it reported.
        if (r->waiting_thread != old_owner && r != old_owner)
            dlPrint("RemoveThreadWaiting Invalid data\n");
        setWaitingThread(r, nullptr);
    }
}

void addToOwned(DlThread* t, DlMutex* m) {
    if (dlAddToCount(m, 1) == 1) {
        setOwner(m, t);
        m->next_owned = t->owned;
        m->previous_owned = nullptr;
        if (t->owned) t->owned->previous_owned = m;
        t->owned = m;
    }
}

void takeFromOwned(DlThread* t, DlMutex* m) {
    if (m->next_owned) m->next_owned->previous_owned = m->previous_owned;
    if (m->previous_owned) {
        m->previous_owned->next_owned = m->next_owned;
    } else {
        t->owned = m->next_owned;
    }
    m->next_owned = nullptr;
    m->previous_owned = nullptr;
    setOwner(m, nullptr);
}

std::uintptr_t number(const void* address) {
    return reinterpret_cast<std::uintptr_t>(address);
}

// The low half of a wider pthread_self, as threadId() and the thread table give it.
std::uint32_t shownId(const DlThread* t) {
    return t ? static_cast<std::uint32_t>(t->id) : 0;
}

void printCallStack(const DlThread* r) {
    dlPrint("      Callstack:");
    for (int i = kHiddenFrames; i < kDlStackRoom && r->call_stack[i]; ++i) {
        dlPrint("[0x%" PRIxPTR "]", number(r->call_stack[i]));
    }
    dlPrint("\n");
}

void printThread(const DlThread* r) {
    dlPrint("\n    Thread %" PRIxPTR " ID%uID:\n", number(r), shownId(r));
    printCallStack(r);
    dlPrint("      WaitingMutex %s(%" PRIxPTR ") WaitingThread %" PRIxPTR
            " ID%uID\n      OwnedMutex : ",
            r->waiting_mutex->name, number(r->waiting_mutex), number(r->waiting_thread),
            shownId(r->waiting_thread));
    for (const DlMutex* m = r->owned; m; m = m->next_owned) {
        dlPrint("%s(%" PRIxPTR ") ", m->name, number(m));
    }
    dlPrint("\n");
}

void printDeadLock(const DlThread* t, const DlMutex* m) {
    dlPrint("DeadLock !!! %" PRIxPTR " ID%uID lock %s(%" PRIxPTR ")\n", number(t), shownId(t),
            m->name, number(m));
    for (const DlThread* r = dlThreadList; r; r = r->next) {
        if (r->waiting_mutex) printThread(r);
    }
}

// A ring that `t` isn't in, of an earlier report, is left after as many steps as there are threads.
bool closesRing(const DlThread* t) {
    const DlThread* p = t->waiting_thread;
    for (unsigned steps = 0; p && steps < thread_count; ++steps) {
        if (p == t) return true;
        p = p->waiting_thread;
    }
    return false;
}

// Whether a report has shown the ring that `t` is in. A thread waits for one other, so it is in one
// ring at most; and that ring was told if none of its edges is younger than the last report that
// showed this attempt.
bool isToldRing(const DlThread* t) {
    const DlThread* p = t;
    do {
        if (p->waits_since >= t->shown_in) return false;
        p = p->waiting_thread;
    } while (p != t);
    return true;
}

[[gnu::cold, gnu::noinline]] void tellRing(DlThread* t) {
    ++reports;
    DlThread* member = t;
    do {
        member->shown_in = reports;
        member = member->waiting_thread;
    } while (member != t);
    printing = true;
    printDeadLock(t, t->waiting_mutex);
    printing = false;
    ++fatal_calls.owed;  // not before: a take of the print function calls nothing
}

// Searches for a ring that the attempt of `t` closes, with dlTableLock held, and tells it if no
// report has shown it yet. A lock that `t` owns by now, got inside the attempt, makes no ring; and
// what a print function takes inside a report isn't searched, or reports would stand in reports.
void search(DlThread* t) {
    if (t->waiting_thread == t || printing || !closesRing(t)) [[likely]]
        return;
    if (!isToldRing(t)) tellRing(t);
}

// What a take has to remember between its two rounds on the tables. A print or fatal function that
// takes a Mutex makes an attempt inside the one that is being reported; the outer one comes back
// when the inner one ends.
struct Take {
    bool inside_another = false;
    DlThread outer;  // the thread's record with the attempt that was set aside
};

[[gnu::cold]] void setAside(DlThread* t, Take& take) {
    const TableHold hold;
    take.inside_another = true;
    take.outer = *t;
    endAttempt(t);
}

// Begins an attempt on `m`. Where it is the same wait as the one set aside, a ring that was told of
// that one was told of this one.
void continueAttempt(DlThread* t, DlMutex* m, const DlThread& aside) {
    beginAttempt(t, m);
    t->shown_in = aside.shown_in;
    if (m == aside.waiting_mutex && t->waiting_thread == aside.waiting_thread)
        t->waits_since = aside.waits_since;
}

void endCallStack(DlThread* t, int frames) {
    if (frames < kDlStackRoom) t->call_stack[frames] = nullptr;
}

// The round before the wait, with dlTableLock held: notes the attempt and searches.
void noteAttempt(DlThread* t, DlMutex* m, const Take& take) {
    if (take.inside_another) [[unlikely]]
        continueAttempt(t, m, take.outer);
    else
        beginAttempt(t, m);
    search(t);
}

// The outer attempt is noted again. While it was set aside it closed no ring, so a ring that others
// closed meanwhile is found here.
[[gnu::cold, gnu::noinline]] void takeUpAgain(DlThread* t, const DlThread& aside) {
    std::copy_n(aside.call_stack, kDlStackRoom, t->call_stack);
    continueAttempt(t, aside.waiting_mutex, aside);
    search(t);
}

// The round after the wait, which ended with `code`.
void settleAttempt(DlThread* t, DlMutex* m, int code, const Take& take) {
    const TableHold hold;
    endAttempt(t);
    if (code == 0) {
        setWaiters(m, t);
        addToOwned(t, m);
    }
    if (take.inside_another) [[unlikely]]
        takeUpAgain(t, take.outer);
}

// Calls the fatal function once for each report, never inside itself: what it reports by a take of
// its own is followed by another call when it returns. It may end its thread, which unwinds through
// here. No attempt may stay behind then: a later thread takes the record over, and the lock may be
// gone.
[[gnu::cold, gnu::noinline]] void callFatal(DlThread* t) {
    if (fatal_calls.running) return;
    struct Calls {
        ~Calls() {
            fatal_calls = {0, false};
            if (done) return;
            const TableHold hold;
            endAttempt(thread);
        }
        DlThread* thread;
        bool done;
    } calls{t, false};
    fatal_calls.running = true;
    for (; fatal_calls.owed > 0; --fatal_calls.owed)
        dlFatal("DeadLock");
    calls.done = true;
}

}  // namespace

int dlMutexInit(DlMutex* m, const pthread_mutexattr_t* attribute, const char* name) {
    m->next_owned = nullptr;
    m->previous_owned = nullptr;
    setOwner(m, nullptr);
    m->name = name;
    m->count.store(0, std::memory_order_relaxed);
    m->first_attempt = nullptr;
    return pthread_mutex_init(&m->real_lock, attribute);
}

// Not inlined and without a tail call: entry 0 of the call stack lies here and entry 1 in mutexGet.
// On a free lock the frame records give the stack. On an owned one the thread is about to wait
// anyway, so `backtrace` gives it, complete also across code without frame records; it runs outside
// dlTableLock, because it may take the loader's lock. Outside an attempt nobody else reads or
// writes a thread's call stack, so it is filled without dlTableLock.
[[gnu::noinline]] int dlMutexLock(DlMutex* m) {
    DlThread* const t = dlCurrentThread();
    if (dlOwns(m)) return dlMutexLockAgain(m);
    Take take;
    if (t->waiting_mutex) [[unlikely]]
        setAside(t, take);
    const bool owned = ownerOf(m) != nullptr;
    if (owned) {
        endCallStack(t, backtrace(t->call_stack, kDlStackRoom));
    } else {
        t->call_stack[0] = reinterpret_cast<void*>(&dlMutexLock);
        endCallStack(t, 1 + walkReturnAddresses(__builtin_frame_address(0), t->call_stack + 1,
                                                kDlStackRoom - 1));
    }
    dlLockTable();
    if (!owned && ownerOf(m)) [[unlikely]] {  // taken meanwhile
        dlUnlockTable();
        endCallStack(t, backtrace(t->call_stack, kDlStackRoom));
        dlLockTable();
    }
    noteAttempt(t, m, take);
    dlUnlockTable();
    if (fatal_calls.owed != 0) [[unlikely]]
        callFatal(t);
    const int code = pthread_mutex_lock(&m->real_lock);
    settleAttempt(t, m, code, take);
    return code;
}

int dlMutexTryLock(DlMutex* m) {
    const int code = pthread_mutex_lock(&m->real_lock);
    if (code != 0) return code;
    DlThread* const t = dlCurrentThread();
    const TableHold hold;
    setWaiters(m, t);
    addToOwned(t, m);
    return 0;
}

int dlMutexUnlock(DlMutex* m) {
    if (dlHoldsTwice(m)) return dlMutexUnlockOnce(m);
    DlThread* const t = dlCurrentThread();
    {
        const TableHold hold;
        if (ownerOf(m) != t) {
            dlPrint("Unlock Mutex (%s) not from the owner\n", m->name);
        } else {
            const std::int32_t count = dlAddToCount(m, -1);
            if (count < 0) dlPrint("MutexCount <0 ???\n");
            if (count == 0) {
                takeFromOwned(t, m);
                clearWaiters(m, t);
            }
        }
    }
    return pthread_mutex_unlock(&m->real_lock);
}

int dlMutexDestroy(DlMutex* m) {
    {
        const TableHold hold;
        if (DlThread* const owner = ownerOf(m)) {
            dlPrint("pthread_mutex_destroy with one owner for mutex (%s)\n", m->name);
            takeFromOwned(owner, m);
            m->count.store(0, std::memory_order_relaxed);
        }
    }
    return pthread_mutex_destroy(&m->real_lock);
}

void dlInit(DlPrintFunction print, DlFatalFunction fatal) {
    pthread_mutex_destroy(&dlTableLock);
    pthread_mutexattr_t attribute;
    pthread_mutexattr_init(&attribute);
    pthread_mutexattr_settype(&attribute, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_init(&dlTableLock, &attribute);
    pthread_mutexattr_destroy(&attribute);
    dlPrint = print ? print : printf;
    dlFatal = fatal ? fatal : dlDefaultFatal;
}
