#include "util/l_univ_sorted.h"

#include "util/i_assert.h"

namespace {

constexpr char SOURCE_MODULE[] = "util/l_univ";

// Walks `list` until `matches` holds for the element under the cursor.
template <typename Matches>
bool walkTo(l_univ& list, short from_start, Matches matches) {
    if (from_start) list.start();
    for (; !list.off(); list.forth())
        if (matches(list.item(t_neutre))) return true;
    return false;
}

}  // namespace

short l_univ::compare(const elem_list* a, const elem_list* b) const {
    if (a->id_type != b->id_type || a->equal(b)) return 0;
    return a->less(b) ? -1 : 1;
}

elem_list* l_univ::put_sorted(elem_list* v, short unique) {
    ZOR_ASSERT_NAMED(v != nullptr && accepts(v),
                     "v != NULL && (id_type == t_liste || v->id_type == id_type)", nom);
    for (start(); !off(); forth()) {
        elem_list* const here = item(t_neutre);
        const int order = v->id_type == here->id_type ? compare(v, here) : -1;
        if (unique && order == 0) return here;
        if (order <= 0) break;
    }
    if (off())
        put_end(v);
    else
        put_left(v);
    return nullptr;
}

short l_univ::search_same(elem_list* v, short from_start) {
    const bool trouve =
        walkTo(*this, from_start, [v](const elem_list* element) { return element == v; });
    ZOR_ASSERT_NAMED(trouve || off(), "trouve== TRUE || off()", nom);
    return trouve;
}

short l_univ::search_equal(elem_list* v, short from_start) {
    const bool trouve = walkTo(*this, from_start, [v](const elem_list* element) {
        return v->id_type == element->id_type && v->equal(element);
    });
    ZOR_ASSERT_NAMED(trouve || off(), "trouve== TRUE || off()", nom);
    return trouve;
}

void l_univ::print() {
    print_range(1, 0);
}

int l_univ::print_range(int from, int nb) {
    CharString out(80, 80);
    out << nom << ":" << '\n';
    emit(out);
    const std::int64_t end = nb == 0 ? std::int64_t{nb_elem} + 1 : std::int64_t{from} + nb;
    if (nb_elem >= from) {
        for (go(from); !off() && pos_curseur < end; forth())
            item(t_neutre)->print();
    }
    out << '\n';
    emit(out);
    return off() ? -1 : pos_curseur;
}

void l_univ::print_state() {
    CharString out(80, 80);
    out << nom << ": nb_elem= " << nb_elem << ", pos_curseur= " << pos_curseur << '\n';
    emit(out);
}

l_sorted::~l_sorted() = default;

void l_sorted::print() {
    l_univ::print();
}
