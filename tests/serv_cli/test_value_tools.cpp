#include <gtest/gtest.h>

#include <clocale>

#include "serv_cli/i_tools.h"
#include "support/captured_trace.h"
#include "support/scratch_directory.h"

TEST(ValueTools, AlphabetsAndLimits) {
    const std::string symbols = "0123456789ABCD*#", hex = "0123456789abcdef0123456789ABCDEF";
    for (int byte = 0; byte < 256; ++byte) {
        const char c = static_cast<char>(byte);
        const std::size_t code = symbols.find(c), digit = hex.find(c);
        EXPECT_EQ(dial_code(c), code == std::string::npos ? 0 : code);
        EXPECT_EQ(hex_value(c), digit == std::string::npos ? 0 : digit % 16);
        EXPECT_EQ(dial_symbol(static_cast<std::uint8_t>(byte)), byte < 16 ? symbols[byte] : '\0');
    }
    const int by_kind[] = {0, 127, 65535, 8191, 0}, by_sub[] = {0, 127, 16383, 8191, 0};
    for (short i = 0; i < 5; ++i) {
        EXPECT_EQ(max_for_kind(i, 4), by_kind[i]) << i;
        EXPECT_EQ(max_for_kind(4, i), by_sub[i]) << i;
    }
}

TEST(ValueTools, WordsThatATestTakesAndOnesThatItRefuses) {
    using Texts = std::vector<const char*>;
    const std::tuple<short (*)(const char*), Texts, Texts> cases[] = {
        {text_to_bool, {"true", "VRAI", "Yes", "oUi", "1"}, {"FAUX", "NON", "0", "perhaps", "11"}},
        {is_digits, {"0123456789"}, {"12a", "-1", nullptr}},
        {is_dial_text, {"0123456789ABCD*#"}, {"1E", "d", "+33", "1 2", nullptr}},
        {valid_month, {"01", "12"}, {"00", "13", "7", "007", " 7", "1a", nullptr}},
        {valid_day, {"01", "31"}, {"00", "32"}},
        {valid_hour, {"00", "23"}, {"24"}},
        {valid_minute, {"00", "59"}, {"60"}},
        {valid_second, {"00", "59"}, {"60"}}};
    for (const auto& [test, yes, no] : cases) {
        for (const char* text : yes) EXPECT_EQ(test(text), 1) << text;
        for (const char* text : no) EXPECT_EQ(test(text), 0) << (text ? text : "null");
        EXPECT_EQ(test(""), 0);
    }
}

TEST(ValueTools, PairsGoThroughTextAndBack) {
    const std::string cases[][2] = {
        {"", "0.0"},      {"5", "5.0"},
        {".6", "0.6"},    {"-1.-2.3", "-1.-2"},
        {"x. 4y", "0.4"}, {"99999999999999999999.-2147483649", "2147483647.-2147483648"}};
    for (const auto& [written, expected] : cases) {
        IdPair pair{1, 1};
        char* text = nullptr;
        pair_from_text(written.c_str(), &pair);
        pair_to_text(pair, &text);
        EXPECT_EQ(std::unique_ptr<char[]>(text).get(), expected);
    }
}

TEST(ValueTools, PhoneNumbersAreCleanedAndWhatFellOutIsReported) {
    const std::string line = "@strValidPhoneNumber() phone number with wrong character: ";
    const std::string cases[][3] = {
        {"+33-1*2#ABCD", "+33-1*2#ABCD", ""},
        {"01 23", "0123", line + "01[  32]23  \n"},
        {"aE\t\x1f\xe9", "", line + "[a 97][E 69][9][31][\xe9 233]  \n"}};
    for (const auto& [in, out, report] : cases) {
        const CapturedTrace trace;
        std::string place = in;  // the number may be cleaned where it stands
        strValidPhoneNumber(place.c_str(), place.data());
        EXPECT_EQ(place.c_str(), out);
        EXPECT_EQ(trace.all(), report);
    }
    strValidPhoneNumber("12", nullptr);
}

