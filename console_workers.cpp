#include "console_workers.h"

#include <chrono>

namespace {

constexpr long kStackWish = 8192;  // bytes; threadCreate gives every thread the same stack

}  // namespace

bool SessionWorkers::start(const char* name, ThreadEntry entry) {
    {
        const std::lock_guard hold(guard_);
        ended_ = false;
        ++running_;
    }
    if (threadCreate(name, entry, 0, kStackWish, nullptr, 0) != 0) return true;
    leave();
    return false;
}

void SessionWorkers::leave() {
    const std::lock_guard hold(guard_);
    --running_;
    changed_.notify_all();
}

bool SessionWorkers::waitForEnd(std::int32_t milliseconds) {
    std::unique_lock hold(guard_);
    return changed_.wait_for(hold, std::chrono::milliseconds(milliseconds),
                             [this] { return ended_; });
}

void SessionWorkers::endSession() {
    std::unique_lock hold(guard_);
    ended_ = true;
    changed_.notify_all();
    changed_.wait(hold, [this] { return running_ == 0; });
}
