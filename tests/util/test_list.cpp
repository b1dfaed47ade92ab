#include <gmock/gmock.h>

#include <algorithm>
#include <functional>
#include <map>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "util/i_trace.h"
#include "util/l_univ.h"

namespace {

using testing::HasSubstr;

std::string printed;

// Each test begins with nothing printed and ends with no list alive.
struct ListTest : testing::Test {
    ListTest() {
        printed.clear();
        setTraceSink([](const char* text) { printed += text; });
    }
    ~ListTest() override { EXPECT_EQ(l_univ_alive, 0); }
};
using ListDeathTest = ListTest;

template <typename Element, typename Value>
std::unique_ptr<Element> made(Value value) {
    auto element = std::make_unique<Element>();
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
    for (int i = 1; i <= 3 && state > 0; ++i) l.put(i, 0);
    if (state == 1) l.start(), l.back();
    if (state > 1 && state < 5) l.go(state - 1);
    if (state == 5) l.forth();
}

void tells(const l_univ& l, short found) { EXPECT_EQ(found, !l.off()); }

// What an operation makes of the six states ('#' for the fatal assertion, '-' where nothing is
// tried), its reports in that order, and the assertion's expression.
const struct Row {
    void (*operation)(l_univ&);
    const char* cells;
    std::string reports = "";
    const char* fault = "";
} kTable[] = {
    {[](l_univ& l) { l.start(); }, "[] [1]23 [1]23 [1]23 [1]23 [1]23"},
    {[](l_univ& l) { l.finish(); }, "[] 12[3] 12[3] 12[3] 12[3] 12[3]"},
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
    {[](l_univ& l) { l.replace(made<el_int>(9).release()); }, "# # [9]23 1[9]3 12[9] #", "",
     "v!= NULL && !off()"},
    {[](l_univ& l) { l.remove(); }, "[] []123 [2]3 1[3] 12[] 123[]",
     "tape l_univ: remove denied: empty\ntape l_univ: remove denied: off\n"
     "tape l_univ: remove denied: off\n"},
    {[](l_univ& l) { l.wipe_out(); }, "[] [] [] [] [] []"},
    {[](l_univ& l) { l.put(2, 2); }, "[2] 1[2]23 1[2]23 1[2]23 1[2]23 1[2]23"},
    {[](l_univ& l) { l.put(9, 2); }, "[9] 123[9] 123[9] 123[9] 123[9] 123[9]", ""},
    {[](l_univ& l) { EXPECT_EQ(l.put_sorted(made<el_int>(2).get(), 1), l.i_th(2, 0)); },
     "- 1[2]3 1[2]3 1[2]3 1[2]3 1[2]3", ""},
    {[](l_univ& l) { tells(l, l.search_equal(made<el_int>(2).get(), 0)); },
     "[] []123 1[2]3 1[2]3 123[] 123[]"},
    {[](l_univ& l) { tells(l, l.search_same(l.i_th(2, 0), 0)); },
     "- []123 1[2]3 1[2]3 123[] 123[]"},
    {[](l_univ& l) { tells(l, l.search_equal(made<el_bool>(short{2}).get(), 1)); },
     "[] 123[] 123[] 123[] 123[] 123[]"},
    {[](l_univ& l) { l = static_cast<l_univ&>(l); }, "[] []123 [1]23 1[2]3 12[3] 123[]"},
    {[](l_univ& l) { l.append_all(l); }, "[] 12312[3] 12312[3] 12312[3] 12312[3] 12312[3]"},
};

TEST_F(ListDeathTest, EveryOperationFromEveryState) {
    for (const Row& row : kTable) {
        std::istringstream cells(row.cells);
        std::string cell, reports;
        for (int state = 0; cells >> cell; ++state) {
            SCOPED_TRACE(std::string(row.cells) + ", state " + std::to_string(state));
            if (cell == "-") continue;
            l_univ l("tape", t_int);
            bringTo(l, state);
            printed.clear();
            if (cell == "#") {
                const auto text = std::string(row.fault) + "> failed:\nfile \"util/l_univ\", line ";
                const char* const end = row.fault[0] == 'n' ? "[0-9]\n" : "[0-9], tape\n";
                EXPECT_DEATH(row.operation(l),  // `go` alone doesn't name the list
                             testing::AllOf(HasSubstr(text), testing::ContainsRegex(end)));
            } else {
                row.operation(l);
                EXPECT_EQ(shown(l), cell);
                reports += printed;
            }
        }
        EXPECT_EQ(reports, row.reports);
    }
}

TEST_F(ListDeathTest, ForeignTagsAreTheCallersFault) {
    l_univ l("tape", t_int), letters("letters", t_char);
    l.put(1, 0);
    el_char letter;
    EXPECT_DEATH(l.put_sorted(&letter, 0),
                 HasSubstr("<v != NULL && (id_type == t_liste || v->id_type == id_type)>"));
    EXPECT_DEATH(l.replace(&letter), HasSubstr("<v->id_type == cour->val->id_type>"));
    EXPECT_DEATH(l.append_all(letters),
                 HasSubstr("<id_type == t_liste || l.id_type == t_liste || id_type == l.id_type>"));
    EXPECT_DEATH(l.item_char(), HasSubstr("<id == t_neutre || cour->val->id_type == id>"));
}

TEST_F(ListTest, TypedValuesPrintInTheirOwnWay) {
    l_univ all(nullptr);
    all.put_pointer(nullptr, 12, 2);  // pointers have no order: put before the cursor
    all.put(1, 1);
    all.put(INT32_MIN, 2);  // in front of the 1
    all.put(2L, 2);         // behind the 1, in front of the pointer's tag
    all.put(short{7}, 1);
    all.put('c', 1);
    all.put(1.5F, 1);
    all.put(16777217.0, 1);
    EXPECT_EQ(all.item_double(), 16777217.0);  // only the print is of single width
    all.put("text", 1);
    all.put_end(new elem_list(-77));
    all.print();
    all.cour = nullptr;  // a cursor that lost its node lands on the last element
    all.pos_curseur = 1;
    EXPECT_EQ(all.item(-77), all.dern->val);
    EXPECT_EQ(printed,
              ":\n-2147483648 * 1 * text\n16777216.000000 * 1.500000 * c * TRUE 2 * pt=0 id=12 * "
              "id_elem_list=-77 * \n"
              " l_univ::item: index= 1, count= 10 cour=NULL\nreturns last item\n");
}

TEST_F(ListTest, CopiesShareAndKeepTheirLimits) {
    l_univ big("big", t_int);
    for (int i = 0; i < 40000; ++i) big.put(i, 0);
    l_univ target("target");
    target = big;
    EXPECT_EQ(l_univ(big).count() + target.count(), 2 * 32767);
    EXPECT_EQ((target + big).count(), 2 * 32767);
    EXPECT_EQ(big.prem->val->nb_ref + big.dern->val->nb_ref, 3);
    target.append_all(big);
    EXPECT_EQ(target.count(), 32767 + 40000);
}

TEST_F(ListTest, EachClassHasItsOrder) {
    l_sorted l;
    for (const char* text : {"ab\xE9", "ab"}) l.put_sorted(new el_CharString(text), 0);
    for (const char value : {'x', '\x80', '\x7F'}) l.put_sorted(made<el_char>(value).release(), 0);
    for (const double value : {1.0, 0.5}) l.put_sorted(made<el_double>(value).release(), 0);
    l.print();
    EXPECT_EQ(printed, "ListUniv:\n0.500000 * 1.000000 * x * \x7F * \x80 * ab\nab\xE9\n\n");
}

TEST_F(ListTest, RangesPrintFromToAndTellWhereTheyEnd) {
    l_univ l("L", t_int);
    EXPECT_EQ(l.print_range(1, 0), -1);
    bringTo(l, 3);
    EXPECT_EQ(l.print_range(4, 1), 2);
    EXPECT_EQ(l.print_range(1, 2), 3);
    EXPECT_EQ(l.print_range(2, INT32_MAX), -1);
    l_univ outer("outer");
    outer.put('a', 0);
    outer.put_end(new l_univ(l));
    outer.print();
    EXPECT_EQ(printed, "L:\n\nL:\n\nL:\n1 * 2 * \nL:\n2 * 3 * \nouter:\na * L:\n1 * 2 * 3 * \n\n");
}

// A random walk: lists beside plain models, each a vector and the number of the cursor.

using Elements = std::vector<elem_list*>;

Elements elementsOf(const l_univ& l) {
    Elements found;
    for (const auto* n = l.prem; n; n = n->suiv) {
        found.push_back(n->val);
        EXPECT_EQ(n->suiv ? n->suiv->prec : l.dern, n);
    }
    return found;
}

struct Modelled {
    l_univ list;
    Elements held = {};
    int cursor = 0;

