#pragma once
// Stands before the library's allocation that may fail, so that it fails alike on every machine.

#include <cstddef>
#include <new>

constexpr std::size_t kMostMemory = 1 << 30;   // what such an allocation gets at most, in bytes
inline std::size_t most_memory = kMostMemory;  // a test may choose less

void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return size > most_memory ? nullptr : ::operator new[](size);
}
