#include <gmock/gmock.h>
#include <unistd.h>

#include <algorithm>
#include <functional>
#include <map>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "util/i_os_mutex.h"
#include "util/i_os_thread.h"
#include "util/i_trace.h"
#include "util/l_univ.h"

namespace {

std::string printed;

// Each test begins with nothing printed and ends with no list alive.
struct ListTest : testing::Test {
    ListTest() {
        printed.clear();
        setTraceSink([](const char* text) {
            EXPECT_EQ(systemMutex()->owner_id, threadId());  // so nobody else comes in
            printed += text;
        });
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

using Elements = std::vector<elem_list*>;

// What the nodes hold, which are linked both ways and of which the cursor's is the one it counts.
Elements elementsOf(const l_univ& l) {
    Elements found;
    for (const auto* n = l.prem; n; n = n->suiv) {
        found.push_back(n->val);
        EXPECT_EQ(n->suiv ? n->suiv->prec : l.dern, n);
        EXPECT_EQ(n == l.cour, static_cast<int>(found.size()) == l.pos_curseur);
    }
    return found;
}

// The digits of a list of numbers with the cursor as brackets: "1[2]3", "[]12", "12[]".
std::string shown(const l_univ& l) {
    std::string text = l.pos_curseur == 0 ? "[]" : "";
    int position = 0;
    for (const elem_list* v : elementsOf(l)) {
        const auto digit = std::to_string(static_cast<const el_integer*>(v)->value);
        text += ++position == l.pos_curseur ? "[" + digit + "]" : digit;
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

const auto two = made<el_int>(2);
el_char letter;  // foreign to the list of numbers
constexpr char kFits[] = "v != NULL && (id_type == t_liste || v->id_type == id_type)";

// What an operation makes of the six states ('#' for the fatal assertion, '-' where nothing is
// tried), its reports in that order, and the assertion's expression with a last report before it.
const struct Row {
    void (*operation)(l_univ&);
    const char* cells;
    std::string reports = "";
    const char* fault = "";
} kTable[] = {
    {[](auto& l) { l.forth(); }, "[] [1]23 1[2]3 12[3] 123[] 123[]",
     "tape l_univ: forth impossible, list empty!\ntape l_univ: forth impossible, overflow!\n"},
    {[](auto& l) { l.back(); }, "[] []123 []123 [1]23 1[2]3 12[3]",
     "tape l_univ: back impossible, list empty!\ntape l_univ: back impossible, off!\n"},
    {[](auto& l) { l.go(2); }, "# 1[2]3 1[2]3 1[2]3 1[2]3 1[2]3", "",
     "nb_elem >0 && n>=1 && n<=nb_elem"},
    {[](auto& l) { l.go(0); }, "- # - - - -", "", "nb_elem >0 && n>=1 && n<=nb_elem"},
    {[](auto& l) { EXPECT_NE(l.item(t_int), nullptr); }, "# 12[3] [1]23 1[2]3 12[3] 12[3]",
     "tape l_univ::item: index= 0, count= 3 off!\nreturns last item\n"
     "tape l_univ::item: index= 4, count= 3 off!\nreturns last item\n",
     "tape l_univ::item: index= 0, count= 0 off!\nAssertion <!off() && cour != NULL"},
    {[](auto& l) { l.item_char(); }, "- - - # - -", "",
     "tape l_univ::item, type attendu -2 <> lu -3\n"
     "Assertion <id == t_neutre || cour->val->id_type == id"},
    {[](auto& l) { EXPECT_NE(l.i_th(2, t_int), nullptr); }, "# []123 [1]23 1[2]3 12[3] 123[]", "",
     "(!empty()) && (n>=1) && (n<=nb_elem)"},
    {[](auto& l) { l.i_th(1, t_char); }, "- # - - - -", "", "rep->id_type == id"},
    {[](auto& l) { l.put(9, 0); }, "[9] # 1[9]23 12[9]3 123[9] 123[]",
     "tape l_univ: put_right denied: index 4, count 3, id_type -3, v->id_type -3\n",
     "Assertion <cour != NULL"},
    {[](auto& l) { l.put('c', 0); }, "- []123 - - - -",
     "tape l_univ: put_right denied: index 0, count 3, id_type -3, v->id_type -2\n"},
    {[](auto& l) { l.put_end(&letter); }, "- 12[3] - - - -",
     "tape l_univ: put_right denied: index 3, count 3, id_type -3, v->id_type -2\n"},
    {[](auto& l) { l.put_right(nullptr); }, "- # - - - -", "", "Assertion <v != NULL"},
    {[](auto& l) { l.put_end(nullptr); }, "- # - - - -", "", "Assertion <v != NULL"},
    {[](auto& l) { l.put(9, 1); }, "[9] # [9]123 1[9]23 12[9]3 #", "", "empty() || !off()"},
    {[](auto& l) { l.put_left(&letter); }, "- - - # - -", "", kFits},
    {[](auto& l) { l.put_sorted(&letter, 0); }, "# - - - - -", "", kFits},
    {[](auto& l) { l.replace(made<el_int>(9).release()); }, "# # [9]23 1[9]3 12[9] #", "",
     "v!= NULL && !off()"},
    {[](auto& l) { l.replace(&letter); }, "- - - # - -", "", "v->id_type == cour->val->id_type"},
    {[](auto& l) { l.remove(); }, "[] []123 [2]3 1[3] 12[] 123[]",
     "tape l_univ: remove denied: empty\ntape l_univ: remove denied: off\n"
     "tape l_univ: remove denied: off\n"},
    {[](auto& l) { l.put(2, 2); }, "[2] 1[2]23 1[2]23 1[2]23 1[2]23 1[2]23"},
    {[](auto& l) { l.put(9, 2); }, "[9] 123[9] 123[9] 123[9] 123[9] 123[9]", ""},
    {[](auto& l) { EXPECT_EQ(l.put_sorted(two.get(), 1), l.i_th(2, 0)); },
     "- 1[2]3 1[2]3 1[2]3 1[2]3 1[2]3", ""},
    {[](auto& l) { tells(l, l.search_equal(two.get(), 0)); }, "[] []123 1[2]3 1[2]3 123[] 123[]"},
    {[](auto& l) { tells(l, l.search_same(l.i_th(2, 0), 0)); }, "- []123 1[2]3 1[2]3 123[] 123[]"},
    {[](auto& l) { l.append_from(l, 1, 3); }, "[] 112233[] [1]12233 1[1]2233 11[2]233 112[2]33"},
    {[](auto& l) { l.append_all(l); }, "[] 11[2]233 11[2]233 11[2]233 11[2]233 11[2]233"},
    {[](auto& l) { l.assign_from(l, 2, 1); }, "[] [2] [2] [2] [2] [2]"},
    {[](auto& l) { l = static_cast<l_univ&>(l); }, "[] []123 [1]23 1[2]3 12[3] 123[]"},
    {[](auto& l) { l.append_from(l, 4, 1); }, "[] - # - - -", "", "(pos <= l.nb_elem) && (nb>0)"},
    {[](auto& l) { l.append_from(l, 3, 0); }, "[] - # - - -", "", "(pos <= l.nb_elem) && (nb>0)"},
    {[](auto& l) { l.append_all(*std::make_unique<l_univ>("letters", t_char)); }, "- - # - - -", "",
     "id_type == t_liste || l.id_type == t_liste || id_type == l.id_type"},
};

// Standard output as a pipe sees it: of a process that dies, only what was flushed arrives.
void toPipe() { setTraceSink(nullptr), dup2(2, 1), setvbuf(stdout, nullptr, _IOFBF, BUFSIZ); }

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
                EXPECT_DEATH((toPipe(), row.operation(l)),  // `go` alone doesn't name the list
                             testing::AllOf(testing::HasSubstr(text), testing::ContainsRegex(end)));
            } else {
                row.operation(l);
                EXPECT_EQ(shown(l), cell);
                reports += printed;
            }
        }
        EXPECT_EQ(reports, row.reports);
    }
}

TEST_F(ListTest, TypedValuesAreReadAndPrintInTheirOwnWay) {
    l_univ all(nullptr);
    const auto put = [&all](auto value, int mode, auto read) {
        return all.put(value, mode), (all.*read)() == value;
    };
    EXPECT_TRUE(put(1, 0, &l_univ::item_long));
    EXPECT_TRUE(put(INT32_MIN, 2, &l_univ::item_int) && put(2L, 2, &l_univ::item_int));
    all.put_pointer(nullptr, 12, 2);  // pointers have no order: put before the cursor
    EXPECT_TRUE(put(short{7}, 1, &l_univ::item_bool) && put('c', 1, &l_univ::item_char));
    // Only the print of a double is of single width.
    EXPECT_TRUE(put(1.5F, 1, &l_univ::item_float) && put(16777217.0, 1, &l_univ::item_double));
    EXPECT_STREQ((all.put("text", 1), all.item_text()), "text");
    all.put_end(new elem_list(-77));
    all.print();
    all.cour = nullptr;  // a cursor that lost its node lands on the last element
    all.pos_curseur = 1;
    EXPECT_EQ(all.item(-77), all.dern->val);
    EXPECT_EQ(printed,
              ":\n-2147483648 * 1 * text\n16777216.000000 * 1.500000 * c * TRUE pt=0 id=12 * 2 * "
              "id_elem_list=-77 * \n"
              " l_univ::item: index= 1, count= 10 cour=NULL\nreturns last item\n");
}

TEST_F(ListTest, CopiesShareTakeTagAndNameOverAndKeepTheirLimits) {
    const auto tell = [](auto&& l) {
        l.texte << l.nom << l.id_type << " " << l.count() << ",", l.emit_texte();
    };
    l_univ big("b", t_int), target("t"), none("n", t_int), any("a");
    for (int i = 0; i < 40000; ++i) big.put(i, 0);
    tell(target = big), tell(l_univ(big)), tell(any + big), tell(big + any), tell(target + big);
    EXPECT_EQ(big.prem->val->nb_ref + big.dern->val->nb_ref, 3);
    target.append_all(big), tell(target), tell(target = none);
    any.put('c', 0), any.append_from(none, 1, 1);  // a list of numbers now, with a letter in it
    tell(any), tell(l_univ(any));
    EXPECT_EQ(printed,
              "b-3 32767,b-3 32767,b-3 32767,a-8 32767,b-3 65534,b-3 72767,n-3 0,n-3 1,n-3 1,");
}

template <typename List>
struct Descending : List {
    using Item = const elem_list*;
    short compare(Item a, Item b) const override { return List::compare(b, a); }
};

TEST_F(ListTest, EachClassHasItsOrderWhichAListMayTurnAround) {
    Descending<l_sorted> l;
    const auto truth = made<el_bool>(short{1});
    for (const short value : {1, 0}) l.put_sorted(made<el_bool>(value).release(), 0);
    EXPECT_EQ(l.put_sorted(truth.get(), 1), l.i_th(1, t_bool));
    for (const char* text : {"ab\xE9", "ab"}) l.put_sorted(new el_CharString(text), 0);
    for (const char value : {'x', '\x80', '\x7F'}) l.put_sorted(made<el_char>(value).release(), 0);
    for (const double value : {1.0, 0.5}) l.put_sorted(made<el_double>(value).release(), 0);
    Descending<l_univ> numbers;
    for (const int value : {2, 3, 1}) numbers.put(value, 2);
    l.print();
    EXPECT_EQ(l.search_equal(truth.get(), 1), 1);
    l.print_state(), numbers.print();
    EXPECT_EQ(printed,
              "ListUniv:\n1.000000 * 0.500000 * \x80 * \x7F * x * ab\xE9\nab\nFALSE TRUE \n"
              "ListUniv: nb_elem= 9, pos_curseur= 8\nListUniv:\n3 * 2 * 1 * \n");
    for (int i = 0; i < 100; ++i) std::jthread(&elem_list::print, &letter), letter.print();
}

TEST_F(ListTest, RangesPrintFromToAndTellWhereTheyEnd) {
    l_univ l("L", t_int);
    EXPECT_EQ(l.print_range(1, 0), -1);
    bringTo(l, 3);
    EXPECT_EQ(l.print_range(4, 1), 2);
    EXPECT_EQ(l.print_range(1, 2), 3);
    EXPECT_EQ(l.print_range(2, INT32_MAX), -1);
    l_univ outer("outer");
    outer.put('a', 0), outer.put_end(new l_univ(l)), outer.print();
    outer = *static_cast<l_univ*>(outer.dern->val), outer.print();  // which lived by it alone
    EXPECT_EQ(printed,
              "L:\n\nL:\n\nL:\n1 * 2 * \nL:\n2 * 3 * \nouter:\na * L:\n1 * 2 * 3 * \n\n"
              "L:\n1 * 2 * 3 * \n");
}

// A random walk: lists beside plain models, each a vector and the number of the cursor.

struct Modelled {
    l_univ list;
    Elements held = {};
    int cursor = 0;

