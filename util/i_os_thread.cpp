#include "util/i_os_thread.h"

#include <pthread.h>
#include <time.h>

namespace {
constexpr std::size_t kStackSize = 2097152;  // bytes; a caller's wish for another size is ignored
}

std::uint32_t threadId() {
    return static_cast<std::uint32_t>(static_cast<std::uintptr_t>(pthread_self()));
}

std::uint32_t threadCreate(const char*, ThreadEntry entry, long, long, void* argument, short) {
    pthread_attr_t attribute;
    pthread_attr_init(&attribute);
    pthread_attr_setstacksize(&attribute, kStackSize);
    pthread_t thread{};
    const int code = pthread_create(&thread, &attribute, entry, argument);
    pthread_attr_destroy(&attribute);
    if (code != 0) return 0;
    pthread_detach(thread);
    return static_cast<std::uint32_t>(static_cast<std::uintptr_t>(thread));
}

int threadSleep(std::int32_t milliseconds) {
    const timespec pause{milliseconds / 1000, (milliseconds % 1000) * 1000000L};
    return nanosleep(&pause, nullptr);
}
