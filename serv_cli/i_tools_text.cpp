#include "serv_cli/i_tools_text.h"

#include <strings.h>

#include <algorithm>
#include <cctype>
#include <clocale>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <memory>
#include <string>
#include <string_view>

#include "util/i_assert.h"
#include "util/i_trace.h"

namespace {

constexpr char SOURCE_MODULE[] = "serv_cli/i_tools";

constexpr std::size_t kUnicodeWindow = 64;  // characters that IsUTF8Unicode looks at
constexpr int kLastLatin1 = 255;            // the highest character that Latin-1 can show
constexpr int kLatin1CaseDistance = 0x20;

template <class Char>
Char* heapCopy(std::basic_string_view<Char> head, std::basic_string_view<Char> tail = {}) {
    auto* const copy = new Char[head.size() + tail.size() + 1]();
    std::copy(tail.begin(), tail.end(), std::copy(head.begin(), head.end(), copy));
    return copy;
}

template <class Char>
void duplicate(Char** destination, const Char* to_copy) {
    if (!to_copy) traceTexts("duplicate_ to_copy NULL");
    *destination = to_copy ? heapCopy(std::basic_string_view<Char>(to_copy)) : nullptr;
}

template <class Char>
void release(Char** text) {
    delete[] * text;
    *text = nullptr;
}

template <class Char>
void append(Char** destination, const Char* text) {
    if (!*destination || !text) return;
    // The new array is made first: `text` may point into the old one.
    Char* const longer =
        heapCopy(std::basic_string_view<Char>(*destination), std::basic_string_view<Char>(text));
    release(destination);
    *destination = longer;
}

template <class Char>
void releaseAll(Char** texts, int count) {
    for (int i = 0; i < count; ++i)
        release(&texts[i]);
}

template <class Char>
short same(const Char* a, const Char* b) {
    if (!a || !b) return a == b;
    return std::basic_string_view<Char>(a) == b;
}

constexpr bool isLatin1Capital(unsigned char byte) {
    constexpr unsigned char kMultiplicationSign = 0xD7;  // stands among the capitals
    return byte >= 0xC0 && byte <= 0xDE && byte != kMultiplicationSign;
}

/// Whether a character above Latin-1 stands in `text`; traces the values up to it if `verbose`.
bool exceedsLatin1(const wchar_t* text, std::size_t length, bool verbose) {
    for (std::size_t i = 0; i < length; ++i) {
        const auto value = static_cast<std::int32_t>(static_cast<std::uint32_t>(text[i]));
        if (verbose) tracePrintfRaw("%x ", static_cast<unsigned>(value));
        if (value > kLastLatin1) return true;
    }
    return false;
}

}  // namespace

short text_to_bool(const char* text) {
    constexpr const char* kTrueWords[] = {"true", "vrai", "yes", "oui", "1"};
    return std::any_of(std::begin(kTrueWords), std::end(kTrueWords),
                       [=](const char* word) { return compare_nocase(text, word) == 0; });
}

void duplicate_(char** destination, const char* to_copy) {
    duplicate(destination, to_copy);
}

void duplicate_(wchar_t** destination, const wchar_t* to_copy) {
    duplicate(destination, to_copy);
}

void append_(char** destination, const char* text) {
    append(destination, text);
}

void append_(wchar_t** destination, const wchar_t* text) {
    append(destination, text);
}

void release_(char** text) {
    release(text);
}

void release_(wchar_t** text) {
    release(text);
}

void release_all(char** texts, int count) {
    releaseAll(texts, count);
}

void release_all(wchar_t** texts, int count) {
    releaseAll(texts, count);
}

int compare_nocase(const char* s1, const char* s2) {
    ZOR_ASSERT(s1 && s2, "s1 && s2");
    return strcasecmp(s1, s2);
}

int compare_nocase(const wchar_t* s1, const wchar_t* s2) {
    ZOR_ASSERT(s1 && s2, "s1 && s2");
    return wcscasecmp(s1, s2);
}

int compare_nocase_n(const char* s1, const char* s2, std::size_t length) {
    ZOR_ASSERT(s1 && s2, "s1 && s2");
    return strncasecmp(s1, s2, length);
}

int compare_nocase_n(const wchar_t* s1, const wchar_t* s2, std::size_t length) {
    ZOR_ASSERT(s1 && s2, "s1 && s2");
    return wcsncasecmp(s1, s2, length);
}

const wchar_t* find_wide(const wchar_t* s1, const wchar_t* s2) {
    ZOR_ASSERT(s1 && s2, "s1 && s2");
    return std::wcsstr(s1, s2);
}

const char* find_nocase(const char* s1, const char* s2) {
    ZOR_ASSERT(s1 && s2, "s1 && s2");
    std::string text(s1);
    std::string sought(s2);
    lower_string(text.data());
    lower_string(sought.data());
    // Lower-casing keeps every length, so the place in the copy is the place in the original.
    const std::size_t place = text.find(sought);
    return place == std::string::npos ? nullptr : s1 + place;
}

short same_text(const char* a, const char* b) {
    return same(a, b);
}

short same_text(const wchar_t* a, const wchar_t* b) {
    return same(a, b);
}

void lower_string(char* p) {
    ZOR_ASSERT(p, "p");
    for (; *p; ++p) {
        const auto byte = static_cast<unsigned char>(*p);
        if (isLatin1Capital(byte)) {
            *p = static_cast<char>(byte + kLatin1CaseDistance);
        } else if (std::isupper(byte)) {
            *p = static_cast<char>(std::tolower(byte));
        }
    }
}

short IsUTF8Unicode(const char* text, unsigned char verbose) {
    if (!text) return 0;
    if (!std::setlocale(LC_CTYPE, "fr_FR.UTF-8") && verbose) {
        traceTexts("IsUTF8Unicode(): setlocale failed.");
    }
    const auto characters = std::make_unique<wchar_t[]>(kUnicodeWindow + 1);
    const std::size_t converted = std::mbstowcs(characters.get(), text, kUnicodeWindow);
    if (converted == 0 || converted == static_cast<std::size_t>(-1)) {
        traceTexts(
            "IsUTF8Unicode(): Multibyte String to Wide Character String conversion failed !");
        return 0;
    }
    if (verbose) traceLine("IsUTF8Unicode(): value of dest is = ");
    const bool beyond = exceedsLatin1(characters.get(), converted, verbose != 0);
    if (verbose) traceLine("");
    return beyond;
}
