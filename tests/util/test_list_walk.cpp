// A random walk: a list of letters beside a model of it, over the operations that move, search or
// change. ZOR_TEST_SEED=number in the environment walks another way.

#include <algorithm>
#include <cstdlib>
#include <random>

#include "util/list_harness.h"

namespace {

// What the model throws, unchanged, where the list would end the process.
struct Fatal {};
void require(bool holds) {
    if (!holds) throw Fatal();
}

enum Mode { kRight, kLeft, kSorted, kModes };  // of `put`

// A text and the number of its cursor, with the operations of a list in their plainest form, and
// the reports that they make.
struct Model {
    std::string text = {};
    int pos_curseur = 0;
    std::string reports = {};

    int count() const { return static_cast<int>(text.size()); }
    bool has(int n) const { return n >= 1 && n <= count(); }
    bool on() const { return has(pos_curseur); }
    char& here() { return text.at(static_cast<std::size_t>(pos_curseur) - 1); }
    void tell(const std::string& report) { reports += "ListUniv l_univ" + report; }
    void start() { pos_curseur = std::min(1, count()); }
    void finish() { pos_curseur = count(); }
    void forth() {
        if (text.empty()) return tell(": forth impossible, list empty!\n");
        if (pos_curseur > count()) return tell(": forth impossible, overflow!\n");
        ++pos_curseur;
    }
    void back() {
        if (text.empty()) return tell(": back impossible, list empty!\n");
        if (pos_curseur == 0) return tell(": back impossible, off!\n");
        --pos_curseur;
    }
    void go(int n) {
        require(has(n));
        pos_curseur = n;
    }
    char item_char() {
        require(!text.empty());
        if (!on()) {
            tell("::item: index= " + std::to_string(pos_curseur) +
                 ", count= " + std::to_string(count()) + " off!\nreturns last item\n");
            finish();
        }
        return here();
    }
    void putRight(char value) {
        require(text.empty() || pos_curseur > 0);
        if (pos_curseur > count())
            return tell(": put_right denied: index " + std::to_string(pos_curseur) + ", count " +
                        std::to_string(count()) + ", id_type -8, v->id_type -2\n");
        text.insert(text.begin() + pos_curseur, value);
        ++pos_curseur;
    }
    void put(char value, int mode) {
        if (mode == kRight) return putRight(value);
        if (mode == kLeft) require(text.empty() || on());
        if (mode == kSorted) start();
        while (mode == kSorted && on() && here() < value) ++pos_curseur;
        pos_curseur = std::max(pos_curseur, 1);
        text.insert(text.begin() + (pos_curseur - 1), value);
    }
    void remove() {
        if (!on())
            return tell(text.empty() ? ": remove denied: empty\n" : ": remove denied: off\n");
        text.erase(text.begin() + (pos_curseur - 1));
        if (text.empty()) pos_curseur = 0;
    }
    short search_equal(elem_list* v, short from_start) {
        if (from_start) start();
        while (on() && here() != static_cast<el_char*>(v)->value) ++pos_curseur;
        return on();
    }
};

// What a step is given, and what it found.
struct Choice {
    char letter;
    int n;
    int found = 0;
};

// One operation, for a list and for its model alike.
struct Step {
    template <typename Operation>
    Step(const char* name_, Operation operation)
        : name(name_), onList(operation), onModel(operation) {}

    const char* name;
    void (*onList)(l_univ& l, Choice& c);
    void (*onModel)(Model& m, Choice& c);
};

const Step kSteps[] = {
    {"start", [](auto& l, Choice&) { l.start(); }},
    {"finish", [](auto& l, Choice&) { l.finish(); }},
    {"forth", [](auto& l, Choice&) { l.forth(); }},
    {"back", [](auto& l, Choice&) { l.back(); }},
    {"go", [](auto& l, Choice& c) { l.go(c.n); }},
    {"item", [](auto& l, Choice& c) { c.found = l.item_char(); }},
    {"put", [](auto& l, Choice& c) { l.put(c.letter, c.n % kModes); }},
    {"remove", [](auto& l, Choice&) { l.remove(); }},
    {"remove", [](auto& l, Choice&) { l.remove(); }},  // again, so that lists stay short
    {"search",
     [](auto& l, Choice& c) { c.found = l.search_equal(made<el_char>(c.letter).get(), c.n % 2); }},
};

TEST_F(ListTest, BehavesLikeATextWithACursor) {
    const char* const wanted = std::getenv("ZOR_TEST_SEED");
    const unsigned seed = wanted ? static_cast<unsigned>(std::atoi(wanted)) : 20261u;
    std::mt19937 numbers(seed);
    l_univ l;
    Model m;
    for (int i = 0; i < 20000 && !HasFailure(); ++i) {
        const Step& step = kSteps[numbers() % std::size(kSteps)];
        Choice c{static_cast<char>('a' + numbers() % 5), static_cast<int>(numbers() % 6)};
        SCOPED_TRACE("ZOR_TEST_SEED=" + std::to_string(seed) + ", step " + std::to_string(i) +
                     ", " + step.name + " on " + shown(l));
        Choice told = c;
        try {
            step.onModel(m, told);
            step.onList(l, c);
        } catch (const Fatal&) {}
        EXPECT_EQ(c.found, told.found);
        EXPECT_EQ(shown(l), m.text + "@" + std::to_string(m.pos_curseur));
        EXPECT_EQ(std::exchange(printed, ""), std::exchange(m.reports, ""));
    }
}

}  // namespace
