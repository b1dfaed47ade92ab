#include "util/i_os_mutex.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <mutex>

#include "util/i_os_table.h"
#include "util/i_os_thread.h"
#include "util/i_trace.h"

// Switches, set by the using program, read by every take without a lock.
constinit std::atomic<short> mutexNotes{0};
constinit std::atomic<short> verboseIpc{0};

namespace {

constexpr std::uint32_t kNobody = UINT32_MAX;  // owner id of a free Mutex
constexpr std::size_t kFileTail = 24;          // bytes of a file name in an owner text
constexpr std::size_t kCallStackText = 256;    // bytes: three frame lines and the end line
constexpr int kCallStackFrames = 3;
constexpr char kNoNoteFrom[] = "i_";  // in the file text of the library's own takes

// Numbers of this room's ErrorIpc reports.
constexpr short kInitFamily = 14;
constexpr short kGetFamily = 15;
constexpr short kRelFamily = 16;

// Guards owner text and call-stack text of every Mutex. Innermost: nothing is called under it.
constinit std::mutex notes_guard;

bool notesOn() {
    return mutexNotes.load(std::memory_order_relaxed) != 0;
}

// threadId() of the calling thread, asked for once per thread.
std::uint32_t ownId() {
    static constinit thread_local std::uint32_t id = 0;
    if (id == 0) [[unlikely]]
        id = threadId();
    return id;
}

[[gnu::cold, gnu::noinline]] void reportFailure(short family, const char* operation, int code) {
    ErrorIpc(family, "i_os", operation, code);
}

inline void report(short family, const char* operation, int code) {
    if (code != 0) [[unlikely]]
        reportFailure(family, operation, code);
}

const char* fileTail(const char* file) {
    const std::size_t length = std::strlen(file);
    return file + (length > kFileTail ? length - kFileTail : 0);
}

struct OwnerNotes {
    char owner_text[sizeof Mutex::owner_text] = "";
    char call_stack[kCallStackText] = "";
};

OwnerNotes copyNotes(const Mutex* m) {
    OwnerNotes notes;
    const std::lock_guard guard(notes_guard);
    std::copy(std::begin(m->owner_text), std::end(m->owner_text), notes.owner_text);
    if (const char* const stack = m->call_stack)
        std::copy_n(stack, kCallStackText, notes.call_stack);
    return notes;
}

// Before a take of a held Mutex: who holds it, and where the caller is going to wait. A trace line
// itself takes "mutex_Systeme"; the header tells how that circle ends.
[[gnu::cold]] void noteWait(Mutex* m, const char* verb, const char* file, int line) {
    const std::uint32_t owner = m->owner_id;
    short idle = 0;
    if (owner == kNobody || !m->in_note.compare_exchange_strong(idle, 1)) return;
    const OwnerNotes notes = copyNotes(m);
    tracePrintf("\n  %s mutex %s %d by th %d \n  already got since %s by th %d", verb, file, line,
                static_cast<int>(threadId()), notes.owner_text, static_cast<int>(owner));
    if (notes.call_stack[0]) tracePrintf("\n %s \n", notes.call_stack);
    setThreadWaitNote(file, line);
    m->in_note = 0;
}

// After a take: who holds it now. The call stack is that of the first of several takes.
[[gnu::cold, gnu::noinline]] void writeNotes(Mutex* m, const char* file, int line,
                                             char* call_stack) {
    {
        const std::lock_guard guard(notes_guard);
        std::snprintf(m->owner_text, sizeof m->owner_text, "%s %d", fileTail(file), line);
        if (call_stack) m->call_stack = call_stack;
    }
    setThreadWaitNote(nullptr, -1);
}

[[gnu::cold, gnu::noinline]] char* newCallStackText() {
    return new char[kCallStackText]{};
}

// Inlined, so that the call stack begins in the public operation.
[[gnu::always_inline]] inline void noteTaken(Mutex* m, const char* file, int line) {
    char* call_stack = nullptr;
    if (!m->call_stack) {
        call_stack = newCallStackText();
        tracebackToBuffer(call_stack, kCallStackText, kCallStackFrames);
    }
    writeNotes(m, file, line, call_stack);
}

[[gnu::cold, gnu::noinline]] void clearNotes(Mutex* m) {
    const std::lock_guard guard(notes_guard);
    m->owner_text[0] = '\0';
    delete[] m->call_stack.exchange(nullptr);
}

}  // namespace

void mutexInit(Mutex** out, const char* name) {
    auto* const m = new Mutex{};
    *out = m;
    m->owner_id = kNobody;
    pthread_mutexattr_t attribute;
    pthread_mutexattr_init(&attribute);
    pthread_mutexattr_settype(&attribute, PTHREAD_MUTEX_RECURSIVE);
    report(kInitFamily, "mutexInit", dlMutexInit(&m->lock_record, &attribute, name));
    pthread_mutexattr_destroy(&attribute);
}

// Not inlined: the lock layer's reports leave out this frame.
[[gnu::noinline]] int mutexGet(Mutex* m, const char* file, int line) {
    if (!m) return -1;
    if (notesOn() && !std::strstr(file, kNoNoteFrom)) [[unlikely]]
        noteWait(m, "get", file, line);
    DlMutex* const lock = &m->lock_record;
    const int code = dlOwns(lock) ? dlMutexLockAgain(lock) : dlMutexLock(lock);
    report(kGetFamily, "mutexGet", code);
    if (code != 0) return code;
    if (notesOn()) [[unlikely]]
        noteTaken(m, file, line);
    m->owner_id.store(ownId(), std::memory_order_relaxed);
    return 0;
}

short mutexTry(Mutex* m, const char* file, int line) {
    if (!m) return 0;
    if (notesOn()) [[unlikely]]
        noteWait(m, "try", file, line);
    if (dlMutexTryLock(&m->lock_record) != 0) return 0;
    if (notesOn()) [[unlikely]]
        noteTaken(m, file, line);
    m->owner_id.store(ownId(), std::memory_order_relaxed);
    return 1;
}

int mutexRel(Mutex* m) {
    if (!m) return -1;
    m->owner_id.store(kNobody, std::memory_order_relaxed);
    // A Mutex with an owner text has a call-stack text too.
    if (m->call_stack.load(std::memory_order_relaxed)) [[unlikely]]
        clearNotes(m);
    DlMutex* const lock = &m->lock_record;
    const int code = dlHoldsTwice(lock) ? dlMutexUnlockOnce(lock) : dlMutexUnlock(lock);
    report(kRelFamily, "mutexRel", code);
    return code;
}

void mutexDestroy(Mutex* m) {
    if (!m) return;
    dlMutexDestroy(&m->lock_record);
    delete[] m->call_stack.load();
    delete m;
}

const char* mutexOwnerInfo(Mutex* m, std::uint32_t* id) {
    if (!m) return "";
    static thread_local OwnerNotes shown;
    *id = m->owner_id;
    shown = copyNotes(m);
    return shown.owner_text;
}

Mutex* systemMutex() {
    static Mutex* const instance = [] {
        Mutex* m = nullptr;
        mutexInit(&m, "mutex_Systeme");
        return m;
    }();
    return instance;
}
