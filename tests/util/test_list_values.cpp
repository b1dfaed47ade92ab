#include "util/list_harness.h"

namespace {

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
    any.put('c', 0);
    EXPECT_EQ(told(any + numbers), "numbers-3c1@2");
    EXPECT_EQ(told(numbers + any), "any-81c@2");
    any = l_univ("none", t_char);
    EXPECT_EQ(told(any), "none-2@0");
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

TEST_F(ListTest, ASourceThatLivesByTheTargetAloneIsReadToItsEnd) {
    l_univ outer("outer");
    auto* const inner = new l_univ("inner");
    outer.put_end(inner);
    inner->put(1, 0);
    inner->put(2, 0);
    outer = *inner;
    EXPECT_EQ(shown(outer), "12@2");
    EXPECT_EQ(l_univ_alive, 1);
    EXPECT_EQ(outer.prem->val->nb_ref, 1);
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
    for (const char* text : {"ab", "b", "ab\xE9"}) l.put_sorted(new el_CharString(text), 0);
    for (const char value : {'x', '\x80', '\x7F'}) l.put_sorted(made<el_char>(value).release(), 0);
    for (const double value : {1.0, 0.5}) l.put_sorted(made<el_double>(value).release(), 0);
    for (const short value : {1, 0}) l.put_sorted(made<el_bool>(value).release(), 0);
    l.print();
    l.print_state();
    EXPECT_EQ(printed,
              "ListUniv:\nFALSE TRUE 1.000000 * 0.500000 * \x80 * \x7F * x * "
              "b\nab\xE9\nab\n\n"
              "ListUniv: nb_elem= 10, pos_curseur= 11\n");
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

}  // namespace
