#pragma once
// What the file services and the string's file constructor share inside: a stream that closes
// itself, its size, and what stands in it. Sizes are 64 bits wide on both machines.

#include <sys/stat.h>

#include <cstdint>
#include <cstdio>
#include <limits>
#include <memory>
#include <new>

/// Ends a stream by `fclose`, whose result nobody asks for here.
struct FileCloser {
    /// Closes it.
    void operator()(std::FILE* stream) const { std::fclose(stream); }
};

/// A stream that is closed with its owner; null while there is none.
using FileStream = std::unique_ptr<std::FILE, FileCloser>;

/// `fopen`; null, with `errno`, where it fails.
inline FileStream openFile(const char* name, const char* mode) {
    return FileStream(std::fopen(name, mode));
}

/// Seeks to the end and gives the position there in bytes, or -1 where that is no size: in a pipe,
/// and in a directory, which opens for reading and has an end that means nothing.
inline std::int64_t seekToEnd(std::FILE* stream) {
    struct stat status;
    if (fstat(fileno(stream), &status) == 0 && S_ISDIR(status.st_mode)) return -1;
    return fseeko(stream, 0, SEEK_END) == 0 ? ftello(stream) : -1;
}

/// Reads up to `*size` bytes from the start into a buffer with a terminator behind them; `*size`
/// becomes what came. Null, with `*size` as it was, if the memory can't be had.
inline std::unique_ptr<char[]> readFromStart(std::FILE* stream, std::int64_t* size) {
    if (*size >= std::numeric_limits<std::ptrdiff_t>::max()) return nullptr;
    const auto wanted = static_cast<std::size_t>(*size);
    std::unique_ptr<char[]> buffer(new (std::nothrow) char[wanted + 1]);
    if (!buffer) return nullptr;
    std::rewind(stream);
    const std::size_t got = std::fread(buffer.get(), 1, wanted, stream);
    buffer[got] = '\0';
    *size = static_cast<std::int64_t>(got);
    return buffer;
}

/// Writes one item of `size` bytes and tells whether it went out whole. An empty item counts as
/// not written.
inline bool writeItem(std::FILE* stream, const void* item, std::size_t size) {
    return std::fwrite(item, size, 1, stream) == 1;
}
