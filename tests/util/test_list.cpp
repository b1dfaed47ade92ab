#include <gmock/gmock.h>
#include <unistd.h>

#include <cstdio>
#include <regex>

#include "util/list_harness.h"

namespace {

using ListDeathTest = ListTest;

// Where the cursor of the list 123 stands; the list of the first state is empty.
enum State { kEmpty, kLeft, kOnFirst, kOnSecond, kRight };

void bringTo(l_univ& l, State state) {
    if (state == kEmpty) return;
    for (int i = 1; i <= 3; ++i) l.put(i, 0);
    if (state == kRight) return l.forth();
    l.start();
    if (state == kLeft) l.back();
    if (state == kOnSecond) l.forth();
}

TEST_F(ListTest, AsItsOwnSourceFollowsTheStepsOfAnyOther) {
    const struct {
        State from;
        void (*operation)(l_univ&);
        const char* after;
    } rows[] = {
        {kLeft, [](l_univ& l) { l.append_from(l, 1, 3); }, "112233[]"},
        {kOnSecond, [](l_univ& l) { l.append_from(l, 1, 3); }, "1[1]2233"},
        {kRight, [](l_univ& l) { l.append_from(l, 1, 3); }, "112[2]33"},
        {kLeft, [](l_univ& l) { l.append_all(l); }, "11[2]233"},
        {kRight, [](l_univ& l) { l.append_all(l); }, "11[2]233"},
        {kEmpty, [](l_univ& l) { l.assign_from(l, 2, 1); }, "[]"},
        {kLeft, [](l_univ& l) { l.assign_from(l, 2, 1); }, "[2]"},
        {kRight, [](l_univ& l) { l.assign_from(l, 2, INT32_MAX); }, "2[3]"},
        {kOnSecond, [](l_univ& l) { l = static_cast<l_univ&>(l); }, "1[2]3"},
    };
    for (const auto& row : rows) {
        l_univ l("tape", t_int);
        bringTo(l, row.from);
        row.operation(l);
        EXPECT_EQ(shown(l), row.after) << "row " << &row - rows;
    }
}

std::string plain(const std::string& expression) {
    return "Assertion <" + expression + "> failed:\nfile \"util/l_univ\", line N\n";
}
std::string named(const std::string& expression) {
    return "Assertion <" + expression + "> failed:\nfile \"util/l_univ\", line N, tape\n";
}

const auto position = plain("nb_elem >0 && n>=1 && n<=nb_elem");  // `go` doesn't name the list
const auto ith = named("(!empty()) && (n>=1) && (n<=nb_elem)");
const auto fits = named("v != NULL && (id_type == t_liste || v->id_type == id_type)");
const auto range = named("(pos <= l.nb_elem) && (nb>0)");
const auto tags = named("id_type == t_liste || l.id_type == t_liste || id_type == l.id_type");

el_char letter;
const auto two = made<el_int>(2);

// A list whose first node isn't where it should be, and whose last one is lost.
l_univ& overwritten(l_univ& l) {
    static l_univ::Node stray;
    l.prem = &stray;
    l.dern = nullptr;
    return l;
}

// What only wrong code does, and all that a pipe at standard output and error gets of it.
const struct Fault {
    State from;
    void (*operation)(l_univ&);
    std::string told;
} kFaults[] = {
    {kEmpty, [](l_univ& l) { l.go(1); }, position},
    {kLeft, [](l_univ& l) { l.go(0); }, position},
    {kLeft, [](l_univ& l) { l.go(4); }, position},
    {kEmpty, [](l_univ& l) { l.item(0); },
     "tape l_univ::item: index= 0, count= 0 off!\n" + named("!off() && cour != NULL")},
    {kOnSecond, [](l_univ& l) { l.item_char(); },
     "tape l_univ::item, type attendu -2 <> lu -3\n" +
         named("id == t_neutre || cour->val->id_type == id")},
    {kEmpty, [](l_univ& l) { l.i_th(1, t_int); }, ith},
    {kLeft, [](l_univ& l) { l.i_th(0, t_int); }, ith},
    {kLeft, [](l_univ& l) { l.i_th(4, t_int); }, ith},
    {kLeft, [](l_univ& l) { l.i_th(1, t_char); }, named("rep->id_type == id")},
    {kLeft, [](l_univ& l) { l.put_right(nullptr); }, named("v != NULL")},
    {kLeft, [](l_univ& l) { l.put_end(nullptr); }, named("v != NULL")},
    {kLeft, [](l_univ& l) { l.put(9, 0); }, named("cour != NULL")},
    {kOnFirst, [](l_univ& l) { l.put_left(nullptr); }, fits},
    {kOnFirst, [](l_univ& l) { l.put_left(&letter); }, fits},
    {kLeft, [](l_univ& l) { l.put(9, 1); }, named("empty() || !off()")},
    {kEmpty, [](l_univ& l) { l.put_sorted(nullptr, 0); }, fits},
    {kEmpty, [](l_univ& l) { l.put_sorted(&letter, 0); }, fits},
    {kEmpty, [](l_univ& l) { l.replace(two.get()); }, named("v!= NULL && !off()")},
    {kOnFirst, [](l_univ& l) { l.replace(nullptr); }, named("v!= NULL && !off()")},
    {kOnFirst, [](l_univ& l) { l.replace(&letter); }, named("v->id_type == cour->val->id_type")},
    {kEmpty, [](l_univ& l) { overwritten(l).put_right(two.get()); }, named("prem==NULL")},
    {kEmpty, [](l_univ& l) { overwritten(l).put_end(two.get()); }, named("prem==NULL")},
    {kEmpty, [](l_univ& l) { overwritten(l).put_sorted(two.get(), 0); }, named("prem==NULL")},
    {kRight, [](l_univ& l) { overwritten(l).put_end(two.get()); }, named("cour != NULL")},
    {kOnFirst, [](l_univ& l) { l.append_from(l, 4, 1); }, range},
    {kOnFirst, [](l_univ& l) { l.append_from(l, 3, 0); }, range},
    {kOnFirst, [](l_univ& l) { l.assign_from(l, 4, 1); }, range},
    {kOnFirst, [](l_univ& l) { l.assign_from(l, 0, 1); }, position},
    {kOnFirst, [](l_univ& l) { l.append_all(*new l_univ("letters", t_char)); }, tags},
};

// Runs in the process that dies: of its standard output a pipe gets only what was flushed.
void dieOf(void (*operation)(l_univ&), l_univ& l) {
    setTraceSink(nullptr);
    dup2(STDERR_FILENO, STDOUT_FILENO);
    setvbuf(stdout, nullptr, _IOFBF, BUFSIZ);
    operation(l);
}

std::string withoutLineNumber(const std::string& text) {
    return std::regex_replace(text, std::regex("line [0-9]+"), "line N");
}

TEST_F(ListDeathTest, WrongCodeIsFatal) {
    for (const Fault& fault : kFaults) {
        SCOPED_TRACE("row " + std::to_string(&fault - kFaults));
        l_univ l("tape", t_int);
        bringTo(l, fault.from);
        EXPECT_DEATH(dieOf(fault.operation, l), testing::ResultOf(withoutLineNumber, fault.told));
    }
}

}  // namespace
