// A random walk of all operations over a few lists, beside a plain model of each: a vector and the
// number of the cursor. After every step the lists, their cursors, the reference counts and the
// number of elements alive must be those of the models.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "util/i_trace.h"
#include "util/l_univ.h"

namespace {

constexpr short kRanked = 7;
int ranked_alive = 0;

struct Ranked : elem_list {
    explicit Ranked(int r) : elem_list(kRanked), rank(r) { ++ranked_alive; }
    ~Ranked() override { --ranked_alive; }
    short less(const elem_list* o) const override { return rank < rankOf(o); }
    short equal(const elem_list* o) const override { return rank == rankOf(o); }
    static int rankOf(const elem_list* e) { return static_cast<const Ranked*>(e)->rank; }
    const int rank;
};

using Elements = std::vector<elem_list*>;

struct Model {
    Elements held;
    int cursor = 0;

    int size() const { return static_cast<int>(held.size()); }
    bool on() const { return cursor >= 1 && cursor <= size(); }
    void insert(elem_list* v) { held.insert(held.begin() + cursor++, v); }
    elem_list*& under() { return held[static_cast<std::size_t>(cursor) - 1]; }
    // What a range append takes from here; it moves a cursor that is off to where its walk ends.
    Elements take(int pos, int nb) {
        const int end = std::min(pos - 1 + nb, size());
        if (!on()) cursor = end + 1;
        return {held.begin() + pos - 1, held.begin() + end};
    }
};

class Walk {
  public:
    explicit Walk(unsigned seed) : random_(seed) {}

    void step() {
        const auto i = static_cast<std::size_t>(below(kLists));
        const bool room = models_[i].size() < 100;
        switch (below(room ? 4 : 2)) {
            case 0:
                return move(lists_[i], models_[i]);
            case 1:
                return drop(lists_[i], models_[i]);
            case 2:
                return put(lists_[i], models_[i]);
            default:
                return copy(i, static_cast<std::size_t>(below(kLists)));
        }
    }

    void check() {
        std::map<const elem_list*, int> counts;
        for (std::size_t i = 0; i < kLists; ++i) {
            EXPECT_EQ(lists_[i].pos_curseur, models_[i].cursor);
            EXPECT_EQ(lists_[i].off(), !models_[i].on());
            checkNodes(lists_[i], models_[i].held, counts);
        }
        int ranked = 0;
        for (const auto& [element, count] : counts) {
            EXPECT_EQ(element->nb_ref, count);
            ranked += element->id_type == kRanked;
        }
        EXPECT_EQ(ranked_alive, ranked);
        EXPECT_EQ(l_univ_alive, static_cast<int>(kLists + counts.size()) - ranked);
    }

  private:
    static constexpr std::size_t kLists = 3;

    int below(std::size_t n) { return static_cast<int>(random_() % n); }

    void checkNodes(const l_univ& l, const Elements& held,
                    std::map<const elem_list*, int>& counts) {
        Elements found;
        for (const auto* n = l.prem; n; n = n->suiv) {
            found.push_back(n->val);
            EXPECT_EQ(n->suiv ? n->suiv->prec : l.dern, n);
            if (++counts[n->val] == 1 && n->val->id_type == t_liste)
                checkNodes(static_cast<l_univ&>(*n->val), nested_.at(n->val), counts);
        }
        EXPECT_EQ(found, held);
        EXPECT_EQ(l.count(), static_cast<int>(held.size()));
    }

    void move(l_univ& l, Model& m) {
        const int n = m.size();
        const int k = n ? 1 + below(m.held.size()) : 0;
        switch (below(6)) {
            case 0:
                l.start(), m.cursor = std::min(n, 1);
                return;
            case 1:
                l.finish(), m.cursor = n;
                return;
            case 2:
                l.forth(), m.cursor = n ? std::min(m.cursor + 1, n + 1) : 0;
                return;
            case 3:
                l.back(), m.cursor = std::max(m.cursor - 1, 0);
                return;
            default:
                if (n == 0) return;
                EXPECT_EQ(l.i_th(k, t_neutre), m.held[static_cast<std::size_t>(k) - 1]);
                if (k % 2) l.go(k), m.cursor = k;
                if (!m.on()) m.cursor = n;
                EXPECT_EQ(l.item(t_neutre), m.under());
        }
    }

