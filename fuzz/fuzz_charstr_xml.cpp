// The XML readers beside a model, from each place of the text on. The first byte is the tag and the
// name of the attribute, the rest is the text.
#include <algorithm>
#include <cstdlib>
#include <string>

#include "util/i_charstr.h"

namespace {

constexpr std::size_t kLongest = 100;  // bytes of text, since each place in it is tried
constexpr std::size_t kNowhere = std::string::npos;

void require(bool holds) {
    if (!holds) std::abort();
}

std::string bytes(const CharString& s) {
    return {s.c_str(), static_cast<std::size_t>(s.length())};
}

/// What a reader gives: its result, and what it took ("kept" without a find).
struct Reading {
    int result = 0;
    std::string taken = "kept";
    bool operator==(const Reading&) const = default;
};

struct Model {
    const std::string &text, &tag;
    std::string opening = "<" + tag, closing = "</" + tag + ">";

    Reading taken(std::size_t result, std::size_t begin, std::size_t end) const {
        if (end == kNowhere) return {};
        return {static_cast<int>(result), text.substr(begin, end - begin)};
    }
    /// The place behind the tag's name, or nowhere.
    std::size_t behindTag(std::size_t start) const {
        const std::size_t at = text.find(opening, start);
        return at == kNowhere ? kNowhere : at + opening.size();
    }
    Reading element(std::size_t start) const {
        const std::size_t begin = behindTag(start);
        if (begin == kNowhere) return {};
        const std::size_t bracket = text.find('>', begin);
        const bool closes_itself = bracket != kNowhere && text[bracket - 1] == '/';
        std::size_t end = closes_itself ? bracket : text.find(closing, begin);
        if (end != kNowhere) end += closes_itself ? 1 : closing.size();
        return taken(end, begin, end);
    }
    Reading content(std::size_t start) const {
        const std::size_t bracket = text.find('>', behindTag(start));
        if (bracket == kNowhere) return {};
        return taken(1, bracket + 1, text.find(closing, bracket + 1));
    }
    Reading attribute(std::size_t start) const {
        const std::size_t at = text.find(tag + "=\"", start);
        if (at == kNowhere) return {};
        const std::size_t begin = at + tag.size() + 2;
        return taken(1, begin, text.find('"', begin));
    }
    int count() const {
        int elements = 0;
        for (int end = 0; (end = element(static_cast<std::size_t>(end)).result) != 0;)
            ++elements;
        return elements;
    }
};

template <typename Reader>
Reading read(const CharString& s, Reader reader, const std::string& tag, int start) {
    CharString out("kept");
    const int result = (s.*reader)(tag.c_str(), &out, start);
    return {result, bytes(out)};
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    if (size < 1) return 0;
    const std::string text(data + 1, data + std::min(size, kLongest + 1));
    const std::string tag(data[0] == 0 ? 0 : 1, static_cast<char>(data[0]));
    CharString s;
    for (const char c : text)
        s << c;
    const Model model{text, tag};
    for (std::size_t from = 0; from <= text.size() + 1; ++from) {
        const int start = static_cast<int>(from);
        require(read(s, &CharString::xmlElement, tag, start) == model.element(from));
        require(read(s, &CharString::xmlContent, tag, start) == model.content(from));
        require(read(s, &CharString::xmlAttribute, tag, start) == model.attribute(from));
    }
    require(s.xmlCount(tag.c_str()) == model.count());
    require(bytes(s) == text);
    return 0;
}