TEST(ValueTools, ScramblingIsAnExactPair) {
    char word[] = "password";
    EXPECT_STREQ(scramble_text(word), "`mhtmkbr");
    char behind_control[] = "\x1f\x61";  // it stays, yet enters the mask
    EXPECT_STREQ(scramble_text(behind_control), "\x1f\x62");
    EXPECT_STREQ(unscramble_text(word), "password");
    EXPECT_STREQ(unscramble_text(behind_control), "\x1f\x61");
}

template <class Char>
struct TextToolsOf : testing::Test {};
using Widths = testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(TextToolsOf, Widths);

TYPED_TEST(TextToolsOf, HeapTextsGrowAndGo) {
    const std::basic_string<TypeParam> one{'o', 'n', 'e'};
    const TypeParam* const none = nullptr;
    TypeParam* texts[] = {nullptr, nullptr, nullptr};
    append_(&texts[0], one.c_str());
    EXPECT_EQ(texts[0], nullptr);  // a null variable doesn't become the text
    duplicate_(&texts[0], one.c_str());
    append_(&texts[0], none);
    append_(&texts[0], texts[0]);  // its own text, which goes only after it was read
    EXPECT_EQ(texts[0], one + one);
    EXPECT_EQ(same_text(one.c_str(), texts[0]), 0);
    duplicate_(&texts[2], one.c_str());
    release_all(texts, 2);
    EXPECT_EQ(same_text(texts[0], none), 1);
    EXPECT_EQ(same_text(none, texts[2]), 0);
    EXPECT_EQ(same_text(one.c_str(), texts[2]), 1);
    release_(&texts[2]);
}

TEST(TextTools, CaseKnowsTheLatin1Capitals) {
    std::string text, lower;
    for (int byte = 1; byte < 256; ++byte) {
        const bool latin = byte >= 0xC0 && byte <= 0xDE && byte != 0xD7;
        text += static_cast<char>(byte);
        lower += static_cast<char>(latin || std::isupper(byte) ? byte + 32 : byte);
    }
    std::string bytes = text;
    lower_string(bytes.data());
    EXPECT_EQ(bytes, lower);
    EXPECT_EQ(find_nocase(text.c_str(), "\xe9\xCA"), text.c_str() + 0xC8);
    EXPECT_EQ(find_nocase("appel", "appels"), nullptr);
    const wchar_t* const wide = L"appel";
    EXPECT_EQ(find_wide(wide, L"p"), wide + 1);
    EXPECT_EQ(find_wide(wide, L"P"), nullptr);
}

TEST(TextTools, TellsTextsBeyondLatin1) {
    const ScratchDirectory locales;  // the machine's general UTF-8 one serves as the French one
    std::filesystem::create_symlink("/usr/lib/locale/C.utf8", locales.path("fr_FR.UTF-8"));
    if (!std::setlocale(LC_CTYPE, "fr_FR.UTF-8")) setenv("LOCPATH", locales.top.c_str(), 1);
    if (!std::setlocale(LC_CTYPE, "fr_FR.UTF-8")) GTEST_SKIP() << "no UTF-8 locale here";
    std::setlocale(LC_CTYPE, "C");
    const CapturedTrace trace;
    const std::string a63(63, 'a');
    const std::pair<std::string, short> cases[] = {
        {"\u0100", 1}, {a63 + "\u20ac", 1}, {a63 + "\u00ff\u20ac", 0}, {"", 0}, {"\xc3(", 0}};
    for (const auto& [text, beyond] : cases)
        EXPECT_EQ(IsUTF8Unicode(text.c_str(), 0), beyond) << text;
    EXPECT_EQ(IsUTF8Unicode(nullptr, 0), 0);
    EXPECT_EQ(IsUTF8Unicode("a\u20ac", 1), 1);
    const std::string failed =
        "@IsUTF8Unicode(): Multibyte String to Wide Character String conversion failed !   \n";
    EXPECT_EQ(trace.all(), failed + failed + "@IsUTF8Unicode(): value of dest is = 61 20ac \n");
}

