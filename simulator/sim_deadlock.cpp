#include "simulator/sim_deadlock.h"

#include <atomic>
#include <cstdarg>
#include <memory>
#include <utility>

#include "simulator/sim_log.h"
#include "simulator/sim_text.h"
#include "simulator/sim_thread.h"
#include "util/i_os.h"

namespace {

constexpr char SOURCE_MODULE[] = "simulator/sim_deadlock";

/// The two locks, the meeting point, and the report. Shared by both threads and the one that waits.
struct Ring {
    Ring() {
        mutexInit(&locks[0], "sim_lines");
        mutexInit(&locks[1], "sim_calls");
        for (sem_t*& semaphore : met)
            semInit(&semaphore, 0);
        semInit(&done, 0);
    }
    ~Ring() {
        for (Mutex* const lock : locks)
            mutexDestroy(lock);
        for (sem_t* const semaphore : met)
            semDestroy(semaphore);
        semDestroy(done);
    }
    Ring(const Ring&) = delete;
    Ring& operator=(const Ring&) = delete;

    Mutex* locks[2];
    sem_t* met[2] = {};  // each posted by one thread once it holds its first lock
    sem_t* done;         // posted by each thread at its end
    std::string report;  // written by the one thread that reports, read behind `done`
};

/// What the calling thread holds of a ring.
struct Part {
    Ring& ring;
    Mutex* held;
};

// The part of the calling thread, for the fatal function; null on threads that take none.
thread_local Part* own_part = nullptr;
// What the lock layer has printed on this thread. It takes no lock: the layer's own is held then,
// and a wait for a Mutex under it could stop every thread that wants to give one back.
thread_local std::string printed;
thread_local std::string begun;  // the line of it that isn't in the log yet

std::atomic<bool> under_way{false};

[[gnu::format(printf, 1, 2)]] int print(const char* format, ...) {
    va_list values;
    va_start(values, format);
    const std::string text = simTextOf(format, values);
    va_end(values);
    if (own_part) printed += text;
    begun += text;
    if (text.ends_with('\n')) simLog(std::exchange(begun, {}).c_str());
    return static_cast<int>(text.size());
}

// On the reporting thread, with no lock of the layer held. A dead-lock of the server's own, which
// nobody has made on purpose, stays: its report stands in the server's output.
void fatal(const char* text) {
    simLog(text);
    const std::string report = std::exchange(printed, {}) + text + "\n";
    if (!own_part) return;
    own_part->ring.report = report;
    mutexRel(std::exchange(own_part->held, nullptr));
}

// Thread `me` of the two: takes its own lock, waits for the other thread, asks for the other's.
void takeBoth(Ring& ring, int me) {
    const int other = 1 - me;
    mutexGet(ring.locks[me], SOURCE_MODULE, __LINE__);
    Part part{ring, ring.locks[me]};
    own_part = &part;
    semUnLock(ring.met[me]);
    simTake(ring.met[other]);
    mutexGet(ring.locks[other], SOURCE_MODULE, __LINE__);
    mutexRel(ring.locks[other]);
    mutexRel(part.held);
    own_part = nullptr;
    semUnLock(ring.done);
}

bool runRing(const std::shared_ptr<Ring>& ring) {
    if (!simStartThread("Lines", [ring] { takeBoth(*ring, 0); })) return false;
    if (!simStartThread("Calls", [ring] { takeBoth(*ring, 1); })) {
        semUnLock(ring->met[1]);  // the first one goes on alone
        return false;
    }
    simTake(ring->done);
    simTake(ring->done);
    return true;
}

}  // namespace

void simInstallDeadLockReport() {
    dlInit(print, fatal);
}

std::string simDeadLock() {
    if (under_way.exchange(true)) return "";
    const auto ring = std::make_shared<Ring>();
    const bool ran = runRing(ring);
    under_way = false;
    return ran ? ring->report : "";
}
