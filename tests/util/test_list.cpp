#include <gmock/gmock.h>
#include <unistd.h>

#include <cstdio>
#include <regex>

#include "util/list_harness.h"

namespace {

using ListDeathTest = ListTest;

enum Cursor { kEmpty, kLeft, kOnSecond, kRight };  // of the list 123, or of one without elements

void bringTo(l_univ& l, Cursor cursor) {
    if (cursor == kEmpty) return;
    for (int i = 1; i <= 3; ++i) l.put(i, 0);
    if (cursor == kRight) return l.forth();
    l.start();
    cursor == kLeft ? l.back() : l.forth();
}

el_char letter;
const auto two = made<el_int>(2);

TEST_F(ListTest, ScenesOfTheListEndAsTheyShould) {
    const struct {
        Cursor from;
        void (*operation)(l_univ&);
        const char* after;
        const char* report = "";
    } rows[] = {
        {kLeft, [](l_univ& l) { l.append_from(l, 1, 3); }, "112233@7"},
        {kOnSecond, [](l_univ& l) { l.append_from(l, 1, 3); }, "112233@2"},
        {kRight, [](l_univ& l) { l.append_all(l); }, "112233@3"},
        {kEmpty, [](l_univ& l) { l.assign_from(l, 2, 1); }, "@0"},
        {kLeft, [](l_univ& l) { l.assign_from(l, 2, 1); }, "2@1"},
        {kRight, [](l_univ& l) { l.assign_from(l, 2, INT32_MAX); }, "23@2"},
        {kRight, [](l_univ& l) { EXPECT_EQ(l.i_th(2, t_int), l.prem->suiv->val); }, "123@4"},
        {kRight, [](l_univ& l) { EXPECT_EQ(l.search_same(l.dern->val, 1), 1); }, "123@3"},
        {kLeft, [](l_univ& l) { EXPECT_EQ(l.search_equal(&letter, 1), 0); }, "123@4"},
        {kLeft, [](l_univ& l) { EXPECT_EQ(l.put_sorted(two.get(), 1), l.i_th(2, t_int)); },
         "123@2"},
        {kOnSecond, [](l_univ& l) { l.replace(made<el_int>(7).release()); }, "173@2"},
        {kLeft, [](l_univ& l) { l.put_end(made<el_int>(7).release()); }, "1237@4"},
        {kLeft, [](l_univ& l) { l.put_end(&letter); }, "123@3",
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
    Cursor from;
    void (*operation)(l_univ&);
    std::string output;
} kFaults[] = {
    {kLeft, [](l_univ& l) { l.go(0); }, position},
    {kLeft, [](l_univ& l) { l.go(4); }, position},
    {kEmpty, [](l_univ& l) { l.item(0); },
     "tape l_univ::item: index= 0, count= 0 off!\n" + told("!off() && cour != NULL")},
    {kOnSecond, [](l_univ& l) { l.item_char(); },
     "tape l_univ::item, type attendu -2 <> lu -3\n" +
         told("id == t_neutre || cour->val->id_type == id")},
    {kLeft, [](l_univ& l) { l.i_th(0, t_int); }, ith},
    {kLeft, [](l_univ& l) { l.i_th(4, t_int); }, ith},
    {kLeft, [](l_univ& l) { l.i_th(1, t_char); }, told("rep->id_type == id")},
    {kLeft, [](l_univ& l) { l.put_right(nullptr); }, told("v != NULL")},
    {kLeft, [](l_univ& l) { l.put_end(nullptr); }, told("v != NULL")},
    {kLeft, [](l_univ& l) { l.put(9, 0); }, told("cour != NULL")},
    {kOnSecond, [](l_univ& l) { l.put_left(&letter); }, fits},
    {kLeft, [](l_univ& l) { l.put(9, 1); }, told("empty() || !off()")},
    {kEmpty, [](l_univ& l) { l.put_sorted(&letter, 0); }, fits},
    {kEmpty, [](l_univ& l) { l.replace(two.get()); }, told("v!= NULL && !off()")},
    {kOnSecond, [](l_univ& l) { l.replace(&letter); }, told("v->id_type == cour->val->id_type")},
    {kOnSecond, [](l_univ& l) { l.append_from(l, 4, 1); }, range},
    {kOnSecond, [](l_univ& l) { l.append_from(l, 3, 0); }, range},
    {kOnSecond, [](l_univ& l) { l.assign_from(l, 4, 1); }, range},
    {kOnSecond, [](l_univ& l) { l.append_all(*new l_univ("letters", t_char)); }, tags},
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

TEST_F(ListDeathTest, WrongCodeIsFatal) {
    for (const Fault& fault : kFaults) {
        SCOPED_TRACE("row " + std::to_string(&fault - kFaults));
        EXPECT_DEATH(dieOf(fault), testing::ResultOf(comparable, fault.output));
    }
}

}  // namespace
