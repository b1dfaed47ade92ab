#pragma once
// A reader of tokens that goes by the rules of quotes word for word: the model of whatever takes
// words off a text.

#include <string>

#include "fuzz.h"

/// What is left of a text, and the failure bits of its reading.
struct PlainText {
    std::string text;
    unsigned state = 0;
};

inline std::string takeWord(std::string& text) {
    constexpr char kSpaces[] = " \t\n\v\f\r";
    const std::string whole = terminated(text);
    const std::size_t first = whole.find_first_not_of(kSpaces);
    if (first == std::string::npos) return "";
    const std::size_t last = std::min(whole.find_first_of(kSpaces, first), whole.size());
    text.erase(0, last);
    return whole.substr(first, last - first);
}

/// Nothing is taken off where there is no word.
inline std::string takeToken(PlainText& from) {
    std::string token = takeWord(from.text);
    if (token.empty()) from.state |= CharString::kFailText;
    if (!token.starts_with('"')) return token;
    bool last = token.size() > 1 && token.ends_with('"');
    while (!last) {
        const std::string word = takeToken(from);
        token += " " + word;
        last = word.empty() || word.ends_with('"') || from.state != 0;
    }
    return token.substr(1, token.size() - 2);
}
