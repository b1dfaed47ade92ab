#include "simulator/sim_thread.h"

#include <sys/mman.h>

#include <new>
#include <utility>

#include "simulator/sim_log.h"
#include "util/i_os.h"

namespace {

// A thread that has begun can't do without a record of its locks, whose lack ends the process. So
// none is started unless its stack and some more are there.
constexpr std::size_t kSpare = 6'000'000;  // bytes, which nothing touches

bool isMemoryLeft() {
    void* const spare =
        ::mmap(nullptr, kSpare, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    return spare != MAP_FAILED && ::munmap(spare, kSpare) == 0;
}

}  // namespace

bool simStartThread(const std::string& name, std::function<void()> work) {
    if (!isMemoryLeft()) return false;
    return threadStart(name.c_str(), [work = std::move(work)] {
               try {
                   work();
               } catch (const std::bad_alloc&) {
                   simTellLack("a thread ends: no memory");
               }
           }) != 0;
}

void simTake(sem_t* semaphore) {
    while (!semLock(semaphore, -1))
        threadYield();
}
