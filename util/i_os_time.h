#pragma once

#include <cstdint>
#include <ctime>

struct DateTime {
    std::int32_t year;
    std::int32_t month;
    std::int32_t day;
    std::int32_t hour;
    std::int32_t minute;
    std::int32_t second;
    std::int32_t millisecond;
};

struct tm* safeLocaltime(struct tm* out, const std::time_t* time);
void getDateTime(DateTime* out);

int pipeCreate(int descriptors[2]);
long pipeRead(int descriptor, void* buffer, unsigned long length);
long pipeWrite(int descriptor, const void* buffer, unsigned long length);
void pipeClose(int descriptor);
