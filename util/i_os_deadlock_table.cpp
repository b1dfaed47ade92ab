#include "util/i_os_deadlock_table.h"

constinit DlTable dl_table{PTHREAD_MUTEX_INITIALIZER, {false}, {false}};

namespace {

constexpr auto relaxed = std::memory_order_relaxed;
constexpr int kLook = 2;  // pauses between two looks at a flag
// The holder lets the flag fall a moment before the lock.
constexpr int kUnlockTime = 3;

bool claim() {
    return !dl_table.claimed.load(relaxed) && !dl_table.claimed.exchange(true, relaxed);
}

bool isFree() {
    return !dl_table.in_use.load(relaxed);
}

// Gives the part of `patience` that is left.
int waitUntil(bool (*condition)(), int patience) {
    for (; patience > 0 && !condition(); patience -= kLook)
        dlPause(kLook);
    return patience;
}

}  // namespace

void dlPause(int pauses) {
    for (int i = 0; i < pauses; ++i) {
#if defined(__x86_64__)
        __builtin_ia32_pause();
#elif defined(__powerpc__)
        asm volatile("or 27,27,27" ::: "memory");
#endif
    }
}

// A claim of somebody who lost patience, or was stopped, is taken over: it goes with the first
// round that follows.
void dlLockBusyTable() {
    dlPause(kDlRest);
    waitUntil(isFree, waitUntil(claim, kDlPatience));
    dlPause(kUnlockTime);
    pthread_mutex_lock(&dl_table.lock);
    dl_table.in_use.store(true, relaxed);
    dl_table.claimed.store(false, relaxed);
}
