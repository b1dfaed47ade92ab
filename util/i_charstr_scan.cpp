#include <algorithm>
#include <charconv>
#include <climits>
#include <cstdio>
#include <cstring>
#include <string_view>
#include <vector>

#include "util/i_charstr.h"

namespace {

/// The most pieces that `split` makes: what its 16-bit count can tell.
constexpr std::ptrdiff_t kMostPieces = SHRT_MAX;

/// White space of the "C" locale. `isspace` would follow the process's locale.
constexpr bool isSpace(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

/// Cuts a text where `sscanf` would see its end.
std::string_view untilNul(const std::string& text) {
    return {text.c_str(), strnlen(text.c_str(), text.size())};
}

/// A whole number at the front of a text: how many bytes it takes, 0 for none, and its value.
struct ScannedNumber {
    std::size_t consumed = 0;
    bool negative = false;
    bool overflow = false;
    unsigned long magnitude = 0;

    explicit ScannedNumber(const std::string& text) {
        const char* const first = text.data();
        const char* const last = first + text.size();
        const char* at = std::find_if_not(first, last, isSpace);
        if (at != last && (*at == '-' || *at == '+')) negative = *at++ == '-';
        const auto [end, error] = std::from_chars(at, last, magnitude);
        if (error == std::errc::invalid_argument) return;
        overflow = error == std::errc::result_out_of_range;
        consumed = static_cast<std::size_t>(end - first);
    }
};

/// The word at the front of `rest`, behind white space; empty if there is none. `rest` loses both.
std::string_view takeWord(std::string_view& rest) {
    const char* const start = std::find_if_not(rest.begin(), rest.end(), isSpace);
    const char* const end = std::find_if(start, rest.end(), isSpace);
    const std::string_view word(start, static_cast<std::size_t>(end - start));
    if (!word.empty()) rest.remove_prefix(static_cast<std::size_t>(end - rest.begin()));
    return word;
}

/// Reads one token by the rules of quotes. A quoted token inside a quoted one is a level of its
/// own; the levels stand in a list and not on the call stack, since a text may open thousands.
class TokenReader {
  public:
    /// `failed`: a failure bit is set already, so that a quoted token ends with its second word.
    TokenReader(std::string_view text, bool failed) : rest_(text), failed_(failed) {}

    /// False if there is no token at all.
    bool read() {
        if (!takeNextWord()) return false;
        while (!open_.empty()) {
            token_ += ' ';
            takeNextWord();
        }
        return true;
    }

    const std::string& token() const { return token_; }
    std::string_view rest() const { return rest_; }
    /// True if the words ran out inside a quoted token.
    bool unclosed() const { return unclosed_; }

  private:
    /// Appends the next word, which may open a level or close some.
    bool takeNextWord() {
        const std::string_view word = takeWord(rest_);
        std::size_t start = token_.size();
        if (word.empty()) unclosed_ = true;
        if (word.starts_with('"')) {
            const bool closed = word.size() > 1 && word.ends_with('"');
            token_ += word.substr(1, word.size() - (closed ? 2 : 1));
            if (!closed) open_.push_back(start);
            if (!closed) return true;
        } else {
            token_ += word;
        }
        while (!open_.empty() && endsLevel(start)) {
            start = open_.back();
            open_.pop_back();
            token_.pop_back();
        }
        return !word.empty();
    }

    /// Whether what stands from `start` on is the last word of its level.
    bool endsLevel(std::size_t start) const {
        return failed_ || unclosed_ || start == token_.size() || token_.back() == '"';
    }

    std::string_view rest_;
    std::string token_;
    std::vector<std::size_t> open_;  ///< where the content of each open level starts
    bool failed_;
    bool unclosed_ = false;
};

}  // namespace

CharString& CharString::fail(std::uint16_t bit) {
    state |= bit;
    return *this;
}

void CharString::eraseFront(std::size_t n) {
    text.erase(0, n);
    refreshed();
}

CharString& CharString::readToken(char* dst, std::size_t capacity) {
    const std::string_view whole = untilNul(text);
    TokenReader reader(whole, state != 0);
    if (!reader.read() || reader.token().size() >= capacity) return fail(kFailText);
    std::memcpy(dst, reader.token().c_str(), reader.token().size() + 1);
    if (reader.unclosed()) fail(kFailText);
    eraseFront(whole.size() - reader.rest().size());
    return *this;
}

CharString& CharString::operator>>(char& c) {
    if (*text.c_str() == '\0') return fail(kFailChar);
    c = text.front();
    eraseFront(1);
    return *this;
}

/// As `sscanf` does: the value of a `long`, held at its ends, and of that the low 32 bits.
bool CharString::readSigned(int& value) {
    const ScannedNumber number(text);
    if (number.consumed == 0) {
        fail(kFailInteger);
        return false;
    }
    const unsigned long most = static_cast<unsigned long>(LONG_MAX) + (number.negative ? 1 : 0);
    const unsigned long held = number.overflow ? most : std::min(number.magnitude, most);
    value = static_cast<int>(number.negative ? 0 - held : held);
    eraseFront(number.consumed);
    return true;
}

/// As `sscanf` does: an `unsigned long`, held at its end, whose sign counts below that end only.
bool CharString::readUnsigned(unsigned int& value) {
    const ScannedNumber number(text);
    if (number.consumed == 0) {
        fail(kFailInteger);
        return false;
    }
    const unsigned long held = number.overflow   ? ULONG_MAX
                               : number.negative ? 0 - number.magnitude
                                                 : number.magnitude;
    value = static_cast<unsigned int>(held);
    eraseFront(number.consumed);
    return true;
}

CharString& CharString::operator>>(int& value) {
    readSigned(value);
    return *this;
}

CharString& CharString::operator>>(long& value) {
    if (int number = 0; readSigned(number)) value = number;
    return *this;
}

CharString& CharString::operator>>(unsigned int& value) {
    readUnsigned(value);
    return *this;
}

CharString& CharString::operator>>(short& value) {
    int number = 0;
    readSigned(number);
    if (state == 0) value = static_cast<short>(number);
    return *this;
}

CharString& CharString::operator>>(unsigned char& value) {
    unsigned int number = 0;
    readUnsigned(number);
    if (state == 0) value = static_cast<unsigned char>(number);
    return *this;
}

CharString& CharString::operator>>(unsigned short& value) {
    unsigned int number = 0;
    readUnsigned(number);
    if (state == 0) value = static_cast<unsigned short>(number);
    return *this;
}

CharString& CharString::operator>>(unsigned long& value) {
    unsigned int number = 0;
    readUnsigned(number);
    if (state == 0) value = number;
    return *this;
}

CharString& CharString::operator>>(float& value) {
    // `sscanf` gets the word alone: it takes the length of what it is given.
    std::string_view rest = untilNul(text);
    const std::string word(takeWord(rest));
    int consumed = 0;
    std::sscanf(word.c_str(), "%f%n", &value, &consumed);
    if (consumed <= 0) return fail(kFailText);
    const std::size_t end = untilNul(text).size() - rest.size();
    eraseFront(end - word.size() + static_cast<std::size_t>(consumed));
    return *this;
}

CharString& CharString::getDelimited(char* buf, int size, char delim) {
    if (text.empty()) {
        if (size > 0) *buf = '\0';
        return fail(kFailText);
    }
    const int end = find(delim, 0);
    if (size > 0) {
        std::snprintf(buf, static_cast<std::size_t>(size), "%s", leftTo(end).c_str());
    }
    eraseRange(0, end < 0 ? length() : end + 1);
    return *this;
}

CharString& CharString::getBetween(char* buf, int size, char open, char close) {
    const std::size_t room = size > 0 ? static_cast<std::size_t>(size) : 0;
    if (room > 0) *buf = '\0';
    const std::size_t begin = text.find(open);
    const std::size_t end = text.find(close);
    if (begin == std::string::npos || end == std::string::npos || end <= begin) {
        return fail(kFailText);
    }
    const char* const piece = text.c_str() + begin + 1;
    const std::size_t copied = strnlen(piece, std::min(room, end - begin - 1));
    std::fill(std::copy_n(piece, copied, buf), buf + room, '\0');
    eraseFront(end + 1);
    return *this;
}

CharString* CharString::split(short& count, char delim) const {
    count = 0;
    if (text.empty()) return nullptr;
    const auto delimiters = std::count(text.begin(), text.end(), delim);
    count = static_cast<short>(std::min<std::ptrdiff_t>(delimiters + 1, kMostPieces));
    auto* const pieces = new CharString[static_cast<std::size_t>(count)];
    std::size_t start = 0;
    for (short i = 0; i < count; ++i) {
        const std::size_t end = std::min(text.find(delim, start), text.size());
        pieces[i].text.assign(text, start, strnlen(text.c_str() + start, end - start));
        pieces[i].refreshed();
        start = end + 1;
    }
    return pieces;
}

void CharString::toUpper() {
    for (char& c : text) {
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 32);
    }
}

void CharString::toLower() {
    for (char& c : text) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + 32);
    }
}

void CharString::removeBlanks() {
    text.resize(std::strlen(text.c_str()));
    std::erase_if(text, [](char c) { return c == ' ' || c == '\t'; });
    refreshed();
}

void CharString::replaceText(const char* from, const char* to, int max) {
    if (!from || !to || text.empty()) return;
    const std::size_t from_length = std::strlen(from);
    std::string result;
    std::size_t kept = 0;  // all before this position is in `result`
    std::size_t search = 0;
    for (; max > 0; --max) {
        const std::size_t hit = text.find(from, search, from_length);
        if (hit == std::string::npos) break;
        result.append(text, kept, hit - kept).append(to);
        kept = hit + from_length;
        search = kept + 1;
    }
    result.append(text, kept, std::string::npos);
    text = std::move(result);
    refreshed();
}

CharString& CharString::padTo(char c, int n) {
    if (n > length()) text.resize(static_cast<std::size_t>(n), c);
    return refreshed();
}