    int size() const { return static_cast<int>(held.size()); }
    bool on() const { return cursor >= 1 && cursor <= size(); }
    void insert(elem_list* v) { held.insert(held.begin() + cursor++, v); }
    elem_list*& at(int n) { return held[static_cast<std::size_t>(n) - 1]; }
    void erase() { return on() ? held.erase(held.begin() + cursor - 1), void() : void(); }
};

std::mt19937 random_number;
int below(int n) { return static_cast<int>(random_number() % static_cast<unsigned>(n)); }

// A range of one list behind another's cursor or in the place of its elements.
void share(Modelled& m, Modelled& from) {
    if (from.held.empty()) return;
    const int pos = 1 + below(from.size()), nb = 1 + below(from.size());
    const int end = std::min(pos - 1 + nb, from.size());
    const Elements range(from.held.begin() + pos - 1, from.held.begin() + end);
    const bool assigned = below(3) == 0;
    if (m.cursor == 0 && !assigned && &m != &from) m.list.finish(), m.cursor = m.size();
    const int noted = from.cursor;
    if (assigned) m.held.clear(), m.cursor = 0;
    if (&m == &from && !assigned) {
        for (m.cursor = pos; m.cursor < pos + 2 * (end - pos + 1); ++m.cursor)
            m.insert(m.at(m.cursor));
    } else {
        for (auto v = range.begin(); v != range.end() && m.cursor <= m.size(); ++v) m.insert(*v);
        if (&m != &from) from.cursor = end + 1;
    }
    if (!(assigned && &m == &from) && noted >= 1 && noted <= from.size()) from.cursor = noted;
    (m.list.*(assigned ? &l_univ::assign_from : &l_univ::append_from))(from.list, pos, nb);
}

void step(Modelled& m, Modelled& other) {
    l_univ& l = m.list;
    const int n = m.size();
    const int k = n ? 1 + below(n) : 0;
    const int way = below(n < 99 ? 11 : 6);  // beyond that the list only shrinks
    elem_list* const v = way < 7 ? nullptr : below(3) && n ? m.at(k) : new el_int;
    const std::function<void()> steps[] = {
        [&] { l.start(), m.cursor = 1; },
        [&] { l.forth(), m.cursor = std::min(m.cursor, n) + 1; },
        [&] { l.back(), m.cursor = std::max(m.cursor - 1, 0); },
        [&] { return n ? l.go(k), m.cursor = k, void() : void(); },
        [&] { l.remove(), m.erase(); },
        [&] { return below(20) ? void() : (l.wipe_out(), m.held.clear()); },
        [&] { share(m, other); },
        [&] { l.put_end(v), m.cursor = n, m.insert(v); },
        [&] { return m.on() ? l.put_left(v), --m.cursor, m.insert(v) : void(); },
        [&] { return m.cursor ? l.put_right(v), m.on() ? m.insert(v) : void() : void(); },
        [&] { return m.on() ? l.replace(v), m.at(m.cursor) = v, void() : void(); },
    };
    steps[way]();
    if (m.held.empty()) m.cursor = 0;
    if (v && v->nb_ref == 0) delete v;
}

TEST_F(ListTest, BehavesLikeAVectorWithACursor) {
    const unsigned seed = std::random_device()();
    SCOPED_TRACE("seed " + std::to_string(seed));
    random_number.seed(seed);
    Modelled lists[3];
    for (int i = 0; i < 20000 && !HasFailure(); ++i) {
        step(lists[below(3)], lists[below(3)]);
        std::map<const elem_list*, int> counts;  // of the nodes that hold an element
        for (const Modelled& m : lists) {
            EXPECT_EQ(m.list.pos_curseur, m.cursor);
            EXPECT_EQ(m.list.off(), !m.on());
            EXPECT_EQ(elementsOf(m.list), m.held);
            for (const elem_list* v : m.held) ++counts[v];
        }
        for (const auto& [element, references] : counts) EXPECT_EQ(element->nb_ref, references);
    }
}

}  // namespace
