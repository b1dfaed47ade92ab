// Threads that share a counter under a Mutex, tell of it by trace lines, and are waited for.

#include <util/i_os.h>
#include <util/i_trace.h>

namespace {

constexpr char SOURCE_MODULE[] = "example";  // names this source in the reports of locks
constexpr int kThreads = 3;
constexpr int kSteps = 1000;
constexpr int kPatience = 10'000;  // ms

Mutex* mutex = nullptr;  // guards `counter`
int counter = 0;

void count() {
    for (int i = 0; i < kSteps; ++i) {
        const MutexHold hold(mutex, SOURCE_MODULE, __LINE__);
        ++counter;
    }
    tracePrintf("%s has counted", threadName());
}

}  // namespace

int main() {
    mutexInit(&mutex, "mutex_counter");  // recursive, named, searched for dead-locks
    int running = 0;
    for (int i = 0; i < kThreads; ++i)
        running += threadStart("Counter", count);
    // Threads are detached, so nobody can join one; those of threadStart can be waited for.
    if (!threadWaitStarted(kPatience)) return 1;
    tracePrintf("together they have counted to %d", counter);
    mutexDestroy(mutex);
    return counter == running * kSteps ? 0 : 1;
}
