#include <gmock/gmock.h>

#include "util/list_harness.h"

namespace {

TEST_F(ListTest, TypedValuesAreReadAndPrintInTheirOwnWay) {
    l_univ l(nullptr);
    l.put(2L, 2);
    EXPECT_EQ(l.item_int(), 2);
    l.put(INT32_MIN, 2);
    EXPECT_EQ(l.item_long(), INT32_MIN);
    l.finish();
    l.put_pointer(&l, 12, 2);  // pointers have no order: put before the cursor
    EXPECT_EQ(l.item_pointer(12), &l);
    l.remove();
    l.put_pointer(nullptr, 12, 2);
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
    std::vector<int> tags;
    for (const elem_list* v : elementsOf(l)) tags.push_back(v->id_type);
    EXPECT_THAT(tags, testing::ElementsAre(-3, 12, -6, -5, -4, -2, -1, 13, -3, -8));
    l.print();
    EXPECT_EQ(printed,
              ":\n-2147483648 * pt=0 id=12 * text\n16777216.000000 * 1.500000 * c * TRUE "
              "pt=0 id=13 * 2 * inner:\n\n\n");
}

TEST_F(ListTest, TheBaseHasATypeNameAndNoOrder) {
    const auto number = made<el_int>(1);
    elem_list plain(-77);
    EXPECT_STREQ(number->type_name(1, 2), "elem_list");
    EXPECT_EQ(number->reserved_query(), 0);
    EXPECT_EQ(plain.less(&plain), 0);
    EXPECT_EQ(plain.equal(&plain), 1);
    plain.print();
    plain.texte << "text";
    plain.emit_texte();
    EXPECT_EQ(printed, "id_elem_list=-77 * text");
    EXPECT_EQ(plain.texte.length(), 0);
}

TEST_F(ListTest, OfTag0TakesElementsOfTag0Alone) {
    l_univ l("zero", t_neutre);
    l.put_pointer(nullptr, t_neutre, 0);
    l.put('c', 0);
    EXPECT_EQ(l.count(), 1);
    EXPECT_EQ(printed,
              "zero l_univ: put_right denied: index 1, count 1, id_type 0, v->id_type -2\n");
}

TEST_F(ListTest, ACursorThatLostItsNodeLandsOnTheLastElement) {
    l_univ l("L");
    l.put(1, 0);
    l.put(2, 0);
    l.cour = nullptr;
    EXPECT_EQ(l.item(t_int), l.dern->val);
    EXPECT_EQ(printed, "L l_univ::item: index= 2, count= 2 cour=NULL\nreturns last item\n");
}

TEST_F(ListTest, CopiesTakeTagAndNameOver) {
    l_univ numbers("numbers", t_int);
    l_univ none("none", t_char);
    l_univ any("any");
    numbers.put(1, 0);
    any.put('c', 0);
    const auto told = [](const l_univ& l) { return l.nom + std::to_string(l.id_type) + shown(l); };
    EXPECT_EQ(told(l_univ(numbers)), "numbers-3[1]");
    EXPECT_EQ(told(any + numbers), "numbers-3c[1]");
    EXPECT_EQ(told(numbers + any), "any-81[c]");
    any.append_from(none, 1, 1);
    EXPECT_EQ(told(any), "none-2[c]");
    any = l_univ("gone");
    EXPECT_EQ(told(any), "gone-8[]");
}

TEST_F(ListTest, CopiesHaveALimitAndAppendAllHasNone) {
    l_univ big("big", t_int);
    for (int i = 0; i < 40000; ++i) big.put(i, 0);
    l_univ target;
    EXPECT_EQ(l_univ(big).count(), 32767);
    EXPECT_EQ((big + big).count(), 2 * 32767);
    target = big;
    EXPECT_EQ(target.count(), 32767);
    target.append_all(big);
    EXPECT_EQ(target.count(), 32767 + 40000);
    big = static_cast<l_univ&>(big);
    EXPECT_EQ(big.count(), 40000);
}

TEST_F(ListTest, ASourceThatLivesByTheTargetAloneIsReadToItsEnd) {
    l_univ outer("outer");
    auto* const inner = new l_univ("inner");
    outer.put_end(inner);
    inner->put(1, 0);
    inner->put(2, 0);
    outer = *inner;
    EXPECT_EQ(shown(outer), "1[2]");
    EXPECT_EQ(l_univ_alive, 1);
    EXPECT_EQ(outer.prem->val->nb_ref, 1);
}

// Tells at its end whether the lock of its list was held by this thread.
struct Watcher : elem_list {
    Watcher(const l_univ& l, bool& held_at_end) : elem_list(1), list(l), held(held_at_end) {}
    ~Watcher() override { held = list.mutex_obj->owner_id == threadId(); }

