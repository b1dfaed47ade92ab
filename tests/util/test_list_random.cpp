// Random steps over a few lists, each beside a plain model: a vector and the number of the cursor.
// After every step the nodes, the cursors, the reference counts and the number of lists alive must
// be those of the models.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "util/i_trace.h"
#include "util/l_univ.h"

namespace {

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
    void erase() {
        if (on()) held.erase(held.begin() + cursor - 1);
        if (held.empty()) cursor = 0;
    }
};

std::mt19937 random_number;
int below(int n) {
    return static_cast<int>(random_number() % static_cast<unsigned>(n));
}

// One that the list holds already, a new number, or a new list that shares the list's numbers.
elem_list* any(Modelled& m) {
    if (below(3) && !m.held.empty()) return m.at(1 + below(m.size()));
    auto* const number = new el_int;
    number->value = below(9);
    if (below(5)) return number;
    auto* const list = new l_univ;
    list->put_end(number);
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
        [&] { l.remove(), m.erase(); },
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

TEST(ListRandomTest, BehavesLikeAVectorWithACursor) {
    const char* const wanted = std::getenv("LIST_SEED");
    const unsigned seed =
        wanted ? static_cast<unsigned>(std::atoi(wanted)) : std::random_device()();
    SCOPED_TRACE("LIST_SEED=" + std::to_string(seed));
    random_number.seed(seed);
    setTraceSink([](const char*) {});
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
        std::int32_t alive = 3;
        for (const auto& [element, references] : counts) {
            EXPECT_EQ(element->nb_ref, references);
            alive += element->id_type == t_liste;
        }
        EXPECT_EQ(l_univ_alive, alive);
    }
    setTraceSink(nullptr);
}

}  // namespace
