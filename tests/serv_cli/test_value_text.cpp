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

TEST(TextToolsDeathTest, NullTextsOfComparisonsAreFatal) {
    const auto killed = testing::KilledBySignal(SIGABRT);
    const char both[] = "^Assertion <s1 && s2> failed:\nfile \"serv_cli/i_tools\", line ";
    const wchar_t* no_wide = nullptr;
    const char* none = nullptr;
    EXPECT_EXIT(compare_nocase(none, "a"), killed, both);
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
        if (IsUTF8Unicode("\u20ac", 0) != has_other) _exit(3);
        const CapturedTrace trace;
        if (IsUTF8Unicode("a", 1) != 0) _exit(4);
        if (trace.lines()[0] != "@IsUTF8Unicode(): setlocale failed.   \n") _exit(5);
        if (trace.lines()[2] != "61 ") _exit(6);
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

/// The heap text tools and comparisons in their narrow and in their wide form.
template <class Char>
struct BothWidths : testing::Test {
    using String = std::basic_string<Char>;
    const String one{'o', 'n', 'e'}, two{'T', 'W', 'O'}, upper{'O', 'N', 'F'};
    const Char* const none = nullptr;
};
using Widths = testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(BothWidths, Widths);

TYPED_TEST(BothWidths, HeapTextsAreCopiedExtendedAndReleased) {
    const CapturedTrace trace;
    TypeParam* texts[] = {nullptr, nullptr, nullptr};
    append_(&texts[0], this->one.c_str());
    EXPECT_EQ(texts[0], nullptr);  // a null variable doesn't become the text
    duplicate_(&texts[0], this->one.c_str());
    append_(&texts[0], this->two.c_str());
    append_(&texts[0], this->none);
    append_(&texts[0], texts[0]);  // its own text, which goes only after it was read
    EXPECT_EQ(texts[0], this->one + this->two + this->one + this->two);
    release_(&texts[0]);
    release_(&texts[0]);
    EXPECT_EQ(texts[0], nullptr);

    duplicate_(&texts[0], this->one.substr(3).c_str());
    ASSERT_NE(texts[0], nullptr);
    EXPECT_EQ(*texts[0], 0);
    duplicate_(&texts[2], this->one.c_str());
    release_all(texts, 2);
    EXPECT_EQ(texts[0], nullptr);
    EXPECT_EQ(texts[2], this->one);
    EXPECT_TRUE(trace.lines().empty());
    release_(&texts[2]);
    duplicate_(&texts[2], this->none);
    EXPECT_EQ(texts[2], nullptr);
    EXPECT_THAT(trace.lines(), ElementsAre("@duplicate_ to_copy NULL   \n"));
}

TYPED_TEST(BothWidths, ComparisonsAreThoseOfTheSystem) {
    const auto *low = this->one.c_str(), *high = this->upper.c_str();
    EXPECT_LT(compare_nocase(low, high), 0);
    EXPECT_EQ(compare_nocase_n(low, high, 2), 0);
    EXPECT_LT(compare_nocase_n(low, high, 3), 0);
    EXPECT_EQ(same_text(low, decltype(this->one)(low).c_str()), 1);
    EXPECT_EQ(same_text(this->none, this->none), 1);
    EXPECT_EQ(same_text(low, high) + same_text(low, this->none) + same_text(this->none, low), 0);
}

TEST(TextTools, LowerCaseKnowsTheLatin1Capitals) {
    for (int byte = 1; byte < 256; ++byte) {
        char text[] = {static_cast<char>(byte), 'Z', '\0'};
        lower_string(text);
        const bool capital =
            (byte >= 'A' && byte <= 'Z') || (byte >= 0xC0 && byte <= 0xDE && byte != 0xD7);
        EXPECT_EQ(static_cast<unsigned char>(text[0]), capital ? byte + 32 : byte);
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
    const CapturedTrace trace;
    const std::string a63(63, 'a');
    EXPECT_EQ(IsUTF8Unicode("\u0100", 0) + IsUTF8Unicode((a63 + "\u20ac").c_str(), 0), 2);
    for (const std::string& text :
         {std::string("abc \u00e9\u00ff"), a63 + "a\u20ac", a63 + "a\xc3("}) {
        EXPECT_EQ(IsUTF8Unicode(text.c_str(), 0), 0) << text;
    }
    EXPECT_STREQ(std::setlocale(LC_CTYPE, nullptr), "fr_FR.UTF-8");  // it stays in force
    EXPECT_TRUE(trace.lines().empty());
    EXPECT_EQ(IsUTF8Unicode("", 0) + IsUTF8Unicode("\u20ac \xc3(", 0), 0);
    EXPECT_EQ(IsUTF8Unicode(nullptr, 1), 0);
    EXPECT_EQ(IsUTF8Unicode("a\u00e9\u20acb", 1), 1);
    EXPECT_EQ(IsUTF8Unicode("b", 1), 0);
    const std::string failed =
        "@IsUTF8Unicode(): Multibyte String to Wide Character String conversion failed !   \n";
    const std::string values = "@IsUTF8Unicode(): value of dest is = ";
    EXPECT_THAT(trace.lines(), ElementsAre(failed, failed, values, "61 ", "e9 ", "20ac ", "\n",
                                           values, "62 ", "\n"));
}

}  // namespace
