#include "serv_cli/i_tools_value.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <string>
#include <string_view>

#include "serv_cli/i_tools_text.h"
#include "util/i_charstr.h"
#include "util/i_trace.h"

namespace {

constexpr std::string_view kDialAlphabet = "0123456789ABCD*#";
constexpr std::string_view kPhoneAlphabet = "0123456789ABCD*#+-";
constexpr std::string_view kDigits = "0123456789";
constexpr std::string_view kUpperHexDigits = "0123456789ABCDEF";
constexpr std::string_view kLowerHexDigits = "0123456789abcdef";

constexpr unsigned char kLastControl = 31;

constexpr bool contains(std::string_view alphabet, char c) {
    return alphabet.find(c) != std::string_view::npos;
}

short isTextOf(std::string_view alphabet, const char* text) {
    return text && *text && text[std::strspn(text, alphabet.data())] == '\0';
}

short isTwoDigitsWithin(const char* text, int lowest, int highest) {
    if (!is_digits(text) || std::strlen(text) != 2) return 0;
    const int value = (text[0] - '0') * 10 + (text[1] - '0');
    return value >= lowest && value <= highest;
}

/// `atol` as a machine with a `long` of 32 bits does it, on every machine.
std::int32_t numberOf(const CharString& piece) {
    using Limits = std::numeric_limits<std::int32_t>;
    const long value = std::strtol(piece.c_str(), nullptr, 10);
    return static_cast<std::int32_t>(std::clamp<long>(value, Limits::min(), Limits::max()));
}

/// How a dropped byte shows in the report: printable ones as themselves, and all with their value.
void appendDropped(std::string& report, char c) {
    const auto byte = static_cast<unsigned char>(c);
    report += '[';
    if (byte > kLastControl) report.append(1, c).append(1, ' ');
    report.append(std::to_string(byte)).append(1, ']');
}

/// The running mask of the scrambler. It follows the scrambled bytes, so both directions compute
/// the same one, and stays below 32: it can't turn a printable byte into a control byte.
class ScrambleMask {
  public:
    unsigned char apply(unsigned char byte) const {
        return byte > kLastControl ? static_cast<unsigned char>(byte ^ mask_) : byte;
    }
    void advance(unsigned char scrambled) { mask_ = scrambled * ++position_ % 255 >> 3; }

  private:
    std::uint32_t mask_ = 16;
    std::uint32_t position_ = 0;
};

}  // namespace

char dial_symbol(std::uint8_t code) {
    return code < kDialAlphabet.size() ? kDialAlphabet[code] : '\0';
}

std::uint8_t dial_code(char symbol) {
    const std::size_t code = kDialAlphabet.find(symbol);
    return code == std::string_view::npos ? 0 : static_cast<std::uint8_t>(code);
}

short hex_value(char digit) {
    const std::size_t value = std::min(kUpperHexDigits.find(digit), kLowerHexDigits.find(digit));
    return value == std::string_view::npos ? 0 : static_cast<short>(value);
}

short is_digits(const char* text) {
    return isTextOf(kDigits, text);
}

short is_dial_text(const char* text) {
    return isTextOf(kDialAlphabet, text);
}

short valid_month(const char* text) {
    return isTwoDigitsWithin(text, 1, 12);
}

short valid_day(const char* text) {
    return isTwoDigitsWithin(text, 1, 31);
}

short valid_hour(const char* text) {
    return isTwoDigitsWithin(text, 0, 23);
}

short valid_minute(const char* text) {
    return isTwoDigitsWithin(text, 0, 59);
}

short valid_second(const char* text) {
    return isTwoDigitsWithin(text, 0, 59);
}

std::int32_t max_for_kind(short kind, short sub) {
    constexpr std::int32_t kByKind[] = {0, 127, 65535, 8191};
    constexpr std::int32_t kBySub[] = {0, 127, 16383, 8191};
    if (kind == 4) return sub >= 1 && sub <= 3 ? kBySub[sub] : 0;
    return kind >= 1 && kind <= 3 ? kByKind[kind] : 0;
}

void pair_to_text(IdPair pair, char** destination) {
    CharString text;
    text << pair.first << '.' << pair.second;
    duplicate_(destination, text.c_str());
}

void pair_from_text(const char* text, IdPair* pair) {
    *pair = {0, 0};
    short count = 0;
    const std::unique_ptr<CharString[]> pieces(CharString(text).split(count, '.'));
    if (count > 0) pair->first = numberOf(pieces[0]);
    if (count > 1) pair->second = numberOf(pieces[1]);
}

void strValidPhoneNumber(const char* in, char* out) {
    if (!in || !*in) {
        traceTexts("strValidPhoneNumber () input string parameter is NULL");
        return;
    }
    if (!out) {
        traceTexts("strValidPhoneNumber () output string parameter is NULL");
        return;
    }
    std::string report;
    bool dropped = false;
    for (; *in; ++in) {
        if (contains(kPhoneAlphabet, *in)) {
            report += *in;
            *out++ = *in;
        } else {
            appendDropped(report, *in);
            dropped = true;
        }
    }
    if (dropped) {
        traceTexts("strValidPhoneNumber() phone number with wrong character:", report.c_str());
    }
    *out = '\0';
}

char* scramble_text(char* text) {
    ScrambleMask mask;
    for (char* p = text; *p; ++p) {
        const unsigned char scrambled = mask.apply(static_cast<unsigned char>(*p));
        *p = static_cast<char>(scrambled);
        mask.advance(scrambled);
    }
    return text;
}

char* unscramble_text(char* text) {
    ScrambleMask mask;
    for (char* p = text; *p; ++p) {
        const auto scrambled = static_cast<unsigned char>(*p);
        *p = static_cast<char>(mask.apply(scrambled));
        mask.advance(scrambled);
    }
    return text;
}
