// A random walk: lists beside models of them, over all operations that move, search or change.
// ZOR_TEST_SEED=number in the environment walks another way.

#include <algorithm>
#include <cstdlib>
#include <map>
#include <random>

#include "util/list_harness.h"

namespace {

// A vector and the number of its cursor, with the operations of a list in their plainest form, and
// the reports that they make.
struct Model {
    short id_type = t_liste;
    Elements held = {};
    int pos_curseur = 0;
    static inline std::string reports;

    int count() const { return static_cast<int>(held.size()); }
    bool accepts(const elem_list* v) const { return id_type == t_liste || v->id_type == id_type; }
    bool on() const { return pos_curseur >= 1 && pos_curseur <= count(); }
    elem_list*& at(int n) { return held.at(static_cast<std::size_t>(n) - 1); }
    void start() { pos_curseur = std::min(1, count()); }
    void finish() { pos_curseur = count(); }
    void tell(const std::string& text) { reports += "ListUniv l_univ" + text; }
    void forth() {
        if (held.empty()) return tell(": forth impossible, list empty!\n");
        if (pos_curseur > count()) return tell(": forth impossible, overflow!\n");
        ++pos_curseur;
    }
    void back() {
        if (held.empty()) return tell(": back impossible, list empty!\n");
        if (pos_curseur == 0) return tell(": back impossible, off!\n");
        --pos_curseur;
    }
    void go(int n) { pos_curseur = n; }
    elem_list* i_th(int n, short) { return at(n); }
    elem_list* item(short) {
        if (on()) return at(pos_curseur);
        tell("::item: index= " + std::to_string(pos_curseur) +
             ", count= " + std::to_string(count()) + " off!\nreturns last item\n");
        finish();
        return held.back();
    }
    void put_right(elem_list* v) {
        if (!accepts(v) || pos_curseur > count())
            return tell(": put_right denied: index " + std::to_string(pos_curseur) + ", count " +
                        std::to_string(count()) + ", id_type " + std::to_string(id_type) +
                        ", v->id_type " + std::to_string(v->id_type) + "\n");
        held.insert(held.begin() + pos_curseur, v);
        ++pos_curseur;
    }
    void put_left(elem_list* v) {
        pos_curseur = std::max(pos_curseur, 1);
        held.insert(held.begin() + (pos_curseur - 1), v);
    }
    void put_end(elem_list* v) {
        finish();
        put_right(v);
    }
    void replace(elem_list* v) { at(pos_curseur) = v; }
    void remove() {
        if (!on())
            return tell(held.empty() ? ": remove denied: empty\n" : ": remove denied: off\n");
        held.erase(held.begin() + (pos_curseur - 1));
        if (held.empty()) pos_curseur = 0;
    }
    void wipe_out() {
        held.clear();
        pos_curseur = 0;
    }
    void append_from(Model& l, int pos, int nb) {
        const int noted = l.pos_curseur;
        id_type = l.id_type;
        if (l.count() > 0) l.go(pos);
        for (int taken = 0; l.on() && taken < nb; ++taken) {
            put_right(l.at(l.pos_curseur));
            l.forth();
        }
        if (noted >= 1 && noted <= l.count()) l.go(noted);
    }
    void assign_from(Model& l, int pos, int nb) {
        Model source = l;  // it may be this one
        wipe_out();
        append_from(source, pos, nb);
        if (&l != this) l = source;
    }
    void append_all(Model& l) {
        finish();
        append_from(l, 1, l.count());
    }
    void assign(Model& l) {
        if (&l != this) assign_from(l, 1, l_univ::kCopyLimit);
    }
    static bool same(elem_list* a, elem_list* b) { return shown({a}, -1) == shown({b}, -1); }
    static bool exceeds(elem_list* a, elem_list* b) {
        return a->id_type == b->id_type && !a->less(b) && !same(a, b);
    }
    short search_same(elem_list* v, short from_start) {
        if (from_start) start();
        while (on() && at(pos_curseur) != v) ++pos_curseur;
        return on();
    }
    short search_equal(elem_list* v, short from_start) {
        if (from_start) start();
        while (on() && !same(at(pos_curseur), v)) ++pos_curseur;
        return on();
    }
    elem_list* put_sorted(elem_list* v, short unique) {
        for (start(); on() && exceeds(v, at(pos_curseur));) ++pos_curseur;
        if (unique && on() && same(at(pos_curseur), v)) return at(pos_curseur);
        put_left(v);
        return nullptr;
    }
};

struct List : l_univ {
    void assign(List& l) { static_cast<l_univ&>(*this) = l; }
};

// What a step is given beside the lists, and what it found.
struct Choice {
    elem_list* v;  // to put in or to search
    int pos;       // in the source, or in the list where they are the same
    int nb;
    short flag;
    elem_list* found = nullptr;
};

// When an operation may be used.
struct When {
    const Model& m;
    const Model& source;
    const Choice& c;

    bool always() const { return true; }
    bool seldom() const { return c.nb == 1; }
    bool inside() const { return c.pos <= m.count(); }
    bool inSource() const { return c.pos <= source.count(); }
    bool notEmpty() const { return m.count() > 0; }
    bool notLeft() const { return m.count() == 0 || m.pos_curseur > 0; }
    bool fits() const { return m.accepts(c.v); }
    bool fitsHere() const { return fits() && (m.count() == 0 || m.on()); }
    bool sameDiscipline() const {
        return m.id_type == t_liste || source.id_type == t_liste || m.id_type == source.id_type;
    }
    bool mayAssign() const { return sameDiscipline() && inSource(); }
    bool mayAppend() const { return mayAssign() && (&m == &source || notLeft()); }
    bool sameTag() const { return m.on() && Model(m).item(0)->id_type == c.v->id_type; }
};

// One operation, for a list and for its model alike.
struct Step {
    template <typename Operation>
    Step(const char* name_, bool (When::*allowed_)() const, Operation operation)
        : name(name_), allowed(allowed_), onList(operation), onModel(operation) {}

