#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "serv_cli/i_tools.h"
#include "support/captured_trace.h"

namespace {

using Lines = std::vector<std::string>;

TEST(ValueTools, DigitsAndTheirAlphabets) {
    const std::string symbols = "0123456789ABCD*#", hex = "0123456789abcdef0123456789ABCDEF";
    for (std::uint8_t code = 0; code < symbols.size(); ++code) {
        EXPECT_EQ(dial_symbol(code), symbols[code]);
        EXPECT_EQ(dial_code(symbols[code]), code);
    }
    for (std::size_t i = 0; i < hex.size(); ++i)
        EXPECT_EQ(hex_value(hex[i]), i % 16);
    for (const char stranger : {'E', 'a', '+', '\0'})
        EXPECT_EQ(dial_code(stranger), 0);
    for (const char stranger : {'g', 'G', '\xe9', '\0'})
        EXPECT_EQ(hex_value(stranger), 0);
    EXPECT_EQ(dial_symbol(16), '\0');
}

TEST(ValueTools, TextsOfDigitsDialSymbolsAndDateParts) {
    struct Case {
        short (*test)(const char*);
        std::vector<const char*> yes, no;
    };
    const Case cases[] = {{is_digits, {"0123456789"}, {"12a", "-1"}},
                          {is_dial_text, {"0123456789ABCD*#"}, {"1E", "d", "+33", "1 2"}},
                          {valid_month, {"01", "12"}, {"00", "13", "7", "007", " 7", "1a"}},
                          {valid_day, {"01", "31"}, {"00", "32"}},
                          {valid_hour, {"00", "23"}, {"24"}},
                          {valid_minute, {"00", "59"}, {"60"}},
                          {valid_second, {"00", "59"}, {"60"}}};
    for (const Case& c : cases) {
        for (const char* text : c.yes)
            EXPECT_EQ(c.test(text), 1) << text;
        for (const char* text : c.no)
            EXPECT_EQ(c.test(text), 0) << text;
        EXPECT_EQ(c.test("") + c.test(nullptr), 0);
    }
}

TEST(ValueTools, LimitsOfKinds) {
    const std::int32_t by_kind[] = {0, 127, 65535, 8191, 0, 0}, by_sub[] = {0, 127, 16383, 8191, 0};
    for (short kind = 0; kind < 6; ++kind)
        EXPECT_EQ(max_for_kind(kind, 0), by_kind[kind]);
    for (short sub = 0; sub < 5; ++sub)
        EXPECT_EQ(max_for_kind(4, sub), by_sub[sub]);
}

TEST(ValueTools, PairsGoThroughTextAndBack) {
    for (const IdPair pair : {IdPair{0, 0}, IdPair{7, -12}, IdPair{INT32_MIN, INT32_MAX}}) {
        char* text = nullptr;
        pair_to_text(pair, &text);
        EXPECT_EQ(text, std::to_string(pair.first) + "." + std::to_string(pair.second));
        release_(&text);
    }
    const auto read = [](const char* text) {
        IdPair pair{1, 1};
        pair_from_text(text, &pair);
        return std::to_string(pair.first) + ' ' + std::to_string(pair.second);
    };
    EXPECT_EQ(read(""), "0 0");
    EXPECT_EQ(read("5"), "5 0");
    EXPECT_EQ(read(".6"), "0 6");
    EXPECT_EQ(read("-1.-2.3"), "-1 -2");
    EXPECT_EQ(read("x. 4y"), "0 4");
    EXPECT_EQ(read("99999999999999999999.-2147483649"), "2147483647 -2147483648");
}

TEST(ValueTools, PhoneNumbersAreCleanedAndWhatFellOutIsReported) {
    const std::string cases[][3] = {{"+33-1*2#ABCD", "+33-1*2#ABCD", ""},
                                    {"01 23", "0123", "01[  32]23"},
                                    {"1\t2", "12", "1[9]2"},
                                    {"aE\x1f\xe9", "", "[a 97][E 69][31][\xe9 233]"}};
    for (const auto& [in, out, report] : cases) {
        const CapturedTrace trace;
        std::string place = in;  // the number may be cleaned where it stands
        strValidPhoneNumber(place.c_str(), place.data());
        EXPECT_EQ(place.c_str(), out);
        const std::string line = "@strValidPhoneNumber() phone number with wrong character: ";
        EXPECT_EQ(trace.lines(), report.empty() ? Lines{} : Lines{line + report + "  \n"});
    }
    char untouched[] = "untouched";
    const CapturedTrace trace;
    strValidPhoneNumber(nullptr, untouched);
    strValidPhoneNumber("", untouched);
    strValidPhoneNumber("12", nullptr);
    EXPECT_STREQ(untouched, "untouched");
    const std::string no_in = "@strValidPhoneNumber () input string parameter is NULL   \n";
    EXPECT_EQ(trace.lines(), (Lines{no_in, no_in,
                                    "@strValidPhoneNumber () output string parameter "
                                    "is NULL   \n"}));
}

TEST(ValueTools, ScramblingIsAnExactPair) {
    char abc[] = "abc", behind_control[] = "\x1f\x61";
    EXPECT_EQ(scramble_text(abc), abc);
    EXPECT_STREQ(abc, "qlx");
    EXPECT_EQ(unscramble_text(abc), abc);
    EXPECT_STREQ(abc, "abc");
    EXPECT_STREQ(scramble_text(behind_control), "\x1f\x62");  // it stays, yet enters the mask

    std::string every_byte;
    for (int i = 0; i < 10200; ++i)
        every_byte += static_cast<char>(255 - i % 255);
    std::string text = every_byte;
    scramble_text(text.data());
    EXPECT_EQ(std::count_if(text.begin(), text.end(), [](unsigned char c) { return c < 32; }),
              10200 / 255 * 31);
    EXPECT_EQ(unscramble_text(text.data()), every_byte);
}

}  // namespace
