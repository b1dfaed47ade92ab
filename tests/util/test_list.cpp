#include <gmock/gmock.h>
#include <unistd.h>

#include <cstdio>
#include <memory>
#include <regex>
#include <string>

#include "util/i_os_mutex.h"
#include "util/i_os_thread.h"
#include "util/i_trace.h"
#include "util/l_univ.h"

namespace {

/// Each test begins with nothing printed and ends with no list alive.
struct ListTest : testing::Test {
    ListTest() {
        printed.clear();
        setTraceSink([](const char* text) {
            EXPECT_EQ(systemMutex()->owner_id, threadId());  // so nobody else comes in
            printed += text;
        });
    }
    ~ListTest() override {
        setTraceSink(nullptr);
        EXPECT_EQ(l_univ_alive, 0);
    }

    static inline std::string printed;
};

template <typename Element, typename Value>
std::unique_ptr<Element> made(Value value) {
    auto element = std::make_unique<Element>();
    element->value = value;
    return element;
}

/// The numbers of a list, and where the cursor stands: "123@2". Its nodes must be linked
/// both ways, and only the cursor's be the one under it.
std::string shown(const l_univ& l) {
    std::string text;
    int position = 0;
    const l_univ::Node* before = nullptr;
    for (const auto* n = l.prem; n; n = n->suiv) {
        text += std::to_string(static_cast<const el_integer*>(n->val)->value);
        EXPECT_EQ(n->prec, before);
        EXPECT_EQ(n == l.cour, ++position == l.pos_curseur);
        before = n;
    }
    EXPECT_EQ(l.dern, before);
    EXPECT_EQ(l.count(), position);
    EXPECT_EQ(l.empty(), position == 0);
    EXPECT_EQ(l.off(), l.cour == nullptr);
    return text + "@" + std::to_string(l.pos_curseur);
}

// The list 123 with its cursor at a position from 0 to 4, or one of these.
constexpr int kEmpty = -1;
constexpr int kStrayNode = -2;  // empty, yet with a node, as only a fault of the list would have it
constexpr int kLostNode = -3;   // 123 at position 2, without the node there: another such fault

void bringTo(l_univ& l, int from) {
    if (from == kStrayNode) l.prem = new l_univ::Node{};
    if (from == kStrayNode || from == kEmpty) return;
    for (int i = 1; i <= 3; ++i) l.put(i, 0);
    if (from == 4) return l.forth();
    l.go(from == kLostNode ? 2 : std::max(from, 1));
    if (from == 0) l.back();
    if (from == kLostNode) l.cour = nullptr;
}

struct Joker : el_int {
    short equal(const elem_list*) const override { return 1; }
};

el_char letter;
el_bool truth;  // equal to all of its tag, and of no other
Joker joker;
const auto two = made<el_int>(2);

TEST_F(ListTest, ScenesOfTheListEndAsTheyShould) {
    const struct {
        int from;
        void (*operation)(l_univ&);
        const char* after;
        const char* report = "";
    } rows[] = {
        {kEmpty, [](l_univ& l) { l.start(); }, "@0"},
        {4, [](l_univ& l) { l.start(); }, "123@1"},
        {0, [](l_univ& l) { l.finish(); }, "123@3"},
        {kEmpty, [](l_univ& l) { l.forth(); }, "@0",
         "tape l_univ: forth impossible, list empty!\n"},
        {0, [](l_univ& l) { l.forth(); }, "123@1"},
        {2, [](l_univ& l) { l.forth(); }, "123@3"},
        {4, [](l_univ& l) { l.forth(); }, "123@4", "tape l_univ: forth impossible, overflow!\n"},
        {kEmpty, [](l_univ& l) { l.back(); }, "@0", "tape l_univ: back impossible, list empty!\n"},
        {0, [](l_univ& l) { l.back(); }, "123@0", "tape l_univ: back impossible, off!\n"},
        {1, [](l_univ& l) { l.back(); }, "123@0"},
        {3, [](l_univ& l) { l.back(); }, "123@2"},
        {4, [](l_univ& l) { l.back(); }, "123@3"},
        {kEmpty, [](l_univ& l) { l.put(7, 0); }, "7@1"},
        {2, [](l_univ& l) { l.put(7, 0); }, "1273@3"},
        {4, [](l_univ& l) { l.put(7, 0); }, "123@4",
         "tape l_univ: put_right denied: index 4, count 3, id_type -3, v->id_type -3\n"},
        {kEmpty, [](l_univ& l) { l.put(7, 1); }, "7@1"},
        {1, [](l_univ& l) { l.put(7, 1); }, "7123@1"},
        {3, [](l_univ& l) { l.put(7, 1); }, "1273@3"},
        {kEmpty, [](l_univ& l) { l.put(7, 2); }, "7@1"},
        {4, [](l_univ& l) { l.put(0, 2); }, "0123@1"},
        {0, [](l_univ& l) { l.put(2, 2); }, "1223@2"},
        {0, [](l_univ& l) { l.put(7, 2); }, "1237@4"},
        {kEmpty, [](l_univ& l) { l.remove(); }, "@0", "tape l_univ: remove denied: empty\n"},
        {0, [](l_univ& l) { l.remove(); }, "123@0", "tape l_univ: remove denied: off\n"},
        {1, [](l_univ& l) { l.remove(); }, "23@1"},
        {2, [](l_univ& l) { l.remove(); }, "13@2"},
        {3, [](l_univ& l) { l.remove(); }, "12@3"},
        {2, [](l_univ& l) { l.wipe_out(); }, "@0"},
        {0, [](l_univ& l) { l.append_from(l, 1, 3); }, "112233@7"},
        {2, [](l_univ& l) { l.append_from(l, 1, 3); }, "112233@2"},
        {4, [](l_univ& l) { l.append_all(l); }, "112233@3"},
        {kEmpty, [](l_univ& l) { l.assign_from(l, 2, 1); }, "@0"},
        {0, [](l_univ& l) { l.assign_from(l, 2, 1); }, "2@1"},
        {4, [](l_univ& l) { l.assign_from(l, 2, INT32_MAX); }, "23@2"},
        {4, [](l_univ& l) { EXPECT_EQ(l.i_th(3, t_int), l.dern->val); }, "123@4"},
        {4, [](l_univ& l) { EXPECT_EQ(l.search_same(l.dern->val, 1), 1); }, "123@3"},
        {4, [](l_univ& l) { EXPECT_EQ(l.search_same(two.get(), 1), 0); }, "123@4"},
        {0, [](l_univ& l) { EXPECT_EQ(l.search_equal(&truth, 1), 0); }, "123@4"},
        {0, [](l_univ& l) { EXPECT_EQ(l.search_equal(&joker, 1), 1); }, "123@1"},
        {0, [](l_univ& l) { EXPECT_EQ(l.put_sorted(&joker, 1), l.prem->val); }, "123@1"},
        {0, [](l_univ& l) { EXPECT_EQ(l.put_sorted(two.get(), 1), l.i_th(2, t_int)); }, "123@2"},
        {2, [](l_univ& l) { l.replace(made<el_int>(7).release()); }, "173@2"},
        {4, [](l_univ& l) { l.go(2); }, "123@2"},
        {2, [](l_univ& l) { l.go(1); }, "123@1"},
        {2, [](l_univ& l) { l.go(3); }, "123@3"},
        {0, [](l_univ& l) { EXPECT_EQ(l.search_equal(two.get(), 1), 1); }, "123@2"},
        {4, [](l_univ& l) { EXPECT_EQ(l.search_equal(two.get(), 0), 0); }, "123@4"},
        {0, [](l_univ& l) { EXPECT_EQ(l.item(t_int), l.dern->val); }, "123@3",
         "tape l_univ::item: index= 0, count= 3 off!\nreturns last item\n"},
        {kLostNode, [](l_univ& l) { EXPECT_EQ(l.item(t_int), l.dern->val); }, "123@3",
         "tape l_univ::item: index= 2, count= 3 cour=NULL\nreturns last item\n"},
        {0, [](l_univ& l) { l.put_end(made<el_int>(7).release()); }, "1237@4"},
        {0, [](l_univ& l) { l.put_end(&letter); }, "123@3",
         "tape l_univ: put_right denied: index 3, count 3, id_type -3, v->id_type -2\n"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE("row " + std::to_string(&row - rows));
        l_univ l("tape", t_int);
        bringTo(l, row.from);
        row.operation(l);
        EXPECT_EQ(shown(l), row.after);
        EXPECT_EQ(std::exchange(printed, ""), row.report);
    }
}

TEST_F(ListTest, AnElementCountsThePlacesThatHoldIt) {
    l_univ holder;
    l_univ l;
    auto* const element = made<el_int>(1).release();
    holder.put_end(element);
    l.put_right(element);
    l.put_left(element);
    l.put_sorted(element, 0);
    l.replace(element);
    EXPECT_EQ(element->nb_ref, 4);
    l.replace(made<el_int>(2).release());
    EXPECT_EQ(element->nb_ref, 3);
    l.forth();
    l.remove();
    EXPECT_EQ(element->nb_ref, 2);
    l.wipe_out();
    EXPECT_EQ(element->nb_ref, 1);
}

TEST_F(ListTest, TypedValuesAreReadAndPrintInTheirOwnWay) {
    l_univ l(nullptr);
    l.put(2L, 2);
    l.put(INT32_MIN, 2);
    EXPECT_EQ(l.item_long(), INT32_MIN);
    l.finish();
    EXPECT_EQ(l.item_int(), 2);
    l.put_pointer(&l, 12, 2);  // pointers have no order: put before the cursor
    EXPECT_EQ(l.item_pointer(12), &l);
    l.remove();
    l.put_pointer(nullptr, 13, 0);
    l.put(short{7}, 1);
    EXPECT_EQ(l.item_bool(), 7);
    l.put('c', 3);
    EXPECT_EQ(l.item_char(), 'c');
    l.put(1.5F, -1);  // every mode but 0 and 2 puts before the cursor
    EXPECT_EQ(l.item_float(), 1.5F);
    l.put(16777217.0, 1);  // of single precision in print alone
    EXPECT_EQ(l.item_double(), 16777217.0);
    l.put("text", 1);
    EXPECT_STREQ(l.item_text(), "text");
    l.put_end(new l_univ("inner"));
    l.print();
    EXPECT_EQ(printed,
              ":\n-2147483648 * 2 * text\n16777216.000000 * 1.500000 * c * TRUE "
              "pt=0 id=13 * inner:\n\n\n");
}

TEST_F(ListTest, TheBaseHasNoOrder) {
    elem_list plain(-77);
    EXPECT_EQ(plain.less(&plain), 0);
    EXPECT_EQ(plain.equal(&plain), 1);
    EXPECT_EQ(plain.reserved_query(), 0);
    EXPECT_STREQ(l_univ().type_name(1, 2), "elem_list");
    plain.print();
    plain.texte << "text";
    plain.emit_texte();
    EXPECT_EQ(printed, "id_elem_list=-77 * text");
}

TEST_F(ListTest, CopiesTakeTagAndNameOver) {
    const auto told = [](const l_univ& l) { return l.nom + std::to_string(l.id_type) + shown(l); };
    l_univ numbers("numbers", t_int);
    l_univ any("any");
    numbers.put(1, 0);
    any.put(7, 0);
    EXPECT_EQ(told(any + numbers), "numbers-371@2");
    EXPECT_EQ(told(numbers + any), "any-817@2");
    any = l_univ("none", t_neutre);  // takes elements of this tag alone
    EXPECT_EQ(told(any), "none0@0");
    any.put(1, 0);
    EXPECT_EQ(printed,
              "none l_univ: put_right denied: index 0, count 0, id_type 0, v->id_type -3\n");
}

TEST_F(ListTest, CopiesHaveALimit) {
    l_univ big("big", t_int);
    for (int i = 0; i < 40000; ++i) big.put(i, 0);
    l_univ target;
    EXPECT_EQ((big + big).count(), 2 * 32767);
    target = big;
    EXPECT_EQ(target.count(), 32767);
    big = static_cast<l_univ&>(big);
    EXPECT_EQ(big.count(), 40000);
}

TEST_F(ListTest, ASourceLivesAsLongAsItIsReadAndStaysAsItWas) {
    l_univ outer("outer");
    auto* const inner = new l_univ("inner");
    outer.put_end(inner);
    inner->put(1, 0);
    outer = *inner;
    EXPECT_EQ(shown(outer), "1@1");
    l_univ target;
    target = outer;
    EXPECT_EQ(shown(outer), "1@1");
    EXPECT_EQ(outer.nb_ref, 0) << "it stays its creator's";
}

struct Watcher : elem_list {
    explicit Watcher(const l_univ& l) : elem_list(1), list(l) {}
    ~Watcher() override { EXPECT_EQ(list.mutex_obj->owner_id, threadId()); }

    const l_univ& list;
};

TEST_F(ListTest, FreesItsElementsUnderItsOwnLock) {
    l_univ l;
    l.put_end(new Watcher(l));
    l.wipe_out();
    EXPECT_NE(l.mutex_obj->owner_id, threadId());
}

struct Descending : l_sorted {
    using Item = const elem_list*;
    short compare(Item a, Item b) const override { return l_sorted::compare(b, a); }
};

TEST_F(ListTest, EachClassHasItsOrderWhichAListMayTurnAround) {
    Descending l;
    for (const char* text : {"ab", "b", "ab\xE9"}) l.put_sorted(new el_CharString(text), 1);
    for (const char value : {'x', '\x80', '\x7F'}) l.put_sorted(made<el_char>(value).release(), 1);
    for (const double value : {1.0, 0.5}) l.put_sorted(made<el_double>(value).release(), 1);
    for (const short value : {1, 0}) l.put_sorted(made<el_bool>(value).release(), 0);
    el_CharString b("b");
    EXPECT_EQ(l.search_equal(&b, 1), 1);
    l.remove();
    EXPECT_EQ(l.compare(&b, l.item(t_charstring)), -1);
    EXPECT_EQ(l.compare(l.item(t_charstring), &b), 1);
    l.print();
    l.print_state();
    EXPECT_EQ(printed,
              "ListUniv:\nFALSE TRUE 1.000000 * 0.500000 * \x80 * \x7F * x * "
              "ab\xE9\nab\n\n"
              "ListUniv: nb_elem= 9, pos_curseur= 10\n");
}

TEST_F(ListTest, RangesPrintFromToAndTellWhereTheyEnd) {
    l_univ l("L", t_int);
    EXPECT_EQ(l.print_range(1, 0), -1);
    for (int i = 1; i <= 3; ++i) l.put(i, 0);
    EXPECT_EQ(l.print_range(4, 1), 3);
    EXPECT_EQ(l.print_range(1, 2), 3);
    EXPECT_EQ(l.print_range(2, INT32_MAX), -1);
    EXPECT_EQ(printed, "L:\n\nL:\n\nL:\n1 * 2 * \nL:\n2 * 3 * \n");
}

std::string told(const std::string& expression, const std::string& name = ", tape") {
    return "Assertion <" + expression + "> failed:\nfile \"util/l_univ\", line N" + name + "\n";
}

const auto position = told("nb_elem >0 && n>=1 && n<=nb_elem", "");  // `go` doesn't name the list
const auto ith = told("(!empty()) && (n>=1) && (n<=nb_elem)");
const auto fits = told("v != NULL && (id_type == t_liste || v->id_type == id_type)");
const auto range = told("(pos <= l.nb_elem) && (nb>0)");
const auto tags = told("id_type == t_liste || l.id_type == t_liste || id_type == l.id_type");

// What only wrong code does, and all that a pipe at standard output and error gets of it.
const struct Fault {
    int from;
    void (*operation)(l_univ&);
    std::string output;
} kFaults[] = {
    {0, [](l_univ& l) { l.go(0); }, position},
    {0, [](l_univ& l) { l.go(4); }, position},
    {kEmpty, [](l_univ& l) { l.item(0); },
     "tape l_univ::item: index= 0, count= 0 off!\n" + told("!off() && cour != NULL")},
    {2, [](l_univ& l) { l.item_char(); },
     "tape l_univ::item, type attendu -2 <> lu -3\n" +
         told("id == t_neutre || cour->val->id_type == id")},
    {0, [](l_univ& l) { l.i_th(0, t_int); }, ith},
    {0, [](l_univ& l) { l.i_th(4, t_int); }, ith},
    {0, [](l_univ& l) { l.i_th(1, t_char); }, told("rep->id_type == id")},
    {0, [](l_univ& l) { l.put_right(nullptr); }, told("v != NULL")},
    {0, [](l_univ& l) { l.put_end(nullptr); }, told("v != NULL")},
    {0, [](l_univ& l) { l.put(9, 0); }, told("cour != NULL")},
    {kStrayNode, [](l_univ& l) { l.put_end(two.get()); }, told("prem==NULL")},
    {2, [](l_univ& l) { l.put_left(&letter); }, fits},
    {0, [](l_univ& l) { l.put(9, 1); }, told("empty() || !off()")},
    {kEmpty, [](l_univ& l) { l.put_sorted(&letter, 0); }, fits},
    {kEmpty, [](l_univ& l) { l.replace(two.get()); }, told("v!= NULL && !off()")},
    {2, [](l_univ& l) { l.replace(&letter); }, told("v->id_type == cour->val->id_type")},
    {2, [](l_univ& l) { l.append_from(l, 4, 1); }, range},
    {2, [](l_univ& l) { l.append_from(l, 3, 0); }, range},
    {2, [](l_univ& l) { l.assign_from(l, 4, 1); }, range},
    {2, [](l_univ& l) { l.append_all(*new l_univ("letters", t_char)); }, tags},
};

// Runs in the process that dies: of its standard output a pipe gets only what was flushed.
void dieOf(const Fault& fault) {
    setTraceSink(nullptr);
    dup2(STDERR_FILENO, STDOUT_FILENO);
    setvbuf(stdout, nullptr, _IOFBF, BUFSIZ);
    l_univ l("tape", t_int);
    bringTo(l, fault.from);
    fault.operation(l);
}

/// Without what differs: the line, and what an emulator says of the end.
std::string comparable(const std::string& text) {
    const std::string unnumbered = std::regex_replace(text, std::regex("line [0-9]+"), "line N");
    return std::regex_replace(unnumbered, std::regex("qemu: .*\n"), "");
}

TEST(ListDeathTest, WrongCodeIsFatal) {
    for (const Fault& fault : kFaults) {
        SCOPED_TRACE("row " + std::to_string(&fault - kFaults));
        EXPECT_DEATH(dieOf(fault), testing::ResultOf(comparable, fault.output));
    }
}

}  // namespace
