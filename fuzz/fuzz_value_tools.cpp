// The value tools on any text, beside what they are told to do, spelled out.
#include <array>
#include <clocale>
#include <cstring>
#include <cwchar>

#include "fuzz.h"
#include "serv_cli/i_tools.h"
#include "util/i_trace.h"

namespace {

std::string traced;

bool isIn(const char* alphabet, char byte) {
    return byte != 0 && std::strchr(alphabet, byte) != nullptr;
}

void checkPhoneNumber(const std::string& text) {
    std::string number, report;
    for (const char byte : text) {
        const bool kept = isIn("0123456789ABCD*#+-", byte);
        const unsigned value = static_cast<unsigned char>(byte);
        if (kept) number += byte;
        if (kept)
            report += byte;
        else
            report += value > 31 ? std::string("[") + byte + ' ' + std::to_string(value) + ']'
                                 : "[" + std::to_string(value) + "]";
    }
    std::string out(text.size() + 1, 'x');
    traced.clear();
    strValidPhoneNumber(text.c_str(), out.data());
    if (!text.empty()) requireSame(out.c_str(), number);
    require(text.empty() || (number == text) == traced.empty());
    if (!text.empty() && number != text)
        require(traced.find("phone number with wrong character: " + report) != std::string::npos);
}

std::int32_t numberOf(const std::string& piece) {
    const long value = std::atol(piece.c_str());
    return static_cast<std::int32_t>(std::clamp<long>(value, INT32_MIN, INT32_MAX));
}

void checkPair(const std::string& text) {
    IdPair pair{7, 7};
    pair_from_text(text.c_str(), &pair);
    const std::size_t point = text.find('.');
    require(pair.first == numberOf(text.substr(0, point)));
    const std::string behind = point == std::string::npos ? "" : text.substr(point + 1);
    require(pair.second == numberOf(behind.substr(0, behind.find('.'))));
    char* written = nullptr;
    pair_to_text(pair, &written);
    requireSame(written, std::to_string(pair.first) + "." + std::to_string(pair.second));
    release_(&written);
}

void checkScrambler(const std::string& text) {
    std::string expected, scrambled = text;
    std::uint32_t mask = 16;
    for (const char byte : text) {
        const auto value = static_cast<unsigned char>(byte);
        const std::uint32_t hidden = value > 31 ? value ^ mask : value;
        expected += static_cast<char>(hidden);
        mask = hidden * static_cast<std::uint32_t>(expected.size()) % 255 / 8;
    }
    requireSame(scramble_text(scrambled.data()), expected);
    requireSame(unscramble_text(scrambled.data()), text);
}

void checkDigits(const std::string& text) {
    const auto only = [&](const char* alphabet) {
        return !text.empty() && text.find_first_not_of(alphabet) == std::string::npos;
    };
    require(is_digits(text.c_str()) == only("0123456789"));
    require(is_dial_text(text.c_str()) == only("0123456789ABCD*#"));
    const bool two = text.size() == 2 && only("0123456789");
    const auto within = [&](int low, int high) {
        return two && std::stoi(text) >= low && std::stoi(text) <= high;
    };
    require(valid_month(text.c_str()) == within(1, 12));
    require(valid_day(text.c_str()) == within(1, 31));
    require(valid_hour(text.c_str()) == within(0, 23));
    require(valid_minute(text.c_str()) == within(0, 59));
    require(valid_second(text.c_str()) == within(0, 59));
}

std::string lowered(std::string text) {
    for (char& byte : text) {
        const auto value = static_cast<unsigned char>(byte);
        const bool latin = value >= 0xC0 && value <= 0xDE && value != 0xD7;
        if (latin || (value >= 'A' && value <= 'Z')) byte = static_cast<char>(value + 0x20);
    }
    return text;
}

void checkWords(const std::string& text) {
    const std::string sought = text.substr(text.size() / 2, 3);
    const char* const place = find_nocase(text.c_str(), sought.c_str());
    require(place == text.c_str() + lowered(text).find(lowered(sought)));
    std::string word = text;
    for (char& byte : word)
        if (byte >= 'A' && byte <= 'Z') byte = static_cast<char>(byte + 0x20);
    constexpr std::array<std::string_view, 5> kTrue{"true", "vrai", "yes", "oui", "1"};
    require(text_to_bool(text.c_str()) == (std::ranges::count(kTrue, word) == 1));
}

/// Character by character what the tool converts at once.
bool isBeyondLatin1(const std::string& text) {
    std::mbstate_t state{};
    std::size_t at = 0;
    bool beyond = false;
    for (int i = 0; i < 64 && at < text.size(); ++i) {
        wchar_t character = 0;
        const std::size_t taken =
            std::mbrtowc(&character, text.data() + at, text.size() - at + 1, &state);
        if (taken > text.size()) return false;
        beyond = beyond || static_cast<int>(character) > 255;
        at += taken;
    }
    return beyond;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    setTraceSink([](const char* text) { traced += text; });
    std::setlocale(LC_CTYPE, "C.UTF-8");  // for machines without the one that the tool asks for
    const std::string text = terminated(Input(data, size).rest());
    checkPhoneNumber(text);
    checkPair(text);
    checkScrambler(text);
    checkDigits(text);
    checkWords(text);
    require(IsUTF8Unicode(text.c_str(), 0) == isBeyondLatin1(text));
    return 0;
}
