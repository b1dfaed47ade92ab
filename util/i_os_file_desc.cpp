#include "util/i_os_file_desc.h"

#include <cstdio>
#include <ctime>

#include "util/i_msg_stream.h"
#include "util/i_os_time.h"

namespace {

struct tm localTime(std::int32_t seconds) {
    const std::time_t moment = seconds;
    struct tm local;
    return *safeLocaltime(&local, &moment);
}

}  // namespace

void putDescFile(const DescFile& file, unsigned char** cursor) {
    PutText(file.name, cursor);
    PutLong(file.size, cursor);
    PutLong(file.access_time, cursor);
    PutLong(file.write_time, cursor);
}

void getDescFile(DescFile* file, const unsigned char** cursor) {
    GetText(file->name, cursor, sizeof file->name, nullptr);
    GetLong(&file->size, cursor, nullptr);
    GetLong(&file->access_time, cursor, nullptr);
    GetLong(&file->write_time, cursor, nullptr);
}

ElDescFile::ElDescFile(const char* name, const struct stat& status)
    : elem_list(t_desc_file),
      file{"", static_cast<std::int32_t>(status.st_size),
           static_cast<std::int32_t>(status.st_atime), static_cast<std::int32_t>(status.st_mtime)} {
    std::snprintf(file.name, sizeof file.name, "%s", name);
}

ElDescFile::~ElDescFile() = default;

void ElDescFile::print() {
    const struct tm a = localTime(file.access_time);
    const struct tm w = localTime(file.write_time);
    char line[160];
    std::snprintf(line, sizeof line,
                  "%25s: %7ld, a: %.2d-%.2d-%.2d %.2dh%.2d:%.2d, w: %.2d-%.2d-%.2d "
                  "%.2dh%.2d:%.2d\n",
                  file.name, static_cast<long>(file.size), a.tm_year % 100, a.tm_mon + 1, a.tm_mday,
                  a.tm_hour, a.tm_min, a.tm_sec, w.tm_year % 100, w.tm_mon + 1, w.tm_mday,
                  w.tm_hour, w.tm_min, w.tm_sec);
    CharString text(line);
    emit(text);
}
