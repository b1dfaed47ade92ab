#pragma once
// The description of one file, as `get_list_files` lists it. Nothing here takes a lock but the
// printing; an element is used by one thread at a time, like the list that holds it.

#include <sys/stat.h>

#include <cstdint>

#include "util/l_univ_element.h"

/// Name, size and times of one file.
struct DescFile {
    char name[40];             ///< the name in its directory, without path, cut to 39 bytes
    std::int32_t size;         ///< bytes
    std::int32_t access_time;  ///< seconds of `time`
    std::int32_t write_time;   ///< the same
};

/// Writes the byte form for messages: the name with its terminator, then size, access time and
/// write time, 4 bytes each, low byte first. It takes up to 52 bytes.
void putDescFile(const DescFile& file, unsigned char** cursor);

/// Reads what `putDescFile` wrote, with no bound on the source; a longer name is cut to 39 bytes.
void getDescFile(DescFile* file, const unsigned char** cursor);

/// The list element of one file.
class ElDescFile : public elem_list {
  public:
    /// Takes 39 bytes of the name, and size and times as `stat` told them, cut to 32 bits.
    ElDescFile(const char* name, const struct stat& status);
    ~ElDescFile() override;

    /// Writes one line with name, size and both times in local time, through `emit`.
    void print() override;

    DescFile file;  ///< what a caller may read and change
};
