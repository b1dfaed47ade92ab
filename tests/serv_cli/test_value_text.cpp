#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <clocale>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "serv_cli/i_tools.h"
#include "support/captured_trace.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kConversionFailed[] =
    "@IsUTF8Unicode(): Multibyte String to Wide Character String conversion failed !   \n";

TEST(TextToolsDeathTest, NullTextsOfComparisonsAreFatal) {
    const auto killed = testing::KilledBySignal(SIGABRT);
    const char both[] = "^Assertion <s1 && s2> failed:\nfile \"serv_cli/i_tools\", line ";
    const wchar_t* no_wide = nullptr;
    const char* none = nullptr;
    EXPECT_EXIT(compare_nocase(none, "a"), killed, both);
    EXPECT_EXIT(compare_nocase_n("a", none, 0), killed, both);
    EXPECT_EXIT(compare_nocase(L"a", no_wide), killed, both);
    EXPECT_EXIT(compare_nocase_n(no_wide, L"a", 1), killed, both);
    EXPECT_EXIT(find_wide(L"a", no_wide), killed, both);
    EXPECT_EXIT(find_nocase("a", none), killed, both);
    EXPECT_EXIT(lower_string(nullptr), killed, "^Assertion <p> failed:\nfile \"serv_cli/i_tools\"");
}

// In a process of its own, as a locale that was once loaded stays loaded.
TEST(TextToolsDeathTest, WithoutTheLocaleATextIsReadInTheOneInForce) {
    const auto reads = [] {
        const bool has_other = std::setlocale(LC_CTYPE, "C.UTF-8");
        setenv("LOCPATH", "/nonexistent", 1);
        if (std::setlocale(LC_CTYPE, "fr_FR.UTF-8")) _exit(2);
        const CapturedTrace trace;
        const short euro = IsUTF8Unicode("\u20ac", 0);
        if (has_other ? euro != 1 : euro != 0) _exit(3);
        const std::size_t before = trace.lines().size();
        if (IsUTF8Unicode("a", 1) != 0) _exit(4);
        if (trace.lines()[before] != "@IsUTF8Unicode(): setlocale failed.   \n") _exit(5);
        if (trace.lines()[before + 2] != "61 ") _exit(6);
        _exit(0);
    };
    EXPECT_EXIT(reads(), testing::ExitedWithCode(0), "");
}

TEST(TextTools, WordsOfTruth) {
    for (const char* word : {"true", "VRAI", "Yes", "oUi", "1"})
        EXPECT_EQ(text_to_bool(word), 1);
    for (const char* word : {"False", "faux", "NON", "no", "0", "perhaps", "", "11"}) {
        EXPECT_EQ(text_to_bool(word), 0) << word;
    }
}

/// The heap text tools in their narrow and in their wide form.
template <class Char>
class HeapTexts : public testing::Test {
  protected:
    static std::basic_string<Char> text(const char* ascii) {
        return {ascii, ascii + std::char_traits<char>::length(ascii)};
    }
};
using Widths = testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(HeapTexts, Widths);

TYPED_TEST(HeapTexts, AreCopiedExtendedAndReleased) {
    const auto one = this->text("one"), two = this->text(" two"), none = this->text("");
    const CapturedTrace trace;
    TypeParam* variable = nullptr;
    append_(&variable, one.c_str());
    EXPECT_EQ(variable, nullptr);  // a null variable doesn't become the text

    duplicate_(&variable, one.c_str());
    EXPECT_NE(variable, one.c_str());
    append_(&variable, two.c_str());
    EXPECT_EQ(variable, one + two);
    TypeParam* const before = variable;
    append_(&variable, static_cast<const TypeParam*>(nullptr));
    EXPECT_EQ(variable, before);
    append_(&variable, variable);  // its own text, which goes only after it was read
    EXPECT_EQ(variable, one + two + one + two);
    release_(&variable);
    EXPECT_EQ(variable, nullptr);
    release_(&variable);

    duplicate_(&variable, none.c_str());
    ASSERT_NE(variable, nullptr);
    EXPECT_EQ(*variable, 0);
    EXPECT_THAT(trace.lines(), IsEmpty());
    TypeParam* texts[] = {variable, nullptr, nullptr};
    duplicate_(&texts[2], one.c_str());
    release_all(texts, 2);
    EXPECT_EQ(texts[0], nullptr);
    EXPECT_EQ(texts[2], one);
    TypeParam* const kept = texts[2];
    duplicate_(&texts[2], static_cast<const TypeParam*>(nullptr));
    EXPECT_EQ(texts[2], nullptr);
    EXPECT_THAT(trace.lines(), ElementsAre("@duplicate_ to_copy NULL   \n"));
    delete[] kept;
}

