#include "util/i_charstr.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <functional>
#include <memory>
#include <new>
#include <string_view>
#include <type_traits>

#include "util/i_assert.h"
#include "util/i_os_file_stream.h"
#include "util/i_trace.h"

namespace {

constexpr char SOURCE_MODULE[] = "util/i_charstr";

/// Room for any number, a `float` in full among them: sign, 39 digits, point, 6 decimals, NUL.
constexpr std::size_t kNumberRoom = 48;

/// The largest file that is read, in bytes: what `length` can tell.
constexpr std::int64_t kLargestFile = 0x7ffffffe;

const char* notNull(const char* s) {
    ZOR_ASSERT(s != nullptr, "s");
    return s;
}

/// The two digits of each number below 100.
constexpr std::array<char, 200> digitPairs() {
    std::array<char, 200> pairs{};
    for (std::size_t i = 0; i < pairs.size(); ++i) {
        pairs[i] = static_cast<char>('0' + (i % 2 == 0 ? i / 20 : i / 2 % 10));
    }
    return pairs;
}
constexpr auto kDigitPairs = digitPairs();

/// The digits of `value`, in `digits`. Written from the last one on, so that nobody has to count
/// them first.
template <typename Number>
std::string_view decimal(Number value, char (&digits)[kNumberRoom]) {
    char* const end = digits + sizeof digits;
    char* first = end;
    auto rest = static_cast<std::make_unsigned_t<Number>>(value);
    if (value < 0) rest = 0 - rest;
    for (; rest >= 10; rest /= 100)
        std::memcpy(first -= 2, &kDigitPairs[rest % 100 * 2], 2);
    if (rest > 0 || first == end) *--first = static_cast<char>('0' + rest);
    if (value < 0) *--first = '-';
    return {first, static_cast<std::size_t>(end - first)};
}

std::size_t fromStart(int from) {
    return from < 0 ? 0 : static_cast<std::size_t>(from);
}

int positionOrMinusOne(std::size_t position) {
    return position == std::string::npos ? -1 : static_cast<int>(position);
}

}  // namespace

CharString::CharString(const char* s) : text(notNull(s)) {
    refreshed();
}

CharString::CharString(const CharString& other) : text(other.text) {
    refreshed();
}

CharString::CharString(const char* path, const char* mode) {
    if (!path || !readFile(path, mode)) state |= kFailFile;
}

bool CharString::readFile(const char* path, const char* mode) {
    ZOR_ASSERT(mode != nullptr, "mode");
    if (access(path, R_OK) != 0) {
        traceTexts("KEL LibUtil: Charstring couldnt read file ", path);
        return false;
    }
    const FileStream file = openFile(path, mode);
    if (!file) return false;
    std::int64_t size = seekToEnd(file.get());
    if (size < 1 || size > kLargestFile) return false;
    const auto read = readFromStart(file.get(), &size);
    if (!read) return false;
    try {
        text = read.get();
    } catch (const std::bad_alloc&) {
        return false;
    }
    refreshed();
    return true;
}

// cppcheck-suppress operatorEqVarError  // the failure bits stay
void CharString::operator=(const CharString& other) {
    text = other.text;
    refreshed();
}

void CharString::operator=(const char* s) {
    text = notNull(s);
    refreshed();
}

void CharString::operator=(char c) {
    text = c;
    refreshed();
}

void CharString::operator+=(const char* s) {
    *this << notNull(s);
}

/// A text that leaves the standard string's own few bytes is mostly a line to be: it gets room for
/// one, so that it moves once and not at 30 bytes and at 60 again. Bytes of this very text must not
/// move before they are read; the standard string takes care of that.
void CharString::makeLineRoom(const char* s) {
    constexpr std::size_t kLineRoom = 120;
    const std::less<> before;
    const bool own = !before(s, text.data()) && !before(text.data() + text.size(), s);
    if (!own && text.capacity() < kLineRoom) text.reserve(kLineRoom);
}

CharString& CharString::appendInt(int value) {
    char digits[kNumberRoom];
    const std::string_view number = decimal(value, digits);
    return append(number.data(), number.size());
}

CharString& CharString::appendLong(long value) {
    char digits[kNumberRoom];
    const std::string_view number = decimal(value, digits);
    return append(number.data(), number.size());
}

CharString& CharString::operator<<(float value) {
    char digits[kNumberRoom];
    std::snprintf(digits, sizeof digits, "%f", static_cast<double>(value));
    return *this << digits;
}

unsigned CharString::getChar(int i) const {
    ZOR_ASSERT((i == 0 && len == 0) || (i >= 0 && i < length()),
               "(i==0 && len==0) || (i>=0 && i< (int)len)");
    return static_cast<unsigned char>(text[static_cast<std::size_t>(i)]);
}

void CharString::setChar(int i, char c) {
    if (i < 0 || i >= length()) {
        traceValues("KEL CharString setChar out of bounds", i, c_str(),
                    static_cast<unsigned char>(c));
        return;
    }
    text[static_cast<std::size_t>(i)] = c;
    refreshed();
}

void CharString::dump() const {
    std::printf("CharString: len %d \n", length());
}

int CharString::compare(const char* s) const {
    return text.compare(notNull(s));
}

int CharString::find(char c, int from) const {
    return positionOrMinusOne(text.find(c, fromStart(from)));
}

int CharString::find(const char* s, int from) const {
    return positionOrMinusOne(text.find(notNull(s), fromStart(from)));
}

CharString CharString::slice(std::size_t pos, std::size_t n) const {
    CharString piece;
    piece.text.assign(text, pos, n);
    piece.refreshed();
    return piece;
}

CharString CharString::rightFrom(int pos) const {
    return slice(std::min<std::size_t>(fromStart(pos), len), std::string::npos);
}

CharString CharString::leftTo(int n) const {
    const int limit = n < 0 ? length() : std::min(n, length());
    return slice(0, strnlen(c_str(), static_cast<std::size_t>(limit)));
}

CharString CharString::subRange(int from, int to) const {
    const int first = std::clamp(from, 0, length());
    const int last = std::min(to, length());
    if (last < first) return rightFrom(first);
    return slice(static_cast<std::size_t>(first), static_cast<std::size_t>(last - first));
}

void CharString::eraseRange(int pos, int n) {
    if (n <= 0 || pos < 0 || pos >= length()) return;
    text.erase(static_cast<std::size_t>(pos), static_cast<std::size_t>(n));
    refreshed();
}