    const char* name;
    bool (When::*allowed)() const;
    void (*onList)(List& l, List& source, Choice& c);
    void (*onModel)(Model& m, Model& source, Choice& c);
};

const Step kSteps[] = {
    {"start", &When::always, [](auto& l, auto&, Choice&) { l.start(); }},
    {"finish", &When::always, [](auto& l, auto&, Choice&) { l.finish(); }},
    {"forth", &When::always, [](auto& l, auto&, Choice&) { l.forth(); }},
    {"back", &When::always, [](auto& l, auto&, Choice&) { l.back(); }},
    {"go", &When::inside, [](auto& l, auto&, Choice& c) { l.go(c.pos); }},
    {"item", &When::notEmpty, [](auto& l, auto&, Choice& c) { c.found = l.item(t_neutre); }},
    {"i_th", &When::inside, [](auto& l, auto&, Choice& c) { c.found = l.i_th(c.pos, t_neutre); }},
    {"put_right", &When::notLeft, [](auto& l, auto&, Choice& c) { l.put_right(c.v); }},
    {"put_left", &When::fitsHere, [](auto& l, auto&, Choice& c) { l.put_left(c.v); }},
    {"put_end", &When::always, [](auto& l, auto&, Choice& c) { l.put_end(c.v); }},
    {"put_sorted", &When::fits,
     [](auto& l, auto&, Choice& c) { c.found = l.put_sorted(c.v, c.flag); }},
    {"replace", &When::sameTag, [](auto& l, auto&, Choice& c) { l.replace(c.v); }},
    {"remove", &When::always, [](auto& l, auto&, Choice&) { l.remove(); }},
    {"wipe_out", &When::seldom, [](auto& l, auto&, Choice&) { l.wipe_out(); }},
    {"search_same", &When::always,
     [](auto& l, auto&, Choice& c) { c.found = l.search_same(c.v, c.flag) ? c.v : nullptr; }},
    {"search_equal", &When::always,
     [](auto& l, auto&, Choice& c) { c.found = l.search_equal(c.v, c.flag) ? c.v : nullptr; }},
    {"append_from", &When::mayAppend,
     [](auto& l, auto& from, Choice& c) { l.append_from(from, c.pos, c.nb); }},
    {"assign_from", &When::mayAssign,
     [](auto& l, auto& from, Choice& c) { l.assign_from(from, c.pos, c.nb); }},
    {"append_all", &When::sameDiscipline, [](auto& l, auto& from, Choice&) { l.append_all(from); }},
    {"=", &When::sameDiscipline, [](auto& l, auto& from, Choice&) { l.assign(from); }},
};

constexpr int kLists = 3;
constexpr int kMost = 40;  // a longer list gives its elements back

struct Walk {
    std::mt19937 numbers;
    List lists[kLists] = {};
    Model models[kLists] = {};

    explicit Walk(unsigned seed) : numbers(seed) {
        lists[0].id_type = t_int;
        models[0].id_type = t_int;
    }

    int below(int n) { return static_cast<int>(numbers() % static_cast<unsigned>(n)); }
    elem_list* anElement(const Elements& known) {
        const auto any = static_cast<std::size_t>(below(kMost));
        if (any < known.size()) return known[any];
        if (below(3) == 0) return made<el_char>(static_cast<char>('a' + below(3))).release();
        return made<el_int>(below(10)).release();
    }
    // Every list is what its model is, and every element is counted once for each node.
    void check() {
        std::map<const elem_list*, int> nodes;
        for (int i = 0; i < kLists; ++i) {
            EXPECT_EQ(elementsOf(lists[i]), models[i].held);
            EXPECT_EQ(lists[i].pos_curseur, models[i].pos_curseur);
            for (const elem_list* v : models[i].held) ++nodes[v];
        }
        for (const auto& [v, count] : nodes) EXPECT_EQ(v->nb_ref, count);
    }
    void take(const Step& step, int n, int source) {
        List& l = lists[n];
        Model& m = models[n];
        Choice c{anElement(models[source].held), 1 + below(kMost / 4), 1 + below(kMost / 4),
                 static_cast<short>(below(2))};
        ++c.v->nb_ref;  // of the walk
        Choice told = c;
        if ((When{m, models[source], c}.*step.allowed)()) {
            step.onModel(m, models[source], told);
            step.onList(l, lists[source], c);
        }
        EXPECT_EQ(c.found, told.found);
        EXPECT_EQ(std::exchange(ListTest::printed, ""), std::exchange(Model::reports, ""));
        if (--c.v->nb_ref == 0) delete c.v;
        check();
        if (m.count() <= kMost) return;
        l.wipe_out();
        m.wipe_out();
    }
};

TEST_F(ListTest, BehavesLikeAVectorWithACursor) {
    const char* const wanted = std::getenv("ZOR_TEST_SEED");
    const unsigned seed = wanted ? static_cast<unsigned>(std::atoi(wanted)) : 20261u;
    Walk w(seed);
    for (int i = 0; i < 20000 && !HasFailure(); ++i) {
        const Step& step = kSteps[w.below(static_cast<int>(std::size(kSteps)))];
        const int n = w.below(kLists);
        const int source = w.below(kLists);
        SCOPED_TRACE("ZOR_TEST_SEED=" + std::to_string(seed) + ", step " + std::to_string(i) +
                     ", " + step.name + " on " + shown(w.lists[n]) + " with " +
                     shown(w.lists[source]));
        w.take(step, n, source);
    }
}

}  // namespace
