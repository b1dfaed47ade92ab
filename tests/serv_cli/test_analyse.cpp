#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "serv_cli/i_tools.h"
#include "support/captured_trace.h"

namespace {

using Fields = std::vector<std::string>;

/// What a handler saw; it stops at `stop_at`, and scribbles on the copy as it may.
struct Seen {
    Fields fields;
    std::size_t stop_at = 99;

    static short keep(short index, char* field, void* user) {
        auto& self = *static_cast<Seen*>(user);
        EXPECT_EQ(static_cast<std::size_t>(index), self.fields.size());
        self.fields.emplace_back(field);
        if (*field) *field = '!';
        return static_cast<std::size_t>(index) != self.stop_at;
    }
};

TEST(Analyser, CutsARowIntoItsFields) {
    const auto cut = [](unsigned char separator, short fold, const char* row) {
        Seen seen;
        EXPECT_EQ(Do_Analyse_Text_by_new(separator, fold, row, Seen::keep, &seen), 1);
        return seen.fields;
    };
    EXPECT_EQ(cut('\t', 0, "A\t\tc"), Fields({"A", "", "c"}));
    EXPECT_EQ(cut('\t', 0, "\t A \n"), Fields({"", " A \n"}));
    EXPECT_EQ(cut('\t', 0, "\t"), Fields({"", ""}));
    EXPECT_EQ(cut('\t', 0, ""), Fields());
    EXPECT_EQ(cut(0xE9, 0, "a\xe9z\tb"), Fields({"a", "z\tb"}));
    EXPECT_EQ(cut(';', 1, "\xc9\xd7;Z"), Fields({"\xe9\xd7", "z"}));
    Seen folded, plain;
    EXPECT_EQ(Analyse_Text_by_new("A;b\tC", Seen::keep, &folded), 1);
    EXPECT_EQ(folded.fields, Fields({"a;b", "c"}));
    EXPECT_EQ(Analyse_Text_by_new_(';', 0, "A;b\tC", Seen::keep, &plain), 1);
    EXPECT_EQ(plain.fields, Fields({"A", "b\tC"}));
}

TEST(Analyser, StopsWhereTheHandlerSaysSo) {
    Seen first{{}, 1}, second{{}, 1};
    EXPECT_EQ(Do_Analyse_Text_by_new('\t', 0, "a\tb\tc", Seen::keep, &first), 0);
    EXPECT_EQ(Analyse_Text_by_new("a\tb\tc", Seen::keep, &second), 1);
    EXPECT_EQ(first.fields, Fields({"a", "b"}));
    EXPECT_EQ(second.fields, first.fields);
}

short doVelsa(const char* row, std::int32_t count, ...) {
    va_list variables;
    va_start(variables, count);
    const short result = Do_Analyse_Text_Velsa_by_new('\t', 0, row, count, variables);
    va_end(variables);
    return result;
}

TEST(Analyser, StoresTheFirstFieldsInVariables) {
    char mark[] = "mark";
    char *a = nullptr, *b = nullptr, *c = mark;
    char** const no_variable = nullptr;
    EXPECT_EQ(Analyse_Text_Velsa_by_new("One\t\xc9\tThree", 2, &a, &b), 1);
    EXPECT_STREQ(a, "one");
    EXPECT_STREQ(b, "\xe9");
    release_(&a);
    EXPECT_EQ(Analyse_Text_Velsa_by_new("x\ty", 3, &a, &c, &c), 1);  // too few: none is touched
    EXPECT_EQ(a, nullptr);
    release_(&b);
    EXPECT_EQ(Analyse_Text_Velsa_by_new_(';', 0, "One;", 2, &a, &b), 1);
    EXPECT_STREQ(a, "One");
    EXPECT_STREQ(b, "");
    release_(&a);
    release_(&b);
    // A null variable ends the reading: the first is filled, the third unread.
    EXPECT_EQ(doVelsa("x\ty\tz", 3, &a, no_variable, &c), 0);
    EXPECT_STREQ(a, "x");
    EXPECT_EQ(c, mark);
    release_(&a);
    EXPECT_EQ(doVelsa("x", 0) + doVelsa("x", -1) + doVelsa("", 1, no_variable), 3);
}

TEST(Analyser, TellsOfANullRowAndTouchesNothing) {
    Seen seen;
    char** const no_variable = nullptr;
    const CapturedTrace trace;
    EXPECT_EQ(Analyse_Text_by_new(nullptr, Seen::keep, &seen), 1);
    EXPECT_EQ(Analyse_Text_by_new_(';', 0, nullptr, Seen::keep, &seen), 1);
    EXPECT_EQ(Do_Analyse_Text_by_new(';', 0, nullptr, Seen::keep, &seen), 1);
    EXPECT_EQ(Analyse_Text_Velsa_by_new(nullptr, 1, no_variable), 1);
    EXPECT_EQ(Analyse_Text_Velsa_by_new_(';', 0, nullptr, 1, no_variable), 1);
    EXPECT_EQ(doVelsa(nullptr, 1, no_variable), 1);
    EXPECT_TRUE(seen.fields.empty());
    std::string told;
    for (const std::string& line : trace.lines())
        told += line.substr(1, line.find(' ') - 1) + ' ';
    EXPECT_EQ(trace.lines()[0], "@Analyse_Text_by_new RowText NULL   \n");
    EXPECT_EQ(told,
              "Analyse_Text_by_new Do_Analyse_Text_by_new Analyse_Text_by_new_ "
              "Do_Analyse_Text_by_new Do_Analyse_Text_by_new Analyse_Text_Velsa_by_new "
              "Do_Analyse_Text_Velsa_by_new Analyse_Text_Velsa_by_new_ "
              "Do_Analyse_Text_Velsa_by_new Do_Analyse_Text_Velsa_by_new ");
}

}  // namespace