    const l_univ& list;
    bool& held;
};

TEST_F(ListTest, FreesItsElementsUnderItsOwnLock) {
    l_univ l;
    bool held = false;
    l.lock();
    EXPECT_EQ(l.mutex_obj->owner_id, threadId());
    l.unlock();
    EXPECT_NE(l.mutex_obj->owner_id, threadId());
    EXPECT_STREQ(l.mutex_obj->lock_record.name, "mutex_obj");
    l.put_end(new Watcher(l, held));
    l.wipe_out();
    EXPECT_TRUE(held);
    EXPECT_NE(l.mutex_obj->owner_id, threadId());
}

// Answers by itself, whatever it is compared with.
struct Oracle : elem_list {
    Oracle(short less_, short equal_) : elem_list(1), says_less(less_), says_equal(equal_) {}
    short less(const elem_list*) const override { return says_less; }
    short equal(const elem_list*) const override { return says_equal; }

    short says_less;
    short says_equal;
};

TEST_F(ListTest, AsksTheFirstOfTwoAndEqualBeforeLess) {
    l_univ l;
    const Oracle before(1, 0);
    const Oracle behind(0, 0);
    Oracle beside(1, 1);
    Oracle never(0, 0);
    EXPECT_EQ(l.compare(&before, &beside), -1);
    EXPECT_EQ(l.compare(&behind, &beside), 1);
    EXPECT_EQ(l.compare(&beside, &before), 0);
    EXPECT_EQ(l.compare(&before, made<el_int>(1).get()), 0);
    l.put_end(new Oracle(1, 1));
    EXPECT_EQ(l.search_equal(&never, 1), 0);
    EXPECT_EQ(l.search_equal(&beside, 1), 1);
}

template <typename List>
struct Descending : List {
    using Item = const elem_list*;
    short compare(Item a, Item b) const override { return List::compare(b, a); }
};

TEST_F(ListTest, EachClassHasItsOrderWhichAListMayTurnAround) {
    Descending<l_sorted> l;
    for (const char* text : {"ab\xE9", "ab"}) l.put_sorted(new el_CharString(text), 0);
    for (const char value : {'x', '\x80', '\x7F'}) l.put_sorted(made<el_char>(value).release(), 0);
    for (const double value : {1.0, 0.5}) l.put_sorted(made<el_double>(value).release(), 0);
    for (const short value : {1, 0}) l.put_sorted(made<el_bool>(value).release(), 0);
    l.print();
    l.print_state();
    EXPECT_EQ(printed,
              "ListUniv:\nFALSE TRUE 1.000000 * 0.500000 * \x80 * \x7F * x * ab\xE9\nab\n\n"
              "ListUniv: nb_elem= 9, pos_curseur= 10\n");
}

TEST_F(ListTest, ASortedListIsReadAndThinnedWhereASearchEnds) {
    l_sorted l("sorted", t_int);
    for (const int value : {3, 1, 2}) l.put_sorted(made<el_int>(value).release(), 0);
    EXPECT_EQ(l.search_equal(made<el_int>(2).get(), 1), 1);
    EXPECT_EQ(static_cast<el_int*>(l.item(t_int))->value, 2);
    l.remove();
    EXPECT_EQ(l.count(), 2);
    l.print_range(1, 0);
    EXPECT_EQ(l.off(), 1);
    l.wipe_out();
    EXPECT_EQ(l.empty(), 1);
    EXPECT_EQ(printed, "sorted:\n1 * 3 * \n");
}

TEST_F(ListTest, RangesPrintFromToAndTellWhereTheyEnd) {
    l_univ l("L", t_int);
    EXPECT_EQ(l.print_range(1, 0), -1);
    for (int i = 1; i <= 3; ++i) l.put(i, 0);
    EXPECT_EQ(l.print_range(4, 1), 3);
    EXPECT_EQ(l.print_range(1, 2), 3);
    EXPECT_EQ(l.print_range(3, 1), -1);
    EXPECT_EQ(l.print_range(2, 0), -1);
    EXPECT_EQ(l.print_range(2, INT32_MAX), -1);
    EXPECT_EQ(printed, "L:\n\nL:\n\nL:\n1 * 2 * \nL:\n3 * \nL:\n2 * 3 * \nL:\n2 * 3 * \n");
}

}  // namespace
