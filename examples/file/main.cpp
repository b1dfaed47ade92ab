// A file with a checksum: written, read back, damaged, refused.

#include <util/i_os.h>
#include <util/i_trace.h>

#include <cstdio>
#include <cstring>
#include <memory>

int main(int count, char** words) {
    if (count != 2) {
        std::fprintf(stderr, "Usage: file NAME\n");
        return 2;
    }
    const char* const name = words[1];
    const char body[] = "seven lines are busy";
    const auto size = static_cast<std::int32_t>(sizeof body);
    if (!WriteBufToFile(name, 1, body, size, 0, 1)) return 1;

    std::int32_t length = 0;
    std::unique_ptr<char[]> read(CreateBufFromFile(name, 1, &length, 0, 1));
    if (!read || length != size || std::memcmp(read.get(), body, sizeof body) != 0) return 1;
    tracePrintf("read back: %s", read.get());

    // Of this short body every byte is covered; of a long one the first ones only.
    std::FILE* file = std::fopen(name, "r+");
    if (!file) return 1;
    std::fputc('S', file);
    std::fclose(file);
    read.reset(CreateBufFromFile(name, 1, &length, 0, 1));
    tracePrintf("damaged: %s", read ? "taken" : "refused, and the file is removed");
    return read || FileExists(name) ? 1 : 0;
}
