// Threads that share a counter under a Mutex, tell of it by trace lines, and are waited for.

#include <util/i_os.h>
#include <util/i_trace.h>

namespace {

constexpr char SOURCE_MODULE[] = "example";  // names this source in the reports of locks
constexpr int kThreads = 3;
constexpr int kSteps = 1000;

Mutex* mutex = nullptr;  // guards `counter`
int counter = 0;
sem_t* ended = nullptr;  // posted once by each thread: threads are detached, so nobody can join one

void* count(void*) {
    for (int i = 0; i < kSteps; ++i) {
        const MutexHold hold(mutex, SOURCE_MODULE, __LINE__);
        ++counter;
    }
    tracePrintf("%s has counted", threadName());
    // Else the name stays in the table, which has 55 places. A thread as short as this may be here
    // before its entry is made, and is then called "Unknown".
    RemoveThreadFromTb();
    semUnLock(ended);
    return nullptr;
}

}  // namespace

int main() {
    mutexInit(&mutex, "mutex_counter");  // recursive, named, searched for dead-locks
    semInit(&ended, 0);
    int running = 0;
    for (int i = 0; i < kThreads; ++i)
        running += threadCreate("Counter", count, 0, 0, nullptr, 0) != 0;
    for (int i = 0; i < running; ++i)
        semLock(ended, -1);
    tracePrintf("together they have counted to %d", counter);
    const bool complete = counter == running * kSteps;
    semDestroy(ended);
    mutexDestroy(mutex);
    return complete ? 0 : 1;
}