/// Keeps each field in brackets behind its index, and stops at "!".
static short keep(short index, char* field, void* user) {
    *static_cast<std::string*>(user) += std::to_string(index) + '[' + field + ']';
    return *field != '!';
}

TEST(Analyser, CutsARowIntoItsFields) {
    const std::tuple<unsigned char, short, const char*, const char*> cases[] = {
        // separator, folded, row, seen
        {'\t', 0, "A\t\tc", "0[A]1[]2[c]"},
        {'\t', 0, "\t A \n", "0[]1[ A \n]"},
        {'\t', 0, "", ""},
        {0xE9, 0, "a\xe9z\tb", "0[a]1[z\tb]"},
        {',', 1, "\xc9\xd7,!,Z", "0[\xe9\xd7]1[!]"}};
    for (const auto& [separator, fold, row, expected] : cases) {
        std::string seen;
        const short to_the_end = Do_Analyse_Text_by_new(separator, fold, row, keep, &seen);
        EXPECT_EQ(seen, expected);
        EXPECT_EQ(to_the_end, !seen.ends_with("[!]")) << row;
    }
    std::string folded;
    EXPECT_EQ(Analyse_Text_by_new("A,b\t!\tC", keep, &folded), 1);
    EXPECT_EQ(folded, "0[a,b]1[!]");
}

TEST(Analyser, StoresTheFirstFieldsInVariables) {
    char* fields[3] = {};
    const auto taken = [&fields] {
        std::string text;
        for (const char* const field : fields) text.append(field ? field : "-").append("|");
        release_all(fields, 3);
        return text;
    };
    EXPECT_EQ(Analyse_Text_Velsa_by_new("One\t\xc9\tThree", 2, &fields[0], &fields[1]), 1);
    EXPECT_EQ(taken(), "one|\xe9|-|");
    EXPECT_EQ(Analyse_Text_Velsa_by_new("too\tfew", 3, &fields[0], &fields[1], &fields[2]), 1);
    EXPECT_EQ(taken(), "-|-|-|");
    EXPECT_EQ(Analyse_Text_Velsa_by_new_(',', 0, "One,", 2, &fields[0], &fields[1]), 1);
    EXPECT_EQ(taken(), "One||-|");
    Analyse_Text_Velsa_by_new("x\ty\tz", 3, &fields[0], static_cast<char**>(nullptr), &fields[2]);
    EXPECT_EQ(taken(), "x|-|-|") << "a null variable ends the reading";
}

TEST(Analyser, TellsOfANullRowByTheNameOfEachForm) {
    const CapturedTrace trace;
    EXPECT_EQ(Analyse_Text_by_new(nullptr, keep, nullptr), 1);
    EXPECT_EQ(Analyse_Text_by_new_(',', 0, nullptr, keep, nullptr), 1);
    EXPECT_EQ(Analyse_Text_Velsa_by_new(nullptr, 1), 1);
    EXPECT_EQ(Analyse_Text_Velsa_by_new_(',', 0, nullptr, 1), 1);
    const auto told = [](const char* own, const std::string& second) {
        return '@' + (own + (" RowText NULL   \n@Do_" + second)) + " RowText NULL   \n";
    };
    EXPECT_EQ(trace.all(), told("Analyse_Text_by_new", "Analyse_Text_by_new") +
                               told("Analyse_Text_by_new_", "Analyse_Text_by_new") +
                               told("Analyse_Text_Velsa_by_new", "Analyse_Text_Velsa_by_new") +
                               told("Analyse_Text_Velsa_by_new_", "Analyse_Text_Velsa_by_new"));
}
