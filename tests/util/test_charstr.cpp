#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <limits>
#include <memory>
#include <string>
#include <type_traits>

#include "util/i_charstr.h"
#include "util/i_trace.h"

namespace {

using testing::HasSubstr;

constexpr int kIntMin = std::numeric_limits<int>::min();
constexpr int kIntMax = std::numeric_limits<int>::max();

std::string bytes(const CharString& s) {
    return {s.c_str(), static_cast<std::size_t>(s.length())};
}

/// Collects what the trace writes while it lives.
struct TraceRecord {
    static inline std::string text;
    TraceRecord() {
        text.clear();
        setTraceSink([](const char* line) { text += line; });
    }
    ~TraceRecord() { setTraceSink(nullptr); }
};

template <typename Number>
std::string printed(const char* format, Number value) {
    char text[64];
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    std::snprintf(text, sizeof text, format, value);
#pragma GCC diagnostic pop
    return text;
}

template <typename Target>
concept Appendable = requires(CharString s, Target t) {
    s << t;
};

TEST(CharString, AppendsNumbersAsSnprintfDoes) {
    static_assert(!Appendable<double>, "a caller narrows a double to float first");
    for (const long long value : {0LL, 7LL, -1LL, 255LL, 32768LL, -2147483648LL, 2147483647LL,
                                  4294967295LL, -4294967297LL, 9223372036854775807LL}) {
        CharString s;
        s << static_cast<unsigned char>(value) << ' ' << static_cast<short>(value) << ' '
          << static_cast<unsigned short>(value) << ' ' << static_cast<int>(value) << ' '
          << static_cast<unsigned>(value) << ' ' << static_cast<long>(value) << ' '
          << static_cast<unsigned long>(value) << ' ' << value;
        EXPECT_EQ(bytes(s), printed("%d ", static_cast<unsigned char>(value)) +
                                printed("%d ", static_cast<short>(value)) +
                                printed("%d ", static_cast<unsigned short>(value)) +
                                printed("%d ", static_cast<int>(value)) +
                                printed("%d ", static_cast<int>(value)) +
                                printed("%ld ", static_cast<long>(value)) +
                                printed("%ld ", static_cast<long>(value)) +
                                printed("%ld", long{static_cast<std::int32_t>(value)}));
    }
    for (const float value : {0.F, -0.F, 0.1F, -123456.789F, std::numeric_limits<float>::max(),
                              -std::numeric_limits<float>::infinity()}) {
        CharString s;
        s << value;
        EXPECT_EQ(bytes(s), printed("%f", static_cast<double>(value)));
    }
}

TEST(CharString, KeepsBytesAndStopsAtNulOnlyWhereATextIsTerminated) {
    CharString s;
    s = '\0';
    EXPECT_EQ(s.length(), 1);
    s << "ab" << static_cast<const char*>(nullptr) << "" << 'c' << static_cast<unsigned char>('c');
    s += s;
    EXPECT_EQ(bytes(s), std::string("\0abc99\0abc99", 12));
    EXPECT_EQ(bytes(s.rightFrom(5)), std::string("9\0abc99", 7));
    EXPECT_EQ(bytes(s.subRange(4, 8)), std::string("99\0a", 4));
    EXPECT_EQ(bytes(s.leftTo(3)), "");
    EXPECT_EQ(s.find(s, 4), 4) << "as a search text it is empty";
    EXPECT_EQ(s.find('\0', 1), 6);
    EXPECT_EQ(s == s.c_str(), 0);
    EXPECT_EQ(s == CharString(s), 1);
}

TEST(CharString, ComparesBytesAsUnsigned) {
    const char* const ascending[] = {"", "a", "ab", "abc", "abd", "b", "\x80", "\xff"};
    for (const char* const& left : ascending) {
        for (const char* const& right : ascending) {
            const CharString a(left), b(right);
            EXPECT_EQ(a == b, &left == &right);
            EXPECT_EQ(a != b, &left != &right);
            EXPECT_EQ(a < b, &left < &right);
            EXPECT_EQ(a > b, &left > &right);
            EXPECT_EQ(a <= b, &left <= &right);
            EXPECT_EQ(a >= b, &left >= &right);
            EXPECT_EQ(a == right, &left == &right);
            EXPECT_EQ(a != right, &left != &right);
            EXPECT_EQ(a < right, &left < &right);
            EXPECT_EQ(a > right, &left > &right);
            EXPECT_EQ(a <= right, &left <= &right);
            EXPECT_EQ(a >= right, &left >= &right);
        }
    }
    static_assert(std::is_same_v<decltype(CharString() == ""), short>);
}

TEST(CharString, SearchesAndCutsInsideItsText) {
    const CharString s("hello");
    const struct {
        CharString cut;
        const char* expected;
    } cases[] = {
        {s.rightFrom(-3), "hello"},  {s.rightFrom(2), "llo"},
        {s.rightFrom(5), ""},        {s.rightFrom(kIntMax), ""},
        {s.leftTo(-1), "hello"},     {s.leftTo(0), ""},
        {s.leftTo(2), "he"},         {s.leftTo(kIntMax), "hello"},
        {s.subRange(2, 2), ""},      {s.subRange(2, 1), "llo"},
        {s.subRange(1, 3), "el"},    {s.subRange(kIntMin, kIntMax), "hello"},
        {s.subRange(9, 10), ""},     {s.subRange(0, kIntMin), "hello"},
        {s.fromChar('l'), "llo"},    {s.fromChar('z'), "hello"},
        {s.afterChar('l'), "lo"},    {s.afterChar('z'), "hello"},
        {s.beforeChar('l'), "he"},   {s.beforeChar('z'), "hello"},
        {s.throughChar('l'), "hel"}, {s.throughChar('z'), ""},
    };
    for (const auto& c : cases)
        EXPECT_EQ(bytes(c.cut), c.expected);
    EXPECT_EQ(s.find('l', -5), 2);
    EXPECT_EQ(s.find("l", 3), 3);
    EXPECT_EQ(s.find("lo", 4), -1);
    EXPECT_EQ(s.find("", 5), 5);
    EXPECT_EQ(s.find("", 6), -1);
    EXPECT_EQ(s.contains("ell") + s.contains(CharString("z")), 1);
}

}  // namespace