    int size() const { return static_cast<int>(held.size()); }
    bool on() const { return cursor >= 1 && cursor <= size(); }
    void insert(elem_list* v) { held.insert(held.begin() + cursor++, v); }
    elem_list*& at(int n) { return held[static_cast<std::size_t>(n) - 1]; }
    void set(const Elements& elements) { held = elements, cursor = size(); }
};

std::mt19937 random_number;
int below(int n) { return static_cast<int>(random_number() % static_cast<unsigned>(n)); }

// One that the list holds already, a new number, or a new list that shares the list's numbers.
elem_list* any(Modelled& m) {
    if (below(3) && !m.held.empty()) return m.at(1 + below(m.size()));
    if (below(5)) return new el_int;
    auto* const list = new l_univ;
    for (elem_list* v : m.held)
        if (v->id_type == t_int) list->put_end(v);
    return list;
}

// A range of one list behind another's cursor or in its place, or a nested list for the whole.
void share(Modelled& m, Modelled& from) {
    if (m.on() && m.at(m.cursor)->id_type == t_liste) {
        auto& nested = static_cast<l_univ&>(*m.at(m.cursor));
        m.set(elementsOf(nested));
        m.list = nested;  // which may live by this list alone
        return;
    }
    if (from.held.empty()) return;
    const int pos = 1 + below(from.size());
    const int nb = 1 + below(from.size());
    const int end = std::min(pos - 1 + nb, from.size());
    const Elements range(from.held.begin() + pos - 1, from.held.begin() + end);
    const bool assigned = below(3) == 0;
    if (m.cursor == 0 && !assigned) m.list.finish(), m.cursor = m.size();
    if (&m != &from && !from.on()) from.cursor = end + 1;
    if (assigned) m.set(range);
    for (std::size_t i = 0; i < range.size() && !assigned && m.cursor <= m.size(); ++i)
        m.insert(range[i]);
    (m.list.*(assigned ? &l_univ::assign_from : &l_univ::append_from))(from.list, pos, nb);
}

void step(Modelled& m, Modelled& other) {
    l_univ& l = m.list;
    const int n = m.size();
    const int k = n ? 1 + below(n) : 0;
    const int way = below(n < 99 ? 11 : 6);  // beyond that the list only shrinks
    elem_list* const v = way > 6 ? any(m) : nullptr;
    const std::function<void()> steps[] = {
        [&] { l.start(), m.cursor = std::min(n, 1); },
        [&] { l.forth(), m.cursor = n ? std::min(m.cursor + 1, n + 1) : 0; },
        [&] { l.back(), m.cursor = std::max(m.cursor - 1, 0); },
        [&] { return n ? l.go(k), m.cursor = k, void() : void(); },
        [&] {
            l.remove();
            if (m.on()) m.held.erase(m.held.begin() + m.cursor - 1);
            if (m.held.empty()) m.cursor = 0;
        },
        [&] { return below(20) ? void() : (l.wipe_out(), m.set({})); },
        [&] { share(m, other); },
        [&] { l.put_end(v), m.cursor = n, m.insert(v); },
        [&] { return m.on() ? l.put_left(v), --m.cursor, m.insert(v) : void(); },
        [&] { return m.cursor ? l.put_right(v), m.on() ? m.insert(v) : void() : void(); },
        [&] {
            if (m.on() && m.at(m.cursor)->id_type == v->id_type) l.replace(v), m.at(m.cursor) = v;
        },
    };
    steps[way]();
    if (v && v->nb_ref == 0) delete v;
}

std::map<const elem_list*, int> counts;  // nodes that hold an element, nested lists' too

void count(const Elements& elements) {
    for (const elem_list* v : elements)
        if (++counts[v] == 1 && v->id_type == t_liste)
            count(elementsOf(*static_cast<const l_univ*>(v)));
}

TEST_F(ListTest, BehavesLikeAVectorWithACursor) {
    const unsigned seed = std::random_device()();
    SCOPED_TRACE("seed " + std::to_string(seed));
    random_number.seed(seed);
    Modelled lists[3];
    for (int i = 0; i < 20000 && !HasFailure(); ++i) {
        step(lists[below(3)], lists[below(3)]);
        counts.clear();
        for (const Modelled& m : lists) {
            EXPECT_EQ(m.list.pos_curseur, m.cursor);
            EXPECT_EQ(m.list.off(), !m.on());
            EXPECT_EQ(elementsOf(m.list), m.held);
            count(m.held);
        }
        for (const auto& [element, references] : counts) EXPECT_EQ(element->nb_ref, references);
    }
}

}  // namespace
