#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "serv_cli/i_tools.h"
#include "support/captured_trace.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(ValueTools, DigitsAndTheirAlphabets) {
    const std::string symbols = "0123456789ABCD*#";
    for (std::uint8_t code = 0; code < symbols.size(); ++code) {
        EXPECT_EQ(dial_symbol(code), symbols[code]);
        EXPECT_EQ(dial_code(symbols[code]), code);
    }
    EXPECT_EQ(dial_symbol(16), '\0');
    for (const char stranger : {'E', 'a', '+', ' ', '\0'})
        EXPECT_EQ(dial_code(stranger), 0);

    const std::string hex = "0123456789abcdef0123456789ABCDEF";
    for (std::size_t i = 0; i < hex.size(); ++i) {
        EXPECT_EQ(hex_value(hex[i]), static_cast<short>(i % 16));
    }
    for (const char stranger : {'g', 'G', '\0', '\xe9'})
        EXPECT_EQ(hex_value(stranger), 0);
}

TEST(ValueTools, TextsOfDigitsDialSymbolsAndDateParts) {
    struct Case {
        short (*test)(const char*);
        const char* text;
        short result;
    };
    const Case cases[] = {
        {is_digits, "0123456789", 1}, {is_digits, "", 0},
        {is_digits, nullptr, 0},      {is_digits, "12a", 0},
        {is_digits, "-1", 0},         {is_dial_text, "0123456789ABCD*#", 1},
        {is_dial_text, "", 0},        {is_dial_text, nullptr, 0},
        {is_dial_text, "1E", 0},      {is_dial_text, "d", 0},
        {is_dial_text, "+33", 0},     {is_dial_text, "1 2", 0},
        {valid_month, "01", 1},       {valid_month, "12", 1},
        {valid_month, "00", 0},       {valid_month, "13", 0},
        {valid_month, "7", 0},        {valid_month, "007", 0},
        {valid_month, " 7", 0},       {valid_month, nullptr, 0},
        {valid_day, "31", 1},         {valid_day, "00", 0},
        {valid_day, "32", 0},         {valid_hour, "00", 1},
        {valid_hour, "23", 1},        {valid_hour, "24", 0},
        {valid_minute, "59", 1},      {valid_minute, "60", 0},
        {valid_second, "59", 1},      {valid_second, "60", 0},
        {valid_second, "", 0},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(c.test(c.text), c.result) << (c.text ? c.text : "null") << " case " << &c - cases;
    }
}

TEST(ValueTools, LimitsOfKinds) {
    struct Case {
        short kind, sub;
        std::int32_t limit;
    };
    for (const Case& c : {Case{0, 1, 0}, Case{1, 9, 127}, Case{2, 0, 65535}, Case{3, -1, 8191},
                          Case{4, 0, 0}, Case{4, 1, 127}, Case{4, 2, 16383}, Case{4, 3, 8191},
                          Case{4, 4, 0}, Case{4, -1, 0}, Case{5, 1, 0}, Case{-1, 1, 0}}) {
        EXPECT_EQ(max_for_kind(c.kind, c.sub), c.limit) << c.kind << ' ' << c.sub;
    }
}

TEST(ValueTools, PairsGoThroughTextAndBack) {
    for (const IdPair pair : {IdPair{0, 0}, IdPair{7, -12}, IdPair{INT32_MIN, INT32_MAX}}) {
        char* text = nullptr;
        pair_to_text(pair, &text);
        EXPECT_EQ(text, std::to_string(pair.first) + "." + std::to_string(pair.second));
        IdPair back{1, 1};
        pair_from_text(text, &back);
        EXPECT_EQ(back.first, pair.first);
        EXPECT_EQ(back.second, pair.second);
        release_(&text);
    }
    struct Case {
        const char* text;
        std::int32_t first, second;
    };
    const Case cases[] = {
        {"", 0, 0},        {"5", 5, 0},
        {".6", 0, 6},      {"5.", 5, 0},
        {"1.2.3", 1, 2},   {"x.4y z", 0, 4},
        {" 8. -9", 8, -9}, {"99999999999999999999.-2147483649", INT32_MAX, INT32_MIN},
    };
    for (const Case& c : cases) {
        IdPair pair{1, 1};
        pair_from_text(c.text, &pair);
        EXPECT_EQ(pair.first, c.first) << c.text;
        EXPECT_EQ(pair.second, c.second) << c.text;
    }
}

TEST(ValueTools, PhoneNumbersAreCleanedAndWhatFellOutIsReported) {
    struct Case {
        const char* in;
        const char* out;
        const char* report;  // null: nothing was dropped
    };
    const Case cases[] = {
        {"+33-1*2#ABCD", "+33-1*2#ABCD", nullptr},
        {"01 23", "0123", "01[  32]23"},
        {"1\t2", "12", "1[9]2"},
        {"aE\x1f\xe9", "", "[a 97][E 69][31][\xe9 233]"},
    };
    for (const Case& c : cases) {
        const CapturedTrace trace;
        char out[32] = "untouched";
        strValidPhoneNumber(c.in, out);
        EXPECT_STREQ(out, c.out);
        if (!c.report) {
            EXPECT_THAT(trace.lines(), IsEmpty());
        } else {
            EXPECT_THAT(trace.lines(),
                        ElementsAre("@strValidPhoneNumber() phone number with wrong character: " +
                                    std::string(c.report) + "  \n"));
        }
    }
    char same_place[] = "0 1 2";
    char untouched[] = "untouched";
    const CapturedTrace trace;
    strValidPhoneNumber(nullptr, untouched);
    strValidPhoneNumber("", nullptr);
    strValidPhoneNumber("12", nullptr);
    EXPECT_STREQ(untouched, "untouched");
    EXPECT_THAT(trace.lines(),
                ElementsAre("@strValidPhoneNumber () input string parameter is NULL   \n",
                            "@strValidPhoneNumber () input string parameter is NULL   \n",
                            "@strValidPhoneNumber () output string parameter is NULL   \n"));
    strValidPhoneNumber(same_place, same_place);
    EXPECT_STREQ(same_place, "012");
}

TEST(ValueTools, ScramblingIsAnExactPair) {
    char abc[] = "abc";
    EXPECT_EQ(scramble_text(abc), abc);
    EXPECT_STREQ(abc, "qlx");
    EXPECT_EQ(unscramble_text(abc), abc);
    EXPECT_STREQ(abc, "abc");

    std::string every_byte;
    for (int round = 0; round < 40; ++round) {
        for (int byte = 255; byte > 0; --byte)
            every_byte += static_cast<char>(byte);
    }
    std::string text = every_byte;
    scramble_text(text.data());
    EXPECT_NE(text, every_byte);
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto was = static_cast<unsigned char>(every_byte[i]);
        const auto is = static_cast<unsigned char>(text[i]);
        ASSERT_TRUE(was > 31 ? is > 31 : is == was) << i;
    }
    unscramble_text(text.data());
    EXPECT_EQ(text, every_byte);
    // A control byte stays, yet it enters the mask: 'a' scrambles otherwise behind it.
    char behind_control[] =
        "\x1f"
        "a";
    EXPECT_STREQ(scramble_text(behind_control),
                 "\x1f"
                 "b");
}

}  // namespace
