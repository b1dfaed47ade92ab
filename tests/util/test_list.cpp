#include <gmock/gmock.h>

#include <memory>
#include <sstream>
#include <string>

#include "util/i_trace.h"
#include "util/l_univ.h"

namespace {

using testing::HasSubstr;

std::string printed;

class ListTest : public testing::Test {
  protected:
    void SetUp() override {
        printed.clear();
        setTraceSink([](const char* text) { printed += text; });
    }
    void TearDown() override {
        setTraceSink(nullptr);
        EXPECT_EQ(l_univ_alive, 0);
    }
};
using ListDeathTest = ListTest;

template <typename Element, typename Value>
Element* made(Value value) {
    auto* const element = new Element;
    element->value = value;
    return element;
}

// The digits of a list of numbers with the cursor as brackets: "1[2]3", "[]12", "12[]".
std::string shown(const l_univ& l) {
    std::string text = l.pos_curseur == 0 ? "[]" : "";
    int position = 0;
    for (const auto* n = l.prem; n; n = n->suiv) {
        const bool under_cursor = ++position == l.pos_curseur;
        EXPECT_EQ(n == l.cour, under_cursor);
        const auto digit = std::to_string(static_cast<const el_integer*>(n->val)->value);
        text += under_cursor ? "[" + digit + "]" : digit;
    }
    return l.pos_curseur > position ? text + "[]" : text;
}

// The states of the table below: empty; left of, on each element of, and right of the list 123.
void bringTo(l_univ& l, int state) {
    for (int i = 1; i <= 3 && state > 0; ++i)
        l.put(i, 0);
    if (state == 1) l.start(), l.back();
    if (state > 1 && state < 5) l.go(state - 1);
    if (state == 5) l.forth();
}

// What an operation makes of the six states ('#' for the fatal assertion), its reports in that
// order, and the assertion's expression.
const struct Row {
    void (*operation)(l_univ&);
    const char* cells;
    std::string reports;
    const char* fault = "";
} kTable[] = {
    {[](l_univ& l) { l.start(); }, "[] [1]23 [1]23 [1]23 [1]23 [1]23", ""},
    {[](l_univ& l) { l.finish(); }, "[] 12[3] 12[3] 12[3] 12[3] 12[3]", ""},
    {[](l_univ& l) { l.forth(); }, "[] [1]23 1[2]3 12[3] 123[] 123[]",
     "tape l_univ: forth impossible, list empty!\ntape l_univ: forth impossible, overflow!\n"},
    {[](l_univ& l) { l.back(); }, "[] []123 []123 [1]23 1[2]3 12[3]",
     "tape l_univ: back impossible, list empty!\ntape l_univ: back impossible, off!\n"},
    {[](l_univ& l) { l.go(2); }, "# 1[2]3 1[2]3 1[2]3 1[2]3 1[2]3", "",
     "nb_elem >0 && n>=1 && n<=nb_elem"},
    {[](l_univ& l) { EXPECT_NE(l.item(t_int), nullptr); }, "# 12[3] [1]23 1[2]3 12[3] 12[3]",
     "tape l_univ::item: index= 0, count= 3 off!\nreturns last item\n"
     "tape l_univ::item: index= 4, count= 3 off!\nreturns last item\n",
     "!off() && cour != NULL"},
    {[](l_univ& l) { EXPECT_NE(l.i_th(2, t_int), nullptr); }, "# []123 [1]23 1[2]3 12[3] 123[]", "",
     "(!empty()) && (n>=1) && (n<=nb_elem)"},
    {[](l_univ& l) { l.put(9, 0); }, "[9] # 1[9]23 12[9]3 123[9] 123[]",
     "tape l_univ: put_right denied: index 4, count 3, id_type -3, v->id_type -3\n",
     "cour != NULL"},
    {[](l_univ& l) { l.put(9, 1); }, "[9] # [9]123 1[9]23 12[9]3 #", "", "empty() || !off()"},
    {[](l_univ& l) { l.replace(made<el_int>(9)); }, "# # [9]23 1[9]3 12[9] #", "",
     "v!= NULL && !off()"},
    {[](l_univ& l) { l.remove(); }, "[] []123 [2]3 1[3] 12[] 123[]",
     "tape l_univ: remove denied: empty\ntape l_univ: remove denied: off\n"
     "tape l_univ: remove denied: off\n"},
    {[](l_univ& l) { l.wipe_out(); }, "[] [] [] [] [] []", ""},
    {[](l_univ& l) { l = l; }, "[] []123 [1]23 1[2]3 12[3] 123[]", ""},
    {[](l_univ& l) { l.append_all(l); }, "[] 12312[3] 12312[3] 12312[3] 12312[3] 12312[3]", ""},
};

TEST_F(ListDeathTest, EveryOperationFromEveryState) {
    for (const Row& row : kTable) {
        std::istringstream cells(row.cells);
        std::string cell;
        std::string reports;
        for (int state = 0; cells >> cell; ++state) {
            SCOPED_TRACE(std::string(row.cells) + ", state " + std::to_string(state));
            l_univ l("tape", t_int);
            bringTo(l, state);
            printed.clear();
            if (cell == "#") {
                const bool plain = row.fault[0] == 'n';  // `go` doesn't name the list
                const std::string text = std::string("Assertion <") + row.fault +
                                         "> failed:\nfile \"util/l_univ\", line ";
                EXPECT_DEATH(row.operation(l), HasSubstr(text));
                EXPECT_DEATH(row.operation(l), plain ? "line [0-9]+\n" : "line [0-9]+, tape\n");
            } else {
                row.operation(l);
                EXPECT_EQ(shown(l), cell);
                reports += printed;
            }
        }
        EXPECT_EQ(reports, row.reports);
    }
}

TEST_F(ListDeathTest, TagsAndNullsAreTheCallersFault) {
    l_univ numbers("tape", t_int);
    l_univ letters("letters", t_char);
    l_univ all;
    numbers.put(1, 0);
    el_char letter;
    const auto put = HasSubstr("<v != NULL && (id_type == t_liste || v->id_type == id_type)>");
    const auto range = HasSubstr("<(pos <= l.nb_elem) && (nb>0)>");
    EXPECT_DEATH(numbers.put_right(nullptr), HasSubstr("<v != NULL>"));
    EXPECT_DEATH(numbers.put_left(&letter), put);
    EXPECT_DEATH(numbers.put_sorted(&letter, 0), put);
    EXPECT_DEATH(numbers.replace(&letter), HasSubstr("<v->id_type == cour->val->id_type>"));
    EXPECT_DEATH(numbers.i_th(1, t_char), HasSubstr("<rep->id_type == id>"));
    EXPECT_DEATH(numbers.append_all(letters),
                 HasSubstr("<id_type == t_liste || l.id_type == t_liste || id_type == l.id_type>"));
    EXPECT_DEATH(all.append_from(numbers, 2, 1), range);
    EXPECT_DEATH(all.append_from(numbers, 1, 0), range);
    setTraceSink([](const char* text) { std::fputs(text, stderr); });
    EXPECT_DEATH(numbers.item_char(),
                 HasSubstr("tape l_univ::item, type attendu -2 <> lu -3\nAssertion <id == t_neutre "
                           "|| cour->val->id_type == id> failed:"));
}

TEST_F(ListTest, TypedValuesComeBackAndDeniedOnesGo) {
    l_univ all(nullptr);
    int target = 0;
    all.put_pointer(&target, 5, 2);
    EXPECT_EQ(all.item_pointer(5), &target);
    all.put(short{7}, 1);
    EXPECT_EQ(all.item_bool(), 7);
    all.put('c', 1);
    EXPECT_EQ(all.item_char(), 'c');
    all.put(-2, 1);
    EXPECT_EQ(all.item_long(), -2);
    all.put(-3L, 1);
    EXPECT_EQ(all.item_int(), -3);
    all.put(1.5F, 1);
    EXPECT_EQ(all.item_float(), 1.5F);
    all.put(2.25, 1);
    EXPECT_EQ(all.item_double(), 2.25);
    all.put("text", 1);
    EXPECT_STREQ(all.item_text(), "text");
    EXPECT_EQ(all.pos_curseur, 1);
    all.cour = nullptr;  // a cursor that lost its node is reported and lands on the last element
    EXPECT_EQ(all.item(5), all.dern->val);

    l_univ numbers(nullptr, t_neutre);
    numbers.put('c', 0);
    EXPECT_EQ(printed,
              " l_univ::item: index= 1, count= 8 cour=NULL\nreturns last item\n"
              " l_univ: put_right denied: index 0, count 0, id_type 0, v->id_type -2\n");
}

TEST_F(ListTest, CopiesShareAndKeepTheirLimits) {
    l_univ big("big", t_int);
    for (int i = 0; i < 40000; ++i)
        big.put(i, 0);
    l_univ target("target");
    target = big;
    EXPECT_EQ(l_univ(big).count() + target.count(), 2 * 32767);
    EXPECT_EQ((big + target).count(), 2 * 32767);
    EXPECT_EQ(big.dern->val->nb_ref, 1);
    EXPECT_EQ(big.prem->val->nb_ref, 2);
    target.append_all(big);
    EXPECT_EQ(target.count(), 32767 + 40000);
    EXPECT_EQ(big.pos_curseur, 40000);
    EXPECT_STREQ(target.nom, "big");
    l_univ none("none");
    target = none;
    EXPECT_STREQ(target.nom, "none");
    EXPECT_EQ(target.id_type, t_liste);
}

TEST_F(ListTest, EachClassHasItsTextAndItsOrder) {
    const struct {
        elem_list *smaller, *greater;  // or equal ones, where `ordered` is 0
        int ordered;
        const char* text;
    } cases[] = {
        {new elem_list(-77), new elem_list(-77), 0, "id_elem_list=-77 * "},
        {made<el_bool>(short{2}), made<el_bool>(short{0}), 0, "TRUE "},
        {made<el_bool>(short{0}), made<el_bool>(short{2}), 0, "FALSE "},
        {made<el_char>('x'), made<el_char>('\xE9'), 1, "x * "},
        {made<el_int>(INT32_MIN), made<el_long>(INT32_MAX), 1, "-2147483648 * "},
        {made<el_long>(INT32_MAX), made<el_int>(INT32_MAX), 0, "2147483647 * "},
        {made<el_float>(0.5F), made<el_float>(1.0F), 1, "0.500000 * "},
        {made<el_double>(16777217.0), made<el_double>(16777217.5), 1, "16777216.000000 * "},
        {new el_CharString("ab"), new el_CharString("ab\xE9"), 1, "ab\n"},
        {new el_pointer(nullptr, 12), new el_pointer(&printed, 12), 0, "pt=0 id=12 * "},
    };
    const l_univ order;
    for (const auto& [smaller, greater, ordered, text] : cases) {
        const std::unique_ptr<elem_list> owners[] = {std::unique_ptr<elem_list>(smaller),
                                                     std::unique_ptr<elem_list>(greater)};
        printed.clear();
        smaller->texte << "note";
        smaller->print();
        smaller->emit_texte();
        smaller->emit_texte();
        EXPECT_EQ(printed, std::string(text) + "note");
        EXPECT_EQ(order.compare(smaller, greater), -ordered);
        EXPECT_EQ(order.compare(greater, smaller), ordered);
    }
}

TEST_F(ListTest, SortedInsertion) {
    l_univ l("L");
    for (const auto& [value, position] : {std::pair(3, 1), {1, 1}, {2, 2}, {9, 4}, {0, 1}}) {
        l.put(value, 2);
        EXPECT_EQ(l.pos_curseur, position);
    }
    auto* const later = made<el_long>(2);
    EXPECT_EQ(l.put_sorted(later, 0), nullptr);
    EXPECT_EQ(l.i_th(3, t_int), later);
    el_int refused;
    refused.value = 2;
    EXPECT_EQ(l.put_sorted(&refused, 1), later);
    EXPECT_EQ(refused.nb_ref, 0);
    EXPECT_EQ(shown(l), "01[2]239");
    l.put('c', 1);
    l.put(5, 2);  // another tag ends the run
    l.print();
    EXPECT_EQ(printed, "L:\n0 * 1 * 5 * c * 2 * 2 * 3 * 9 * \n");

    struct Falling : l_sorted {
        short compare(const elem_list* a, const elem_list* b) const override {
            return static_cast<short>(-l_sorted::compare(a, b));
        }
    } falling;
    for (const int value : {1, 3, 2})
        falling.put_sorted(made<el_int>(value), 1);
    printed.clear();
    falling.print();
    EXPECT_EQ(printed, "ListUniv:\n3 * 2 * 1 * \n");
}

TEST_F(ListTest, SearchesEndOnTheFindOrOffToTheRight) {
    l_univ l("L");
    for (const int value : {4, 5, 4})
        l.put(value, 0);
    l.put(short{1}, 0);
    elem_list* const last_four = l.i_th(3, t_int);
    elem_list* const first_four = l.i_th(1, t_int);
    el_bool no;
    const auto here = [&l](short found) { return found * 10 + l.pos_curseur; };
    EXPECT_EQ(here(l.search_equal(last_four, 1)), 11);
    EXPECT_EQ(here(l.search_same(last_four, 0)), 13);
    EXPECT_EQ(here(l.search_equal(first_four, 0)), 13);
    EXPECT_EQ(here(l.search_same(first_four, 0)), 5);
    EXPECT_EQ(here(l.search_same(first_four, 0)), 5);
    EXPECT_EQ(here(l.search_equal(&no, 1)), 14);  // truth values have no difference
    l.wipe_out();
    EXPECT_EQ(here(l.search_same(&no, 1)), 0);
}

TEST_F(ListTest, RangesPrintFromToAndTellWhereTheyEnd) {
    l_univ l("L", t_int);
    EXPECT_EQ(l.print_range(1, 0), -1);
    bringTo(l, 3);
    EXPECT_EQ(l.print_range(4, 1), 2);
    EXPECT_EQ(l.print_range(1, 2), 3);
    EXPECT_EQ(l.print_range(2, INT32_MAX), -1);
    l.print_state();
    l_univ outer("outer");
    outer.put('a', 0);
    outer.put_end(new l_univ(l));
    outer.print();
    EXPECT_EQ(printed,
              "L:\n\nL:\n\nL:\n1 * 2 * \nL:\n2 * 3 * \nL: nb_elem= 3, pos_curseur= 4\n"
              "outer:\na * L:\n1 * 2 * 3 * \n\n");
}

}  // namespace
