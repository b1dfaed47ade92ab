#pragma once
// What the file services share inside: a stream that closes itself, and its size.

#include <cstdio>
#include <memory>

struct FileCloser {
    void operator()(std::FILE* stream) const { std::fclose(stream); }
};

/// A stream that is closed with its owner; null while there is none.
using FileStream = std::unique_ptr<std::FILE, FileCloser>;

inline FileStream openFile(const char* name, const char* mode) {
    return FileStream(std::fopen(name, mode));
}

/// Seeks to the end and gives the position there in bytes; 0 or less if the system doesn't tell.
inline long seekToEnd(std::FILE* stream) {
    return std::fseek(stream, 0, SEEK_END) == 0 ? std::ftell(stream) : -1;
}

/// Writes one item of `size` bytes and tells whether it went out whole. An empty item counts as
/// not written.
inline bool writeItem(std::FILE* stream, const void* item, std::size_t size) {
    return std::fwrite(item, size, 1, stream) == 1;
}
