#include "util/i_charstr.h"

#include <cstdio>

#include "util/i_assert.h"

CharString::CharString(int, int) {}
CharString::CharString(const char* s) : text(s) {
    len = static_cast<std::uint32_t>(text.size());
}
CharString::CharString(const CharString& other) : len(other.len), text(other.text) {}
void CharString::operator=(const CharString& other) {
    text = other.text;
    len = static_cast<std::uint32_t>(text.size());
}
void CharString::operator=(const char* s) {
    text = s;
    len = static_cast<std::uint32_t>(text.size());
}
void CharString::operator+=(char c) {
    text += c;
    ++len;
}
void CharString::operator+=(const CharString& other) {
    *this << other;
}
void CharString::operator+=(const char* s) {
    *this << s;
}
CharString& CharString::operator<<(const CharString& other) {
    text += other.text;
    len = static_cast<std::uint32_t>(text.size());
    return *this;
}
CharString& CharString::operator<<(const char* s) {
    if (s) text += s;
    len = static_cast<std::uint32_t>(text.size());
    return *this;
}
CharString& CharString::operator<<(char c) {
    text += c;
    ++len;
    return *this;
}
CharString& CharString::operator<<(short value) {
    return *this << std::to_string(value).c_str();
}
CharString& CharString::operator<<(int value) {
    return *this << std::to_string(value).c_str();
}
CharString& CharString::operator<<(long value) {
    return *this << std::to_string(value).c_str();
}
int CharString::find(char c, int from) const {
    auto p = text.find(c, static_cast<std::size_t>(from));
    return p == std::string::npos ? -1 : static_cast<int>(p);
}
int CharString::find(const char* s, int from) const {
    auto p = text.find(s, static_cast<std::size_t>(from));
    return p == std::string::npos ? -1 : static_cast<int>(p);
}
short CharString::contains(const char* s) const {
    return find(s, 0) != -1;
}
CharString CharString::rightFrom(int pos) const {
    CharString r;
    r << (pos <= 0          ? text
          : pos >= length() ? std::string()
                            : text.substr(static_cast<std::size_t>(pos)))
             .c_str();
    return r;
}
short CharString::operator==(const CharString& other) const {
    return text == other.text;
}
short CharString::operator<(const CharString& other) const {
    return text < other.text;
}
