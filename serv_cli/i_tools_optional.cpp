#include "serv_cli/i_tools_optional.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <limits>
#include <new>

#include "util/i_assert.h"
#include "util/i_charstr.h"
#include "util/i_msg_stream.h"
#include "util/i_trace.h"

namespace {

constexpr char SOURCE_MODULE[] = "serv_cli/i_tools";

constexpr char kNotUsed[] = "Not Used";
constexpr std::int16_t kAbsentShort = -1;
constexpr std::int32_t kAroundText = 2;  // bytes that a present text has beside its own

bool isPresent(std::int32_t value) {
    return static_cast<std::int16_t>(value) != kAbsentShort;
}

/// The presence byte; one that can't be read stands for an absent value.
bool readPresence(char** cursor, const char* limit) {
    unsigned char presence = 0;
    return GetByte(&presence, cursor, limit) && presence != 0;
}

/// Bytes of the text at the cursor, up to the limit if there is one.
std::size_t textLength(const char* text, const char* limit) {
    return limit ? strnlen(text, static_cast<std::size_t>(limit - text)) : std::strlen(text);
}

/// A zero-filled array of `bytes`, or null where there is no memory for it.
char* newArray(std::int32_t bytes) {
    return new (std::nothrow) char[static_cast<std::size_t>(bytes)]();
}

/// `GetText` into a new array. The length may be a peer's: where there is no memory for it, the
/// text is passed over, so that what stands behind it can still be read.
short getTextIntoNew(char** out, char** cursor, std::int32_t size, const char* limit) {
    *out = newArray(size);
    const short ended = GetText(*out, cursor, *out ? size : 0, limit);
    return *out ? ended : short{0};
}

}  // namespace

void PutByte(unsigned char value, char** cursor) {
    **cursor = static_cast<char>(value);
    ++*cursor;
}

short GetByte(unsigned char* out, char** cursor, const char* limit) {
    if (!*cursor || (limit && *cursor >= limit)) return 0;
    *out = static_cast<unsigned char>(**cursor);
    ++*cursor;
    return 1;
}

short GetCharString(CharString* out, char** cursor, const char* limit) {
    if (!*cursor || (limit && *cursor >= limit)) return 0;
    *out = *cursor;
    *cursor += std::strlen(*cursor) + 1;
    return 1;
}

void PutOptText(const char* text, char** cursor) {
    PutByte(text != nullptr, cursor);
    if (text) PutText(text, cursor);
}

void PutOptCharString(const CharString* text, char** cursor) {
    PutOptText(text ? text->c_str() : nullptr, cursor);
}

void PutOptShort(std::int32_t value, char** cursor) {
    PutByte(isPresent(value), cursor);
    if (isPresent(value)) PutShort(static_cast<std::int16_t>(value), cursor);
}

std::int32_t OptTextSize(const char* text) {
    return text ? static_cast<std::int32_t>(std::strlen(text)) + kAroundText : 1;
}

std::int32_t OptCharStringSize(const CharString* text) {
    return text ? text->length() + kAroundText : 1;
}

short GetNewText(char** out, char** cursor, const char* limit) {
    *out = nullptr;
    if (!*cursor) return 0;
    const bool past_limit = limit && *cursor >= limit;
    const auto size = static_cast<std::int32_t>(past_limit ? 0 : textLength(*cursor, limit)) + 1;
    return getTextIntoNew(out, cursor, size, limit);
}

void GetOptTextSized(char** out, char** cursor, std::int32_t size) {
    *out = nullptr;
    if (!readPresence(cursor, nullptr)) return;
    getTextIntoNew(out, cursor, std::max(size, 1), nullptr);
}

void GetOptText(char** out, char** cursor, const char* limit) {
    *out = nullptr;
    if (readPresence(cursor, limit)) GetNewText(out, cursor, limit);
}

void GetOptCharString(CharString** out, char** cursor, const char* limit) {
    *out = nullptr;
    if (!readPresence(cursor, limit)) return;
    *out = new CharString;
    GetCharString(*out, cursor, limit);
}

void GetOptShort(std::int16_t* out, char** cursor) {
    *out = kAbsentShort;
    if (readPresence(cursor, nullptr)) GetShort(out, cursor, nullptr);
}

void traceOptShort(const char* label, std::int32_t value) {
    if (isPresent(value))
        traceValues(label, value);
    else
        traceTexts(label, kNotUsed);
}

void traceOptText(const char* label, const char* text) {
    traceTexts(label, text ? text : kNotUsed);
}

void GrowBuffer(char** base, std::int32_t used, std::int32_t* capacity, std::int32_t extra) {
    if (std::int64_t{used} + extra <= *capacity) return;
    ZOR_ASSERT(extra <= std::numeric_limits<std::int32_t>::max() - *capacity,
               "extra <= INT32_MAX - capacity");
    char* const grown = newArray(*capacity + extra);
    ZOR_ASSERT(grown != nullptr, "grown != NULL");
    if (*base) std::memcpy(grown, *base, static_cast<std::size_t>(*capacity));
    delete[] * base;
    *base = grown;
    *capacity += extra;
}

void GrowAtCursor(char** cursor, char** base, std::int32_t* capacity, std::int32_t extra) {
    const auto used = static_cast<std::int32_t>(*cursor - *base);
    GrowBuffer(base, used, capacity, extra);
    *cursor = *base + used;
}

void ReserveLong(char** cursor, char** base, std::int32_t* capacity) {
    GrowAtCursor(cursor, base, capacity, sizeof(std::int32_t));
}

void ReserveShort(char** cursor, char** base, std::int32_t* capacity, std::int32_t /*value*/) {
    GrowAtCursor(cursor, base, capacity, sizeof(std::int16_t));
}

void ReserveText(char** cursor, char** base, std::int32_t* capacity, const char* text) {
    if (!text) return;
    GrowAtCursor(cursor, base, capacity, static_cast<std::int32_t>(std::strlen(text)) + 1);
}
