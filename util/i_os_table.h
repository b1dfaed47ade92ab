#pragma once

#include <cstdint>

class CharString;

void PutThreadInTbThread(const char* name, std::uint32_t handle, std::uint32_t id);
void RemoveThreadFromTb();
const char* threadName();
void setThreadTrace(std::int32_t mark);
void setThreadWaitNote(const char* file, int line);
short threadSuspend(std::uint32_t id);
short threadResume(std::uint32_t id);
void listThreads(CharString& text);
void tracebackToBuffer(char* text, int size, int limit);
void tracebackToTrace();
