#pragma once
// Whole files from and to memory, and the checksummed buffer file.
//
// A checksummed file is its body of n bytes, then n and the checksum as two 32-bit words in the
// machine's own byte order: it only checks on a machine of the same order. The checksum covers the
// first (n mod 256) bytes of the body and no more, since its byte count has 8 bits; stored files
// depend on that. docs/checksummed-file.md shows the layout.
//
// Every call works on a stream of its own and takes no lock; two threads on one file aren't
// coordinated. All names are terminated and not null.

#include <cstdint>

/// CRC-16/XMODEM (polynomial 0x1021, initial value 0) of the first `count` bytes of `buffer`.
std::uint16_t Crc16(std::uint8_t count, const char* buffer);

/// Reads a file into a buffer of `new char[]` that belongs to the caller, with a terminator behind
/// the last byte, and stores the number of bytes in `*size`.
///
/// A `maximum` above 0 bounds the bytes read. With `checksum` the last 8 bytes are the trailer and
/// don't count; the two aren't used together. Gives null, with nothing removed, if the file is
/// absent, can't be opened, is a directory or something else without a size, holds nothing (with
/// `checksum`: 8 bytes or less, which leaves -8 to 0 in `*size`), or has more to read than `*size`
/// can tell (2,147,483,647 bytes) or than there is memory for. A file that fails its check is
/// traced and removed: null, with the length of its body in `*size`. So a file without a trailer is
/// lost when it is read with `checksum`.
char* CreateBufFromFile(const char* name, short binary, std::int32_t* size, std::int32_t maximum,
                        short checksum);

/// Writes `size` bytes to a file and gives 1 if all of them went out, else 0, as for a size of 0 or
/// less. A plain write makes or truncates the file, and with `checksum` adds the trailer. `append`
/// writes behind what an existing file holds, or makes the file, and never adds a trailer.
short WriteBufToFile(const char* name, short binary, const char* buffer, std::int32_t size,
                     short append, short checksum);
