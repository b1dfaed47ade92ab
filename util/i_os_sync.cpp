#include "util/i_os_sync.h"

#include <cerrno>
#include <cstring>
#include <thread>

#include "util/i_trace.h"

namespace {

constexpr char SOURCE_MODULE[] = "util/i_os";

constexpr int kSemFailed = -4;  // of semLock's first form
constexpr std::int32_t kWithoutLimit = -1;
constexpr std::int32_t kOpen = -1;  // waiters of an open gate, lowered by each that leaves

// Numbers of this room's ErrorIpc reports.
constexpr short kInitFamily = 18;
constexpr short kLockFamily = 19;
constexpr short kUnLockFamily = 20;

// Leaves `errno` as the failed call set it, so that a caller can tell a signal from a fault.
bool succeeded(int code, short family, const char* operation) {
    if (code == 0) return true;
    const int reason = errno;
    ErrorIpc(family, "i_os", operation, code);
    errno = reason;
    return false;
}

char* heapCopy(const char* text) {
    if (!text) return nullptr;
    const std::size_t size = std::strlen(text) + 1;
    return static_cast<char*>(std::memcpy(new char[size], text, size));
}

// Marks that a thread is inside a gate's operation, so that the gate's parts outlive it. Marked
// before `closed` is read, and read by gateDestroy after `closed` is set: one of the two sees the
// other.
class GateVisit {
  public:
    explicit GateVisit(Gate* gate) : gate_(gate) { ++gate_->visitors; }
    ~GateVisit() { --gate_->visitors; }
    GateVisit(const GateVisit&) = delete;
    GateVisit& operator=(const GateVisit&) = delete;

  private:
    Gate* gate_;
};

}  // namespace

short semInit(sem_t** out, unsigned initial) {
    *out = new sem_t{};
    return succeeded(sem_init(*out, 0, initial), kInitFamily, "semInit");
}

int semLock(sem_t* semaphore, long, long) {
    return semLock(semaphore, kWithoutLimit) ? 0 : kSemFailed;
}

short semLock(sem_t* semaphore, std::int32_t wait) {
    if (!semaphore) return 0;
    if (wait == 0) return sem_trywait(semaphore) == 0;
    return succeeded(sem_wait(semaphore), kLockFamily, "semLock");
}

short semUnLock(sem_t* semaphore) {
    return semaphore && succeeded(sem_post(semaphore), kUnLockFamily, "semUnLock");
}

short semDestroy(sem_t* semaphore) {
    if (!semaphore) return 0;
    sem_destroy(semaphore);
    delete semaphore;
    return 1;
}

void rwInit(ReadWriteLock* lock) {
    semInit(&lock->semaphore, 1);
    mutexInit(&lock->mutex, "mutex");
    lock->writers = 0;
    lock->readers = 0;
    lock->note = nullptr;
}

void rwDestroy(ReadWriteLock* lock) {
    semDestroy(lock->semaphore);
    lock->semaphore = nullptr;
    mutexDestroy(lock->mutex);
    lock->mutex = nullptr;
    delete[] lock->note;
    lock->note = nullptr;
}

short rwLock(ReadWriteLock* lock, short exclusive, std::int32_t wait, const char* note) {
    mutexGet(lock->mutex, SOURCE_MODULE, __LINE__);
    if (exclusive || lock->readers <= 0) {
        mutexRel(lock->mutex);
        if (!semLock(lock->semaphore, wait)) return 0;
        mutexGet(lock->mutex, SOURCE_MODULE, __LINE__);
    }
    delete[] lock->note;
    lock->note = heapCopy(note);
    ++(exclusive ? lock->writers : lock->readers);
    mutexRel(lock->mutex);
    return 1;
}

short rwLock(ReadWriteLock* lock, short exclusive, std::int32_t wait) {
    return rwLock(lock, exclusive, wait, nullptr);
}

short rwLock(ReadWriteLock* lock, short exclusive) {
    return rwLock(lock, exclusive, kWithoutLimit, nullptr);
}

void rwUnlock(ReadWriteLock* lock, short exclusive) {
    const MutexHold hold(lock->mutex, SOURCE_MODULE, __LINE__);
    short& holders = exclusive ? lock->writers : lock->readers;
    --holders;
    if (exclusive || holders <= 0) semUnLock(lock->semaphore);
}

void gateInit(Gate* gate) {
    mutexInit(&gate->mutex, "mutex");
    const MutexHold hold(gate->mutex, SOURCE_MODULE, __LINE__);
    semInit(&gate->semaphore, 0);
    gate->waiters = 0;
    gate->closed = 0;
    gate->visitors = 0;
}

void gateDestroy(Gate* gate) {
    gateOpen(gate);
    gate->closed = 1;
    // Everyone inside has its post or finds the gate open, so this ends within moments.
    while (gate->visitors != 0)
        std::this_thread::yield();
    semDestroy(gate->semaphore);
    gate->semaphore = nullptr;
    mutexDestroy(gate->mutex);
    gate->mutex = nullptr;
}

short gateWait(Gate* gate, std::int32_t wait) {
    const GateVisit visit(gate);
    if (gate->closed) return 0;
    {
        const MutexHold hold(gate->mutex, SOURCE_MODULE, __LINE__);
        if (gate->waiters < 0) return 1;
        ++gate->waiters;
    }
    const short released = semLock(gate->semaphore, wait);
    if (gate->closed) return 0;
    const MutexHold hold(gate->mutex, SOURCE_MODULE, __LINE__);
    --gate->waiters;
    return released;
}

short gateWait(Gate* gate) {
    return gateWait(gate, kWithoutLimit);
}

void gateOpen(Gate* gate) {
    const GateVisit visit(gate);
    if (gate->closed) return;
    const MutexHold hold(gate->mutex, SOURCE_MODULE, __LINE__);
    for (std::int32_t i = 0; i < gate->waiters; ++i)
        semUnLock(gate->semaphore);
    gate->waiters = kOpen;
}
