#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "serv_cli/i_tools.h"
#include "support/captured_trace.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
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
    struct Case {
        unsigned char separator;
        short fold;
        const char* row;
        Fields fields;
    };
    const Case cases[] = {
        {'\t', 1, "a\tb\tc", {"a", "b", "c"}},
        {'\t', 0, "a\t\tc", {"a", "", "c"}},
        {'\t', 0, "\ta", {"", "a"}},
        {'\t', 0, "a\t", {"a", ""}},
        {'\t', 0, "\t", {"", ""}},
        {'\t', 0, "", {}},
        {'\t', 0, " A b \n", {" A b \n"}},
        {' ', 1, "A B\tC", {"a", "b\tc"}},
        {0xE9,
         0,
         "a\xe9"
         "b",
         {"a", "b"}},
        {';', 1, "\xc9\xd7\xdf;Z", {"\xe9\xd7\xdf", "z"}},
    };
    for (const Case& c : cases) {
        Seen seen;
        EXPECT_EQ(Do_Analyse_Text_by_new(c.separator, c.fold, c.row, Seen::keep, &seen), 1);
        EXPECT_EQ(seen.fields, c.fields) << c.row;
    }
    Seen folded, plain;
    EXPECT_EQ(Analyse_Text_by_new("A;b\tC", Seen::keep, &folded), 1);
    EXPECT_THAT(folded.fields, ElementsAre("a;b", "c"));
    EXPECT_EQ(Analyse_Text_by_new_(';', 0, "A;b\tC", Seen::keep, &plain), 1);
    EXPECT_THAT(plain.fields, ElementsAre("A", "b\tC"));
}

TEST(Analyser, StopsWhereTheHandlerSaysSo) {
    const char row[] = "a\tb\tc\td\te";
    Seen first{{}, 1}, second{{}, 1}, last{{}, 4};
    EXPECT_EQ(Do_Analyse_Text_by_new('\t', 0, row, Seen::keep, &first), 0);
    EXPECT_THAT(first.fields, ElementsAre("a", "b"));
    EXPECT_EQ(Analyse_Text_by_new(row, Seen::keep, &second), 1);
    EXPECT_THAT(second.fields, ElementsAre("a", "b"));
    EXPECT_EQ(Do_Analyse_Text_by_new('\t', 0, row, Seen::keep, &last), 0);
    EXPECT_EQ(last.fields.size(), 5U);
}

short doVelsa(unsigned char separator, short fold, const char* row, std::int32_t count, ...) {
    va_list variables;
    va_start(variables, count);
    const short result = Do_Analyse_Text_Velsa_by_new(separator, fold, row, count, variables);
    va_end(variables);
    return result;
}

TEST(Analyser, StoresTheFirstFieldsInVariables) {
    char mark[] = "mark";
    char *a = nullptr, *b = nullptr, *c = mark, *d = mark;
    EXPECT_EQ(Analyse_Text_Velsa_by_new("One\t\xc9\tThree", 2, &a, &b), 1);
    EXPECT_STREQ(a, "one");
    EXPECT_STREQ(b, "\xe9");
    // Too few fields: no variable is touched.
    char *const a_before = a, *const b_before = b;
    EXPECT_EQ(Analyse_Text_Velsa_by_new("x\ty\tz", 4, &a, &b, &c, &d), 1);
    EXPECT_EQ(a, a_before);
    EXPECT_EQ(b, b_before);
    EXPECT_EQ(c, mark);
    EXPECT_EQ(d, mark);
    release_(&a);
    release_(&b);
    EXPECT_EQ(Analyse_Text_Velsa_by_new_(';', 0, "One;", 2, &a, &b), 1);
    EXPECT_STREQ(a, "One");
    EXPECT_STREQ(b, "");
    release_(&a);
    release_(&b);
    // A null variable ends the reading: the first is filled, the third unread.
    char** const no_variable = nullptr;
    EXPECT_EQ(doVelsa('\t', 0, "x\ty\tz", 3, &a, no_variable, &c), 0);
    EXPECT_STREQ(a, "x");
    EXPECT_EQ(c, mark);
    release_(&a);
    for (const std::int32_t count : {0, -1})
        EXPECT_EQ(doVelsa('\t', 0, "x", count), 1);
    EXPECT_EQ(doVelsa('\t', 0, "", 1, no_variable), 1);
}

TEST(Analyser, TellsOfANullRowAndTouchesNothing) {
    Seen seen;
    char mark[] = "mark";
    char* variable = mark;
    const CapturedTrace trace;
    EXPECT_EQ(Analyse_Text_by_new(nullptr, Seen::keep, &seen), 1);
    EXPECT_EQ(Analyse_Text_by_new_(';', 0, nullptr, Seen::keep, &seen), 1);
    EXPECT_EQ(Do_Analyse_Text_by_new(';', 0, nullptr, Seen::keep, &seen), 1);
    EXPECT_EQ(Analyse_Text_Velsa_by_new(nullptr, 1, &variable), 1);
    EXPECT_EQ(Analyse_Text_Velsa_by_new_(';', 0, nullptr, 1, &variable), 1);
    EXPECT_EQ(doVelsa(';', 0, nullptr, 1, &variable), 1);
    EXPECT_THAT(seen.fields, IsEmpty());
    EXPECT_EQ(variable, mark);
    EXPECT_THAT(trace.lines(), ElementsAre("@Analyse_Text_by_new RowText NULL   \n",
                                           "@Do_Analyse_Text_by_new RowText NULL   \n",
                                           "@Analyse_Text_by_new_ RowText NULL   \n",
                                           "@Do_Analyse_Text_by_new RowText NULL   \n",
                                           "@Do_Analyse_Text_by_new RowText NULL   \n",
                                           "@Analyse_Text_Velsa_by_new RowText NULL   \n",
                                           "@Do_Analyse_Text_Velsa_by_new RowText NULL   \n",
                                           "@Analyse_Text_Velsa_by_new_ RowText NULL   \n",
                                           "@Do_Analyse_Text_Velsa_by_new RowText NULL   \n",
                                           "@Do_Analyse_Text_Velsa_by_new RowText NULL   \n"));
}

}  // namespace
