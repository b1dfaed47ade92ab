#pragma once
// What this process has in memory, and whether that is its own.

#include <fstream>
#include <string>

// A sanitizer keeps freed memory for its reports, and an emulator's memory is its own.
#ifndef __has_feature
#define __has_feature(name) 0  // only clang has the question
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || \
    __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
constexpr bool kOwnMemory = false;
#else
constexpr bool kOwnMemory = ZOR_EMULATOR[0] == '\0';
#endif

inline long residentKilobytes() {
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;) {
        if (word != "VmRSS:") continue;
        long kilobytes = 0;
        status >> kilobytes;
        return kilobytes;
    }
    return 0;
}
