// Cutting beside a model: the text is cut at each of its positions, by each of its bytes and by one
// that it doesn't hold. The first byte is the room that the buffers have, the rest is the text.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "util/i_charstr.h"

namespace {

constexpr std::size_t kLongest = 20;  // bytes of text, since all is tried with all

void require(bool holds) {
    if (!holds) std::abort();
}

std::string bytes(const CharString& s) {
    return {s.c_str(), static_cast<std::size_t>(s.length())};
}

std::string untilNul(const std::string& text) {
    return text.c_str();
}

CharString stringOf(const std::string& text) {
    CharString s;
    for (const char c : text)
        s << c;
    return s;
}

void cutAtPositions(const std::string& text) {
    const CharString s = stringOf(text);
    const int length = static_cast<int>(text.size());
    for (int from = -2; from <= length + 2; ++from) {
        const auto first = static_cast<std::size_t>(std::clamp(from, 0, length));
        const std::string left = text.substr(0, first), right = text.substr(first);
        require(bytes(s.leftTo(from)) == untilNul(from < 0 ? text : left));
        require(bytes(s.rightFrom(from)) == right);
        for (int to = -2; to <= length + 2; ++to) {
            const int n = to - static_cast<int>(first);
            require(bytes(s.subRange(from, to)) ==
                    (n < 0 ? right : right.substr(0, static_cast<std::size_t>(n))));
            CharString erased(s);
            erased.eraseRange(from, to);
            const bool erases = from >= 0 && from < length && to > 0;
            const auto end = static_cast<std::size_t>(std::min(from + to, length));
            require(bytes(erased) == (erases ? left + text.substr(end) : text));
        }
    }
}

void cutByByte(const std::string& text, char c) {
    const CharString s = stringOf(text);
    const std::size_t at = text.find(c);  // one more than "nowhere" is the start
    require(bytes(s.beforeChar(c)) == untilNul(text.substr(0, at)));
    require(bytes(s.throughChar(c)) == untilNul(text.substr(0, at + 1)));
    require(bytes(s.afterChar(c)) == text.substr(at + 1));
    require(bytes(s.fromChar(c)) == (at == std::string::npos ? text : text.substr(at)));
    short count = -1;
    const std::unique_ptr<CharString[]> pieces(s.split(count, c));
    std::size_t start = 0;
    for (short i = 0; i < count; ++i) {
        const std::size_t end = std::min(text.find(c, start), text.size());
        require(bytes(pieces[static_cast<std::size_t>(i)]) ==
                untilNul(text.substr(start, end - start)));
        start = end + 1;
    }
    require(start == (text.empty() ? 0 : text.size() + 1));
}

void takeDelimited(const std::string& text, char c, int room) {
    CharString s = stringOf(text);
    std::vector<char> buffer(static_cast<std::size_t>(room), '#');
    require(s.getDelimited(buffer.data(), room, c).good() == !text.empty());
    const std::size_t at = text.find(c);
    require(bytes(s) == (at == std::string::npos ? "" : text.substr(at + 1)));
    if (room == 0) return;
    const std::string piece = untilNul(text.substr(0, at));
    require(buffer.data() == piece.substr(0, buffer.size() - 1));
}

void takeBetween(const std::string& text, char open, char close, int room) {
    CharString s = stringOf(text);
    std::vector<char> buffer(static_cast<std::size_t>(room), '#'), model = buffer;
    const std::size_t begin = text.find(open) + 1, end = text.find(close);
    const bool found = begin > 0 && end != std::string::npos && end >= begin;
    if (found && room > 0) {
        std::strncpy(model.data(), text.substr(begin, end - begin).c_str(), model.size());
    } else if (room > 0) {
        model[0] = '\0';
    }
    require(s.getBetween(buffer.data(), room, open, close).good() == found);
    require(bytes(s) == (found ? text.substr(end + 1) : text));
    require(buffer == model);
}

void replace(const std::string& text, const std::string& from, const std::string& to, int most) {
    CharString s = stringOf(text);
    s.replaceText(from.c_str(), to.c_str(), most);
    std::string model = text;
    std::size_t at = 0;
    for (int n = 0; n < most && !text.empty(); ++n) {
        at = model.find(from, at);
        if (at == std::string::npos) break;
        model.replace(at, from.size(), to);
        at += to.size() + 1;
    }
    require(bytes(s) == model);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    if (size == 0) return 0;
    const int room = data[0] % 16;
    const std::string text(data + 1, data + std::min(size, kLongest + 1));
    cutAtPositions(text);
    for (const char c : text + '|') {
        cutByByte(text, c);
        takeDelimited(text, c, room);
        for (const char close : text + '|')
            takeBetween(text, c, close, room);
        const std::string from = untilNul({c});
        for (int most = 0; most < 4; ++most)
            replace(text, from, untilNul(text.substr(0, static_cast<std::size_t>(room))), most);
    }
    CharString s = stringOf(text);
    s.removeBlanks();
    std::string model = untilNul(text);
    std::erase_if(model, [](char c) { return c == ' ' || c == '\t'; });
    require(bytes(s) == model);
    return 0;
}