    void drop(l_univ& l, Model& m) {
        if (below(40) == 0) l.wipe_out(), m = Model();
        l.remove();
        if (m.on()) m.held.erase(m.held.begin() + m.cursor - 1);
        if (m.held.empty()) m.cursor = 0;
    }

    // A new element, one that the list holds already, or a new list with the list's plain ones.
    elem_list* any(const Model& m) {
        if (below(3) && !m.held.empty())
            return m.held[static_cast<std::size_t>(below(m.held.size()))];
        if (below(5)) return new Ranked(below(9));
        auto* const list = new l_univ("nested");
        auto& content = nested_[list] = {};
        std::copy_if(m.held.begin(), m.held.end(), std::back_inserter(content),
                     [](const elem_list* v) { return v->id_type == kRanked; });
        for (elem_list* v : content)
            list->put_end(v);
        return list;
    }

    void put(l_univ& l, Model& m) {
        elem_list* const v = any(m);
        const int way = below(5);
        if (way == 0)
            sort(l, m, v, static_cast<short>(below(2)));
        else if (way == 1)
            l.put_end(v), m.cursor = m.size(), m.insert(v);
        else if (way == 2 && m.on())
            l.put_left(v), --m.cursor, m.insert(v);
        else if (way == 3 && m.on() && v->id_type == m.under()->id_type)
            l.replace(v), m.under() = v;
        else if (m.cursor > 0)
            l.put_right(v), m.on() ? m.insert(v) : void();
        if (v->nb_ref == 0) delete v;
    }

    static void sort(l_univ& l, Model& m, elem_list* v, short unique) {
        m.cursor = 0;
        elem_list* found = nullptr;
        for (elem_list* here : m.held) {
            const bool same_tag = here->id_type == v->id_type;
            if (unique && same_tag && v->equal(here)) found = here;
            if (found || !same_tag || v->equal(here) || v->less(here)) break;
            ++m.cursor;
        }
        if (found)
            ++m.cursor;
        else
            m.insert(v);
        EXPECT_EQ(l.put_sorted(v, unique), found);
    }

    void copy(std::size_t i, std::size_t j) {
        Model& m = models_[i];
        Model& source = models_[j];
        const auto nested = m.on() ? nested_.find(m.under()) : nested_.end();
        if (nested != nested_.end() && m.under()->id_type == t_liste) {
            m = {nested->second, static_cast<int>(nested->second.size())};
            lists_[i] =
                static_cast<l_univ&>(*lists_[i].item(t_liste));  // which may live by this alone
            return;
        }
        if (source.held.empty()) return;
        const int pos = 1 + below(source.held.size());
        const int nb = 1 + below(source.held.size());
        const bool assigned = below(3) == 0;
        if (m.cursor == 0 && !assigned) lists_[i].finish(), m.cursor = m.size();
        const Elements range = i == j ? Model(source).take(pos, nb) : source.take(pos, nb);
        if (assigned) m = Model();
        if (m.cursor <= m.size())
            std::for_each(range.begin(), range.end(), [&m](auto v) { m.insert(v); });
        (lists_[i].*(assigned ? &l_univ::assign_from : &l_univ::append_from))(lists_[j], pos, nb);
    }

    std::mt19937 random_;
    l_univ lists_[kLists];
    Model models_[kLists];
    std::map<const elem_list*, Elements> nested_;  // what a nested list was made with
};

TEST(ListRandomTest, BehavesLikeAVectorWithACursor) {
    const char* const wanted = std::getenv("LIST_SEED");
    const unsigned seed =
        wanted ? static_cast<unsigned>(std::atoi(wanted)) : std::random_device()();
    SCOPED_TRACE("LIST_SEED=" + std::to_string(seed));
    setTraceSink([](const char*) {});
    {
        Walk walk(seed);
        for (int i = 0; i < 20000 && !HasFailure(); ++i) {
            walk.step();
            walk.check();
        }
    }
    setTraceSink(nullptr);
    EXPECT_EQ(ranked_alive + l_univ_alive, 0);
}

}  // namespace
