#include "util/i_os_task.h"

#include <atomic>
#include <chrono>
#include <memory>
#include <utility>

#include "util/i_os_sync.h"
#include "util/i_os_table.h"
#include "util/i_os_thread.h"

namespace {

constexpr std::int32_t kWithoutLimit = -1;
constexpr std::int32_t kLook = 10;  // ms between two looks at the count

std::atomic<int> running{0};  // threads of threadStart, counted before they exist

/// What the starter and the thread share, because either may be the last to look at `entered`.
struct Task {
    explicit Task(std::function<void()> task) : work(std::move(task)) { semInit(&entered, 0); }
    ~Task() { semDestroy(entered); }
    Task(const Task&) = delete;
    Task& operator=(const Task&) = delete;

    std::function<void()> work;
    sem_t* entered = nullptr;  // posted when the thread stands in the table
};

void* run(void* argument) {
    {
        const std::unique_ptr<std::shared_ptr<Task>> task(
            static_cast<std::shared_ptr<Task>*>(argument));
        while (!semLock((*task)->entered, kWithoutLimit)) {
        }  // a signal has ended the wait, the post still comes
        (*task)->work();
        (*task)->work = nullptr;
        RemoveThreadFromTb();
    }
    --running;
    return nullptr;
}

}  // namespace

short threadStart(const char* name, std::function<void()> work) {
    const auto task = std::make_shared<Task>(std::move(work));
    auto argument = std::make_unique<std::shared_ptr<Task>>(task);
    ++running;
    if (!threadCreate(name, run, 0, 0, argument.get(), 0)) {
        --running;
        return 0;
    }
    static_cast<void>(argument.release());  // the thread owns it
    semUnLock(task->entered);
    return 1;
}

short threadWaitStarted(std::int32_t limit) {
    const auto start = std::chrono::steady_clock::now();
    while (running > 0) {
        if (std::chrono::steady_clock::now() - start >= std::chrono::milliseconds(limit)) return 0;
        threadSleep(kLook);
    }
    return 1;
}
