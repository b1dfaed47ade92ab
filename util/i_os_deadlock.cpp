#include "util/i_os_deadlock.h"

#include <execinfo.h>

#include <algorithm>
#include <array>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <new>

#include "util/i_assert.h"
#include "util/i_os_frames.h"

// Process-wide state, constant-initialised. All of it is guarded by dlTableLock, but the two
// function slots, which are set before a second thread uses a lock.
constinit DlThread* dlThreadList = nullptr;
pthread_mutex_t dlTableLock = PTHREAD_MUTEX_INITIALIZER;

namespace {

constexpr char SOURCE_MODULE[] = "util/i_os";

void dlDefaultFatal(const char* text);

DlPrintFunction dlPrint = printf;
DlFatalFunction dlFatal = dlDefaultFatal;
constinit unsigned thread_count = 0;  // records in dlThreadList

// The caller's record once it has one; spares the walk of dlThreadList.
constinit thread_local DlThread* own_record = nullptr;

// Entries of a call stack that no report shows: they lie in this layer and in mutexGet.
constexpr int kHiddenFrames = 2;

void dlDefaultFatal(const char* text) {
    dlPrint("%s\n", text);
}

class TableHold {
  public:
    TableHold() { pthread_mutex_lock(&dlTableLock); }
    ~TableHold() { pthread_mutex_unlock(&dlTableLock); }
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
    own_record = findOrAddRecord();
    return own_record;
}

inline DlThread* dlCurrentThread() {
    return own_record ? own_record : makeOwnRecord();
}

inline DlThread* ownerOf(const DlMutex* m) {
    return m->owner.load(std::memory_order_relaxed);
}

inline void setOwner(DlMutex* m, DlThread* owner) {
    m->owner.store(owner, std::memory_order_relaxed);
}

void beginAttempt(DlThread* t, DlMutex* m) {
    t->waiting_mutex = m;
    t->waiting_thread = ownerOf(m);
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
        if (r != new_owner) r->waiting_thread = new_owner;
    }
}

void clearWaiters(const DlMutex* m, const DlThread* old_owner) {
    for (DlThread* r = m->first_attempt; r; r = r->next_attempt) {
        // The old owner stands here itself if its fatal function got the lock that it reported.
        if (r->waiting_thread != old_owner && r != old_owner)
            dlPrint("RemoveThreadWaiting Invalid data\n");
        r->waiting_thread = nullptr;
    }
}

void addToOwned(DlThread* t, DlMutex* m) {
    if (m->count == 0) {
        setOwner(m, t);
        m->next_owned = t->owned;
        m->previous_owned = nullptr;
        if (t->owned) t->owned->previous_owned = m;
        t->owned = m;
    }
    ++m->count;
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

bool closesCycle(const DlMutex* m, const DlThread* t) {
    const DlThread* p = ownerOf(m);
    for (unsigned steps = 0; p && steps < thread_count; ++steps) {
        if (p == t) return true;
        p = p->waiting_thread;
    }
    return false;
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

// What a take has to remember between its two rounds on the tables. A print or fatal function that
// takes a Mutex makes an attempt inside the one that is being reported; the outer one comes back
// when the inner one ends.
struct Take {
    DlMutex* outer = nullptr;
    std::array<void*, kDlStackRoom> outer_stack;  // set with `outer`
    bool dead_lock = false;
};

// Sets an attempt aside for another one of the same thread.
[[gnu::cold]] void interruptAttempt(DlThread* t, Take& take) {
    const TableHold hold;
    take.outer = t->waiting_mutex;
    std::copy_n(t->call_stack, kDlStackRoom, take.outer_stack.begin());
    endAttempt(t);
}

void endCallStack(DlThread* t, int frames) {
    if (frames < kDlStackRoom) t->call_stack[frames] = nullptr;
}

// The round before the wait, with dlTableLock held: notes the attempt and searches. A ring met
// inside a report isn't told: it may be the reported one, and its report would meet it again,
// without end.
void noteAttempt(DlThread* t, DlMutex* m, Take& take) {
    beginAttempt(t, m);
    if (closesCycle(m, t) && !take.outer) [[unlikely]] {
        take.dead_lock = true;
        printDeadLock(t, m);
    }
}

// The round after the wait, which ended with `code`.
void settleAttempt(DlThread* t, DlMutex* m, int code, const Take& take) {
    const TableHold hold;
    endAttempt(t);
    if (code == 0) {
        setWaiters(m, t);
        addToOwned(t, m);
    }
    if (take.outer) [[unlikely]] {
        std::copy_n(take.outer_stack.begin(), kDlStackRoom, t->call_stack);
        beginAttempt(t, take.outer);
    }
}

// A fatal function may end its thread, which unwinds through here. No attempt may stay behind then:
// a later thread takes the record over, and the lock may be gone.
[[gnu::cold, gnu::noinline]] void callFatal(DlThread* t) {
    struct Attempt {
        ~Attempt() {
            if (goes_on) return;
            const TableHold hold;
            endAttempt(thread);
        }
        DlThread* thread;
        bool goes_on;
    } attempt{t, false};
    dlFatal("DeadLock");
    attempt.goes_on = true;
}

}  // namespace

int dlMutexInit(DlMutex* m, const pthread_mutexattr_t* attribute, const char* name) {
    m->next_owned = nullptr;
    m->previous_owned = nullptr;
    setOwner(m, nullptr);
    m->name = name;
    m->count = 0;
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
    // Only the thread itself makes itself the owner, so this needs no table lock, and neither does
    // the count of a lock that it owns.
    if (ownerOf(m) == t) {
        const int code = pthread_mutex_lock(&m->real_lock);
        if (code == 0) ++m->count;
        return code;
    }
    Take take;
    if (t->waiting_mutex) [[unlikely]]
        interruptAttempt(t, take);
    const bool owned = ownerOf(m) != nullptr;
    if (owned) {
        endCallStack(t, backtrace(t->call_stack, kDlStackRoom));
    } else {
        t->call_stack[0] = reinterpret_cast<void*>(&dlMutexLock);
        endCallStack(t, 1 + walkReturnAddresses(__builtin_frame_address(0), t->call_stack + 1,
                                                kDlStackRoom - 1));
    }
    pthread_mutex_lock(&dlTableLock);
    if (!owned && ownerOf(m)) [[unlikely]] {  // taken meanwhile
        pthread_mutex_unlock(&dlTableLock);
        endCallStack(t, backtrace(t->call_stack, kDlStackRoom));
        pthread_mutex_lock(&dlTableLock);
    }
    noteAttempt(t, m, take);
    pthread_mutex_unlock(&dlTableLock);
    if (take.dead_lock) [[unlikely]]
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
    DlThread* const t = dlCurrentThread();
    if (ownerOf(m) == t && m->count > 1) {  // a recursive hold goes on, seen by its owner alone
        --m->count;
        return pthread_mutex_unlock(&m->real_lock);
    }
    {
        const TableHold hold;
        if (ownerOf(m) != t) {
            dlPrint("Unlock Mutex (%s) not from the owner\n", m->name);
        } else {
            if (--m->count < 0) dlPrint("MutexCount <0 ???\n");
            if (m->count == 0) {
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
            m->count = 0;
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
