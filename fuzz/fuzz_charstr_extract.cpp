// Extraction beside the C library's own scanning: every type is read from each place of the text
// on, in a good string and in one that has failed; and tokens are read until none is left.
#include <algorithm>
#include <cstdio>
#include <string>
#include <type_traits>

#include "fuzz.h"
#include "plain_token.h"
#include "util/i_charstr.h"

namespace {

constexpr std::size_t kLongest = 400;  // bytes of text, since each place in it is tried

// The failure bits, as the programs of the family know them.
constexpr std::uint16_t kNoChar = 1, kNoInteger = 2, kNoText = 8, kNoFile = 16;

struct Probe : CharString {
    Probe(const std::string& content, std::uint16_t bits) {
        text = content;
        state = bits;
        refreshed();
    }
    using CharString::state;
};

std::string bytes(const CharString& s) {
    return {s.c_str(), static_cast<std::size_t>(s.length())};
}

template <typename Target, typename Scanned, char conversion, std::uint16_t bit = kNoInteger>
void read(const std::string& text, std::uint16_t earlier) {
    const char format[] = {'%', conversion, '%', 'n', '\0'};
    Scanned value{};
    int consumed = 0;
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    std::sscanf(text.c_str(), format, &value, &consumed);
#pragma GCC diagnostic pop
    const bool found = consumed > 0;
    // What goes through a local value is kept only while nothing has failed.
    const bool direct = std::is_same_v<Target, Scanned> || std::is_same_v<Target, long>;
    Target model = 1, target = 1;
    if (found && (direct || earlier == 0)) model = static_cast<Target>(value);
    Probe s(text, earlier);
    s >> target;
    require(std::to_string(target) == std::to_string(model));  // also for what is no number
    require(bytes(s) == text.substr(found ? static_cast<std::size_t>(consumed) : 0));
    require(s.state == (found ? earlier : earlier | bit));
}

/// Beside a reader that goes by the rules word for word. What is refused stays, and ends the walk.
void readTokens(const std::string& text) {
    Probe s(text, 0);
    PlainText model{text};
    for (int before = -1; s.length() != before;) {
        before = s.length();
        char target[12] = "before";
        s >> target;
        PlainText after = model;
        const std::string token = takeToken(after);
        const bool taken = after.text.size() < model.text.size() && token.size() < sizeof target;
        if (taken) model = after;
        require(target == (taken ? token : "before"));
        require(bytes(s) == model.text);
        require(s.state == (taken ? model.state : model.state | kNoText));
    }
}

constexpr void (*kReads[])(const std::string&, std::uint16_t) = {
    read<char, char, 'c', kNoChar>,
    read<float, float, 'f', kNoText>,
    read<int, int, 'd'>,
    read<short, int, 'd'>,
    read<long, int, 'd'>,
    read<unsigned char, unsigned, 'u'>,
    read<unsigned short, unsigned, 'u'>,
    read<unsigned, unsigned, 'u'>,
    read<unsigned long, unsigned, 'u'>};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    const std::string text(data, data + std::min(size, kLongest));
    readTokens(text);
    for (std::size_t start = 0; start <= text.size(); ++start) {
        for (const auto read : kReads) {
            read(text.substr(start), 0);
            read(text.substr(start), kNoFile);
        }
    }
    return 0;
}
