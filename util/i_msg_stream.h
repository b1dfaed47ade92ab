#pragma once
// The stream routines: integers and texts written to and read from memory through a cursor.
//
// A cursor is a pointer to a byte pointer; each routine moves the byte pointer on by what it has
// written or read. Every integer lies low byte first, whatever the host, and is taken apart and put
// together byte by byte, so nothing here depends on alignment or on the width of a host type.
// Frame headers, optional values and records of the family's programs all stand on these.
//
// The writers check nothing: the caller provides the room. The readers hold a limit, the address
// one past the readable bytes, or null for none; they never look at the byte at the limit.
//
// Everything works on memory of the caller and may be called from any thread. The routines are
// inline because a header is a chain of a dozen of them and has to cost little more than its copy.

#include <algorithm>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

/// What a cursor may move over: bytes or characters. Readers also take the const forms.
template <typename T>
concept StreamByte = std::same_as < std::remove_const_t<T>,
unsigned char > || std::same_as<std::remove_const_t<T>, char>;

/// A byte type that a writer may store to.
template <typename T>
concept WritableStreamByte = StreamByte<T> && !std::is_const_v<T>;

namespace stream_detail {

/// Writes the lowest `Bytes` bytes of `value`, low byte first, and advances the cursor.
template <std::size_t Bytes, WritableStreamByte Byte>
inline void putBytes(std::uint32_t value, Byte** cursor) {
    Byte* p = *cursor;
    for (std::size_t i = 0; i < Bytes; ++i)
        p[i] = static_cast<Byte>(static_cast<unsigned char>(value >> (8 * i)));
    *cursor = p + Bytes;
}

/// Whether `bytes` bytes may be read at `at`. The distance is compared, not the addresses, so a
/// limit close to the bottom of memory or behind the cursor is no special case.
inline bool inReach(const void* at, std::size_t bytes, const void* limit) {
    if (!at) return false;
    const auto from = reinterpret_cast<std::uintptr_t>(at);
    const auto to = reinterpret_cast<std::uintptr_t>(limit);
    return !limit || (from <= to && to - from >= bytes);
}

/// Reads a `Value` low byte first. Gives 0 and changes nothing if it does not lie within the limit.
template <typename Value, StreamByte Byte>
inline short getBytes(Value* out, Byte** cursor, const void* limit) {
    if (!inReach(*cursor, sizeof(Value), limit)) return 0;
    const Byte* p = *cursor;
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < sizeof(Value); ++i)
        value |= std::uint32_t{static_cast<unsigned char>(p[i])} << (8 * i);
    *out = static_cast<Value>(value);
    *cursor += sizeof(Value);
    return 1;
}

/// The bytes of the text at `text` with its terminator, and whether that was found; without it, the
/// bytes that lie before the limit.
struct TextExtent {
    std::size_t bytes;  ///< with the terminator, where it was found
    bool ended;         ///< whether it was
};

/// Looks for it in front of `limit`, without end if that is null.
inline TextExtent textExtent(const void* text, const void* limit) {
    const char* const begin = static_cast<const char*>(text);
    if (!limit) return {std::strlen(begin) + 1, true};
    if (!inReach(begin, 1, limit)) return {0, false};
    const auto readable = static_cast<std::size_t>(static_cast<const char*>(limit) - begin);
    const void* const end = std::memchr(begin, 0, readable);
    if (!end) return {readable, false};
    return {static_cast<std::size_t>(static_cast<const char*>(end) - begin) + 1, true};
}

}  // namespace stream_detail

/// Writes 2 bytes, low byte first.
template <WritableStreamByte Byte>
inline void PutShort(std::int16_t value, Byte** cursor) {
    stream_detail::putBytes<2>(static_cast<std::uint16_t>(value), cursor);
}

/// Writes 4 bytes, low byte first.
template <WritableStreamByte Byte>
inline void PutLong(std::int32_t value, Byte** cursor) {
    stream_detail::putBytes<4>(static_cast<std::uint32_t>(value), cursor);
}

/// Writes 4 bytes, low byte first.
template <WritableStreamByte Byte>
inline void PutULong(std::uint32_t value, Byte** cursor) {
    stream_detail::putBytes<4>(value, cursor);
}

/// Writes the bytes of `text` and its terminating zero.
template <WritableStreamByte Byte>
inline void PutText(const char* text, Byte** cursor) {
    const std::size_t bytes = std::strlen(text) + 1;
    std::memcpy(*cursor, text, bytes);
    *cursor += bytes;
}

/// Reads what PutShort wrote. Gives 1, or 0 if the cursor holds null or fewer than 2 bytes lie
/// before the limit; `out` and the cursor are then as they were.
template <StreamByte Byte>
inline short GetShort(std::int16_t* out, Byte** cursor, std::type_identity_t<const Byte>* limit) {
    return stream_detail::getBytes(out, cursor, limit);
}

/// Reads what PutLong wrote. Gives 1, or 0 if the cursor holds null or fewer than 4 bytes lie
/// before the limit; `out` and the cursor are then as they were.
template <StreamByte Byte>
inline short GetLong(std::int32_t* out, Byte** cursor, std::type_identity_t<const Byte>* limit) {
    return stream_detail::getBytes(out, cursor, limit);
}

/// Reads what PutULong wrote, with the results of GetLong.
template <StreamByte Byte>
inline short GetULong(std::uint32_t* out, Byte** cursor, std::type_identity_t<const Byte>* limit) {
    return stream_detail::getBytes(out, cursor, limit);
}

/// Reads a text up to and with its terminating zero into the `size` bytes of `out`. A longer text
/// is consumed to its end, its surplus dropped. Gives 1 if the terminator was found, and 0 if the
/// limit came first or the cursor holds null (nothing is touched then). Whatever else happens, the
/// last byte of `out` is zero; when the limit came first that may be its only one, the bytes
/// between are what they were. A size of 0 or less stores nothing. Without a limit the text must
/// have its terminator.
template <StreamByte Byte>
inline short GetText(char* out, Byte** cursor, std::int32_t size,
                     std::type_identity_t<const Byte>* limit) {
    if (!*cursor) return 0;
    const auto [bytes, ended] = stream_detail::textExtent(*cursor, limit);
    if (size > 0) {
        // The text may be taken to a place in front of itself, in the memory that it came in.
        std::memmove(out, *cursor, std::min(bytes, static_cast<std::size_t>(size)));
        out[size - 1] = 0;
    }
    *cursor += bytes;
    return ended;
}