TYPED_TEST(HeapTexts, CompareAsTheirSystemFormsDo) {
    const auto low = this->text("abc"), high = this->text("ABD"), copy = this->text("abc");
    const TypeParam* const none = nullptr;
    EXPECT_LT(compare_nocase(low.c_str(), high.c_str()), 0);
    EXPECT_GT(compare_nocase(high.c_str(), low.c_str()), 0);
    EXPECT_EQ(compare_nocase_n(low.c_str(), high.c_str(), 2), 0);
    EXPECT_NE(compare_nocase_n(low.c_str(), high.c_str(), 3), 0);
    EXPECT_EQ(same_text(low.c_str(), copy.c_str()), 1);
    EXPECT_EQ(same_text(low.c_str(), high.c_str()), 0);
    EXPECT_EQ(same_text(none, none), 1);
    EXPECT_EQ(same_text(low.c_str(), none), 0);
    EXPECT_EQ(same_text(none, low.c_str()), 0);
}

TEST(TextTools, LowerCaseKnowsTheLatin1Capitals) {
    for (int byte = 1; byte < 256; ++byte) {
        char text[] = {static_cast<char>(byte), 'Z', '\0'};
        lower_string(text);
        const bool capital =
            (byte >= 'A' && byte <= 'Z') || (byte >= 0xC0 && byte <= 0xDE && byte != 0xD7);
        EXPECT_EQ(static_cast<unsigned char>(text[0]), capital ? byte + 32 : byte) << byte;
        EXPECT_EQ(text[1], 'z');
    }
}

TEST(TextTools, FindsRegardlessOfCaseInTheOriginal) {
    const char text[] = "Num\xc9ro d'appel";
    EXPECT_EQ(find_nocase(text, "\xe9RO"), text + 3);
    EXPECT_EQ(find_nocase(text, ""), text);
    EXPECT_EQ(find_nocase(text, "appels"), nullptr);
    const wchar_t* const wide = L"abcabc";
    EXPECT_EQ(find_wide(wide, L"ca"), wide + 2);
    EXPECT_EQ(find_wide(wide, L"CA"), nullptr);
}

/// Makes the locale known to this process, from the machine's general UTF-8 one if need be.
bool haveFrenchLocale() {
    if (std::setlocale(LC_CTYPE, "fr_FR.UTF-8")) return true;
    const auto folder =
        std::filesystem::path(testing::TempDir()) / ("locale" + std::to_string(getpid()));
    std::filesystem::create_directory(folder);
    std::filesystem::create_symlink("/usr/lib/locale/C.utf8", folder / "fr_FR.UTF-8");
    setenv("LOCPATH", folder.c_str(), 1);
    const bool found = std::setlocale(LC_CTYPE, "fr_FR.UTF-8");
    std::filesystem::remove_all(folder);
    return found;
}

TEST(TextTools, TellsTextsBeyondLatin1) {
    if (!haveFrenchLocale()) GTEST_SKIP() << "no UTF-8 locale for this machine";
    std::setlocale(LC_CTYPE, "C");
    const std::string a63(63, 'a');
    struct Case {
        std::string text;
        short result;
        bool converts;
    };
    const Case cases[] = {
        {"abc \u00e9\u00ff", 0, true}, {"\u0100", 1, true},
        {"\u20ac", 1, true},           {"", 0, false},
        {"\u20ac \xc3(", 0, false},    {a63 + "\u20ac", 1, true},
        {a63 + "a\u20ac", 0, true},    {a63 + "a\xc3(", 0, true},
    };
    for (const Case& c : cases) {
        const CapturedTrace trace;
        EXPECT_EQ(IsUTF8Unicode(c.text.c_str(), 0), c.result) << c.text;
        if (c.converts) {
            EXPECT_THAT(trace.lines(), IsEmpty()) << c.text;
        } else {
            EXPECT_THAT(trace.lines(), ElementsAre(kConversionFailed)) << c.text;
        }
    }
    EXPECT_STREQ(std::setlocale(LC_CTYPE, nullptr), "fr_FR.UTF-8");  // it stays in force

    const CapturedTrace trace;
    EXPECT_EQ(IsUTF8Unicode(nullptr, 1), 0);
    EXPECT_EQ(IsUTF8Unicode("a\u00e9\u20acb", 1), 1);
    EXPECT_EQ(IsUTF8Unicode("b", 1), 0);
    EXPECT_THAT(trace.lines(),
                ElementsAre("@IsUTF8Unicode(): value of dest is = ", "61 ", "e9 ", "20ac ", "\n",
                            "@IsUTF8Unicode(): value of dest is = ", "62 ", "\n"));
}

}  // namespace
