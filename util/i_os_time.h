#pragma once
// Time and pipes of the operating-system layer: the thread-safe local time and the pipe wrappers.
//
// Any thread may call everything here. The local time takes "mutex_Systeme", which every stamped
// trace line therefore takes too; it is recursive, so a holder may call in.

#include <cstdint>
#include <ctime>

/// A moment in local time.
struct DateTime {
    std::int32_t year;         ///< four digits
    std::int32_t month;        ///< 1 to 12
    std::int32_t day;          ///< 1 to 31
    std::int32_t hour;         ///< 0 to 23
    std::int32_t minute;       ///< 0 to 59
    std::int32_t second;       ///< 0 to 60
    std::int32_t millisecond;  ///< 0 to 999
};

/// Converts `*time` to local time in `*out` and gives `out`. The only place of the system that
/// calls `localtime`, under "mutex_Systeme". The conversion of a second is remembered until another
/// second is asked for or the variable TZ changes. A time that has no local form gives all zeros.
struct tm* safeLocaltime(struct tm* out, const std::time_t* time);

/// Fills `*out` with the present local time. The millisecond is a reading of its own behind the one
/// of the second, and nothing ties the two together; it is 0 if the clock can't be read finely.
/// A `tm_year` counts from 1900 and is read as two digits: 70 to 99 as 19xx, 0 to 69 as 20xx, so a
/// year from 2070 on falls back by a century.
void getDateTime(DateTime* out);

/// `pipe`, with its result: 0, or -1 with `errno`. Descriptor 0 of the pair reads, 1 writes.
int pipeCreate(int descriptors[2]);
/// `read` and `write` with their results: bytes moved, or -1 with `errno`; no retry, no report.
long pipeRead(int descriptor, void* buffer, unsigned long length);
long pipeWrite(int descriptor, const void* buffer, unsigned long length);
/// `close`, whose result isn't passed on.
void pipeClose(int descriptor);
