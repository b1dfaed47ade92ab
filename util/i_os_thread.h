#pragma once

#include <cstdint>

using ThreadEntry = void* (*)(void* argument);

std::uint32_t threadCreate(const char* name, ThreadEntry entry, long ignored1, long ignored2,
                           void* argument, short ignored3);
std::uint32_t threadId();
[[noreturn]] void threadExit();
int threadSleep(std::int32_t milliseconds);
int threadYield();
