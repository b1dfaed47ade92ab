#include "simulator/sim_thread.h"

#include <sys/mman.h>

#include <atomic>
#include <memory>
#include <new>
#include <utility>

#include "simulator/sim_log.h"
#include "util/i_os.h"

namespace {

constexpr std::int32_t kLook = 10;  // ms between two looks at the count

// A thread that has begun can't do without a record of its locks, whose lack ends the process. So
// none is started unless its stack and some more are there.
constexpr std::size_t kSpare = 6'000'000;  // bytes, which nothing touches

bool isMemoryLeft() {
    void* const spare =
        ::mmap(nullptr, kSpare, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    return spare != MAP_FAILED && ::munmap(spare, kSpare) == 0;
}

std::atomic<int> running{0};

/// What the starter and the thread share. The thread waits for `entered`: if it were done before
/// its entry in the table is made, the entry would stay for ever.
struct Start {
    explicit Start(std::function<void()> task) : work(std::move(task)) { semInit(&entered, 0); }
    ~Start() { semDestroy(entered); }
    Start(const Start&) = delete;
    Start& operator=(const Start&) = delete;

    std::function<void()> work;
    sem_t* entered = nullptr;
};

void runWork(const std::function<void()>& work) {
    try {
        work();
    } catch (const std::bad_alloc&) {
        simTellLack("a thread ends: no memory");
    }
}

void* run(void* argument) {
    {
        const std::unique_ptr<std::shared_ptr<Start>> start(
            static_cast<std::shared_ptr<Start>*>(argument));
        simTake((*start)->entered);
        runWork((*start)->work);
        (*start)->work = nullptr;  // what it holds ends before the thread counts as gone
        RemoveThreadFromTb();
    }
    --running;
    return nullptr;
}

}  // namespace

bool simStartThread(const std::string& name, std::function<void()> work) {
    if (!isMemoryLeft()) return false;
    const auto start = std::make_shared<Start>(std::move(work));
    auto argument = std::make_unique<std::shared_ptr<Start>>(start);
    ++running;
    if (!threadCreate(name.c_str(), run, 0, 0, argument.get(), 0)) {
        --running;
        return false;
    }
    static_cast<void>(argument.release());  // the thread owns it
    semUnLock(start->entered);
    return true;
}

bool simWaitForThreads(std::int32_t limit) {
    for (std::int32_t waited = 0; running > 0 && waited < limit; waited += kLook)
        threadSleep(kLook);
    return running == 0;
}

void simTake(sem_t* semaphore) {
    while (!semLock(semaphore, -1))
        threadYield();
}
