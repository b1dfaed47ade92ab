#include "util/i_os_file_buffer.h"

#include <unistd.h>

#include <array>
#include <cerrno>
#include <limits>
#include <memory>

#include "util/i_os_file.h"
#include "util/i_os_file_stream.h"
#include "util/i_trace.h"

namespace {

constexpr std::uint16_t kPolynomial = 0x1021;
constexpr std::int32_t kTrailerSize = 8;  // bytes: the body's length and its checksum

using CrcTable = std::array<std::uint16_t, 256>;

constexpr CrcTable makeCrcTable() {
    CrcTable table{};
    for (std::size_t i = 0; i < table.size(); ++i) {
        unsigned crc = static_cast<unsigned>(i) << 8;
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc << 1) ^ (crc & 0x8000 ? kPolynomial : 0);
        table[i] = static_cast<std::uint16_t>(crc);
    }
    return table;
}
constexpr CrcTable kCrcTable = makeCrcTable();

// The checksum of a body: the count that it covers is the low 8 bits of the length.
std::uint32_t bodyChecksum(const char* body, std::int32_t size) {
    return Crc16(static_cast<std::uint8_t>(size), body);
}

bool nextWordIs(std::FILE* stream, std::uint32_t expected) {
    std::uint32_t word = 0;
    return std::fread(&word, sizeof word, 1, stream) == 1 && word == expected;
}

bool trailerHolds(std::FILE* stream, const char* body, std::int32_t size) {
    return nextWordIs(stream, static_cast<std::uint32_t>(size)) &&
           nextWordIs(stream, bodyChecksum(body, size));
}

bool writeTrailer(std::FILE* stream, const char* body, std::int32_t size) {
    const auto length = static_cast<std::uint32_t>(size);
    const std::uint32_t checksum = bodyChecksum(body, size);
    return writeItem(stream, &length, sizeof length) &&
           writeItem(stream, &checksum, sizeof checksum);
}

// How many bytes of the stream are to be read as body. 0 or less means that there is nothing to
// read, or more than a buffer's length can tell.
std::int64_t bodySize(std::FILE* stream, std::int32_t maximum, bool checksum) {
    const std::int64_t end = seekToEnd(stream);
    if (end < 0) return 0;
    const std::int64_t body = end - (checksum ? kTrailerSize : 0);
    if (maximum > 0 && body > maximum) return maximum;
    return body <= std::numeric_limits<std::int32_t>::max() ? body : 0;
}

void dropInconsistent(const char* name) {
    traceTexts("ERROR CreateBufFromFile: Inconsistent binary checksum for file: ", name);
    if (unlink(name) != 0) {
        traceValues("ERROR CreateBufFromFile: unlink failed, errno, file", errno, name, 0);
    }
}

const char* writeMode(bool onto_existing, bool binary) {
    if (onto_existing) return binary ? "r+b" : "r+";
    return binary ? "wb" : "w";
}

}  // namespace

std::uint16_t Crc16(std::uint8_t count, const char* buffer) {
    unsigned crc = 0;
    for (unsigned i = 0; i < count; ++i) {
        const auto byte = static_cast<unsigned char>(buffer[i]);
        crc = ((crc << 8) ^ kCrcTable[(crc >> 8) ^ byte]) & 0xFFFF;
    }
    return static_cast<std::uint16_t>(crc);
}

char* CreateBufFromFile(const char* name, short binary, std::int32_t* size, std::int32_t maximum,
                        short checksum) {
    *size = 0;
    if (!FileExists(name)) return nullptr;
    FileStream stream = openFile(name, binary ? "rb" : "r");
    if (!stream) return nullptr;
    std::int64_t length = bodySize(stream.get(), maximum, checksum != 0);
    *size = static_cast<std::int32_t>(length);
    if (length <= 0) return nullptr;
    auto body = readFromStart(stream.get(), &length);
    if (!body) return nullptr;
    *size = static_cast<std::int32_t>(length);
    const bool consistent = !checksum || trailerHolds(stream.get(), body.get(), *size);
    stream.reset();
    if (consistent) return body.release();
    dropInconsistent(name);
    return nullptr;
}

short WriteBufToFile(const char* name, short binary, const char* buffer, std::int32_t size,
                     short append, short checksum) {
    const FileStream stream = openFile(name, writeMode(append && FileExists(name), binary != 0));
    if (!stream) return 0;
    // Without a buffer of its own the stream tells of a full disk at once, and not at its closing.
    std::setvbuf(stream.get(), nullptr, _IONBF, 0);
    seekToEnd(stream.get());
    if (size <= 0 || !writeItem(stream.get(), buffer, static_cast<std::size_t>(size))) return 0;
    return append || !checksum || writeTrailer(stream.get(), buffer, size);
}
