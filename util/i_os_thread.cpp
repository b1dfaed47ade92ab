#include "util/i_os_thread.h"

#include <pthread.h>
#include <time.h>

#include "util/i_os_table.h"
#include "util/i_trace.h"

namespace {

constexpr std::size_t kStackSize = 2097152;  // bytes; a caller's wish for another size is ignored
constexpr std::int32_t kYieldTime = 10;      // ms
constexpr short kThreadFamily = 11;          // what the reports of this room are numbered with

int exit_value = 0;  // what a pointer to a thread's result leads to; never written

bool reportFailure(const char* operation, int code) {
    if (code != 0) ErrorIpc(kThreadFamily, "i_os", operation, code);
    return code != 0;
}

std::uint32_t idOf(pthread_t thread) {
    return static_cast<std::uint32_t>(static_cast<std::uintptr_t>(thread));
}

}  // namespace

std::uint32_t threadCreate(const char* name, ThreadEntry entry, long, long, void* argument, short) {
    pthread_attr_t attribute{};
    reportFailure("threadInit", pthread_attr_init(&attribute));
    reportFailure("threadSetStacksize", pthread_attr_setstacksize(&attribute, kStackSize));
    pthread_t thread{};
    const int code = pthread_create(&thread, &attribute, entry, argument);
    pthread_attr_destroy(&attribute);
    if (reportFailure("threadCreate", code)) return 0;
    const std::uint32_t id = idOf(thread);
    // Detached only behind its entry: until then the id can't pass on to another thread.
    PutThreadInTbThread(name, id, id);
    pthread_detach(thread);
    return id;
}

std::uint32_t threadId() {
    return idOf(pthread_self());
}

void threadExit() {
    pthread_exit(&exit_value);
}

int threadSleep(std::int32_t milliseconds) {
    const timespec pause{milliseconds / 1000, (milliseconds % 1000) * 1000000L};
    return nanosleep(&pause, nullptr);
}

int threadYield() {
    return threadSleep(kYieldTime);
}
