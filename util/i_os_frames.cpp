#include "util/i_os_frames.h"

#include <pthread.h>

// The walk reads raw stack words, also those between the objects that a sanitizer guards.
#define ZOR_READS_RAW_STACK __attribute__((no_sanitize("address", "thread")))

namespace {

constexpr std::uintptr_t kWord = sizeof(void*);

// Written and read by its own thread only.
constinit thread_local StackBounds own_stack{0, 0};

StackBounds askStack() {
    pthread_attr_t attribute;
    if (pthread_getattr_np(pthread_self(), &attribute) != 0) return {0, 0};
    void* low = nullptr;
    std::size_t size = 0;
    const int code = pthread_attr_getstack(&attribute, &low, &size);
    pthread_attr_destroy(&attribute);
    if (code != 0) return {0, 0};
    const auto start = reinterpret_cast<std::uintptr_t>(low);
    return {start, start + size};
}

inline bool isRecord(std::uintptr_t address, const StackBounds& stack) {
    return address % kWord == 0 && address >= stack.low && address < stack.high &&
           stack.high - address >= 2 * kWord;
}

ZOR_READS_RAW_STACK inline std::uintptr_t wordAt(std::uintptr_t address) {
    return *reinterpret_cast<const volatile std::uintptr_t*>(address);
}

ZOR_READS_RAW_STACK inline std::uintptr_t returnAddress(const FrameRecord& frame,
                                                        const StackBounds& stack) {
#if defined(__powerpc__)
    const bool has_caller = frame.link > frame.address && isRecord(frame.link, stack);
    return has_caller ? wordAt(frame.link + kWord) : 0;
#else
    static_cast<void>(stack);
    return wordAt(frame.address + kWord);
#endif
}

ZOR_READS_RAW_STACK inline bool read(std::uintptr_t address, const StackBounds& stack,
                                     FrameRecord& out) {
    if (!isRecord(address, stack)) return false;
    out.address = address;
    out.link = wordAt(address);
    out.return_address = returnAddress(out, stack);
    return true;
}

}  // namespace

StackBounds ownStack() {
    if (own_stack.high == 0) own_stack = askStack();
    return own_stack;
}

bool readFrame(std::uintptr_t address, const StackBounds& stack, FrameRecord& out) {
    return read(address, stack, out);
}

int walkReturnAddresses(const void* record, void** addresses, int room) {
    const StackBounds stack = ownStack();
    auto address = reinterpret_cast<std::uintptr_t>(record);
    int count = 0;
    FrameRecord frame{};
    while (count < room && read(address, stack, frame) && frame.return_address != 0) {
        addresses[count++] = reinterpret_cast<void*>(frame.return_address);
        if (frame.link <= frame.address) break;
        address = frame.link;
    }
    return count;
}
