#include "util/i_os_time.h"

#include <sys/time.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "util/i_os_mutex.h"

namespace {

constexpr char SOURCE_MODULE[] = "util/i_os";

constexpr int kLastTwoDigitYear = 1899;  // up to here a tm_year is taken for two digits
constexpr int kCenturyTurn = 70;         // two digits below belong to 20xx, from here on to 19xx

// The last conversion of safeLocaltime, guarded by "mutex_Systeme". `localtime` looks at the zone
// file on each call while TZ isn't set, which is most of the price of a trace line; so one second
// is converted once.
struct Conversion {
    static constexpr std::size_t kZoneSize = 64;  // bytes; a longer TZ is never remembered

    bool valid;
    bool zone_set;
    char zone[kZoneSize];
    std::time_t second;
    struct tm local;
};
constinit Conversion last_conversion{};

bool isRemembered(std::time_t second, const char* zone) {
    const Conversion& last = last_conversion;
    if (!last.valid || last.second != second || last.zone_set != (zone != nullptr)) return false;
    return !zone || std::strcmp(zone, last.zone) == 0;
}

void convert(std::time_t second, const char* zone) {
    Conversion& last = last_conversion;
    const struct tm* local = std::localtime(&second);
    last.local = local ? *local : tm{};
    last.second = second;
    last.zone_set = zone != nullptr;
    const std::size_t length = zone ? std::strlen(zone) : 0;
    last.valid = length < Conversion::kZoneSize;
    if (last.valid) std::memcpy(last.zone, zone ? zone : "", length + 1);
}

std::int32_t fullYear(int tm_year) {
    if (tm_year > kLastTwoDigitYear) return tm_year;
    const int two_digits = tm_year % 100;
    return two_digits + (two_digits < kCenturyTurn ? 2000 : 1900);
}

}  // namespace

struct tm* safeLocaltime(struct tm* out, const std::time_t* time) {
    const MutexHold hold(systemMutex(), SOURCE_MODULE, __LINE__);
    const char* const zone = std::getenv("TZ");
    if (!isRemembered(*time, zone)) convert(*time, zone);
    *out = last_conversion.local;
    return out;
}

void getDateTime(DateTime* out) {
    const std::time_t now = std::time(nullptr);
    struct tm local;
    safeLocaltime(&local, &now);
    *out = {fullYear(local.tm_year),
            local.tm_mon + 1,
            local.tm_mday,
            local.tm_hour,
            local.tm_min,
            local.tm_sec,
            0};
    timeval fine;
    if (gettimeofday(&fine, nullptr) == 0) {
        out->millisecond = static_cast<std::int32_t>(fine.tv_usec / 1000);
    }
}

int pipeCreate(int descriptors[2]) {
    return pipe(descriptors);
}

long pipeRead(int descriptor, void* buffer, unsigned long length) {
    return read(descriptor, buffer, length);
}

long pipeWrite(int descriptor, const void* buffer, unsigned long length) {
    return write(descriptor, buffer, length);
}

void pipeClose(int descriptor) {
    close(descriptor);
}
