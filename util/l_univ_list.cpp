#include "util/l_univ_list.h"

#include <algorithm>
#include <cstdio>

#include "util/i_assert.h"
#include "util/i_os_mutex.h"

std::atomic<std::int32_t> l_univ_alive{0};

namespace {

constexpr char SOURCE_MODULE[] = "util/l_univ";

// Modes of the typed insertions; every other number means "before the cursor".
constexpr int kModeRight = 0;
constexpr int kModeSorted = 2;

// Cold: the operations that may report are the hot ones of the family.
template <typename... Parts>
[[gnu::cold, gnu::noinline]] void report(const char* nom, const Parts&... parts) {
    CharString out(80, 80);
    out << nom;
    ((out << parts), ...);
    elem_list::emit(out);
}

template <typename Element, typename Value>
elem_list* make(Value value) {
    auto* const element = new Element;
    element->value = value;
    return element;
}

}  // namespace

l_univ::l_univ(const char* name, short id) : elem_list(id), nom(name) {
    l_univ_alive.fetch_add(1, std::memory_order_relaxed);
    mutexInit(&mutex_obj, "mutex_obj");
}

l_univ::l_univ(const l_univ& l) : l_univ(l.nom, l.id_type) {
    for (const Node* n = l.prem; n && nb_elem < kCopyLimit; n = n->suiv)
        link(n->val, dern, nullptr);
    pos_curseur = nb_elem;
}

l_univ::l_univ(l_univ& a, l_univ& b) : l_univ(static_cast<const l_univ&>(a)) {
    l_univ copy(static_cast<const l_univ&>(b));
    append_all(copy);
}

l_univ::~l_univ() {
    l_univ_alive.fetch_sub(1, std::memory_order_relaxed);
    wipe_out();
    mutexDestroy(mutex_obj);
}

void l_univ::lock() {
    mutexGet(mutex_obj, SOURCE_MODULE, __LINE__);
}

void l_univ::unlock() {
    mutexRel(mutex_obj);
}

// ---- cursor ----

void l_univ::forthFromOff() {
    if (nb_elem == 0) return report(nom, " l_univ: forth impossible, ", "list empty!\n");
    if (pos_curseur > nb_elem) return report(nom, " l_univ: forth impossible, ", "overflow!\n");
    start();
}

void l_univ::backFromOff() {
    if (nb_elem == 0) return report(nom, " l_univ: back impossible, ", "list empty!\n");
    if (pos_curseur == 0) return report(nom, " l_univ: back impossible, ", "off!\n");
    finish();
}

// There is no way back: a walk to the left begins again at the first element.
void l_univ::go(int n) {
    ZOR_ASSERT(nb_elem > 0 && n >= 1 && n <= nb_elem, "nb_elem >0 && n>=1 && n<=nb_elem");
    if (off() || pos_curseur > n) start();
    while (pos_curseur != n)
        forth();
    ZOR_ASSERT(pos_curseur == n, "pos_curseur == n");
}

// ---- reading ----

// The way of `item` when the cursor is off or the tag isn't the expected one. A report that the end
// of the process follows is flushed: the end drops what a pipe hasn't got yet.
elem_list* l_univ::itemWithReport(short id) {
    if (off() || !cour) {
        const char* const why = off() ? " off!\n" : " cour=NULL\n";
        const std::int32_t index = pos_curseur;
        finish();
        report(nom, " l_univ::item: index= ", index, ", count= ", nb_elem, why,
               empty() ? "" : "returns last item\n");
        if (empty()) std::fflush(stdout);
    }
    ZOR_ASSERT_NAMED(!off() && cour != nullptr, "!off() && cour != NULL", nom);
    const bool expected = id == t_neutre || cour->val->id_type == id;
    if (!expected) {
        report(nom, " l_univ::item, type attendu ", id, " <> lu ", cour->val->id_type, '\n');
        std::fflush(stdout);
    }
    ZOR_ASSERT_NAMED(expected, "id == t_neutre || cour->val->id_type == id", nom);
    return cour->val;
}

elem_list* l_univ::i_th(int n, short id) {
    ZOR_ASSERT_NAMED(!empty() && n >= 1 && n <= nb_elem, "(!empty()) && (n>=1) && (n<=nb_elem)",
                     nom);
    Node* const node_before = cour;
    const std::int32_t position_before = pos_curseur;
    go(n);
    elem_list* const rep = cour->val;
    cour = node_before;
    pos_curseur = position_before;
    ZOR_ASSERT_NAMED(id == t_neutre || rep->id_type == id, "rep->id_type == id", nom);
    return rep;
}

short l_univ::item_bool() {
    return static_cast<el_bool*>(item(t_bool))->value;
}

char l_univ::item_char() {
    return static_cast<el_char*>(item(t_char))->value;
}

int l_univ::item_int() {
    return static_cast<el_integer*>(item(t_int))->value;
}

long l_univ::item_long() {
    return static_cast<el_integer*>(item(t_int))->value;
}

float l_univ::item_float() {
    return static_cast<el_float*>(item(t_float))->value;
}

double l_univ::item_double() {
    return static_cast<el_double*>(item(t_double))->value;
}

const char* l_univ::item_text() {
    return static_cast<el_CharString*>(item(t_charstring))->value.c_str();
}

void* l_univ::item_pointer(short id) {
    return static_cast<el_pointer*>(item(id))->value;
}

// ---- changing ----

// Makes the node of `v` between two neighbours, either of which may be missing, and puts the
// cursor's node on it; the position is the caller's to set.
[[gnu::always_inline]] inline void l_univ::link(elem_list* v, Node* prec, Node* suiv) {
    Node* const p = new Node{prec, suiv, v};
    ZOR_ASSERT_NAMED(p != nullptr, "p != NULL", nom);
    (prec ? prec->suiv : prem) = p;
    (suiv ? suiv->prec : dern) = p;
    cour = p;
    ++v->nb_ref;
    ++nb_elem;
}

void l_univ::reportPutRightDenied(const elem_list* v) {
    report(nom, " l_univ: put_right denied: index ", pos_curseur, ", count ", nb_elem, ", id_type ",
           id_type, ", v->id_type ", v->id_type, '\n');
}

// What is appended goes behind an element, or into a list that has none.
inline void l_univ::assertPlace(const Node* before) const {
    if (empty())
        ZOR_ASSERT_NAMED(prem == nullptr, "prem==NULL", nom);
    else
        ZOR_ASSERT_NAMED(before != nullptr, "cour != NULL", nom);
}

void l_univ::put_right(elem_list* v) {
    ZOR_ASSERT_NAMED(v != nullptr, "v != NULL", nom);
    if (!accepts(v) || pos_curseur > nb_elem) return reportPutRightDenied(v);
    assertPlace(cour);
    link(v, cour, cour ? cour->suiv : nullptr);
    ++pos_curseur;
    ZOR_ASSERT_NAMED(item(t_neutre) == v, "item(t_neutre) == v", nom);
}

void l_univ::put_left(elem_list* v) {
    ZOR_ASSERT_NAMED(v != nullptr && accepts(v),
                     "v != NULL && (id_type == t_liste || v->id_type == id_type)", nom);
    ZOR_ASSERT_NAMED(empty() || !off(), "empty() || !off()", nom);
    if (empty()) return put_right(v);
    link(v, cour->prec, cour);
}

// `put_right` at the last element, whose place is known: the most used insertion of the family.
void l_univ::put_end(elem_list* v) {
    ZOR_ASSERT_NAMED(v != nullptr, "v != NULL", nom);
    if (!accepts(v)) [[unlikely]] {
        finish();
        return reportPutRightDenied(v);
    }
    assertPlace(dern);
    link(v, dern, nullptr);
    pos_curseur = nb_elem;
}

// Inserts an element that nobody else knows: if the list denies it, it goes again.
void l_univ::putMade(elem_list* v, int mode) {
    if (mode == kModeRight)
        put_right(v);
    else if (mode == kModeSorted)
        put_sorted(v, 0);
    else
        put_left(v);
    if (v->nb_ref == 0) delete v;
}

void l_univ::put(short value, int mode) {
    putMade(make<el_bool>(value), mode);
}

void l_univ::put(char value, int mode) {
    putMade(make<el_char>(value), mode);
}

void l_univ::put(int value, int mode) {
    putMade(make<el_int>(value), mode);
}

void l_univ::put(long value, int mode) {
    putMade(make<el_long>(static_cast<std::int32_t>(value)), mode);
}

void l_univ::put(float value, int mode) {
    putMade(make<el_float>(value), mode);
}

void l_univ::put(double value, int mode) {
    putMade(make<el_double>(value), mode);
}

void l_univ::put(const char* value, int mode) {
    putMade(new el_CharString(value), mode);
}

void l_univ::put_pointer(void* p, short id, int mode) {
    constexpr int kModeLeft = 1;  // pointers have no order: the sorted mode means "before" too
    putMade(new el_pointer(p, id), mode == kModeRight ? kModeRight : kModeLeft);
}

void l_univ::replace(elem_list* v) {
    ZOR_ASSERT_NAMED(v != nullptr && !off(), "v!= NULL && !off()", nom);
    ZOR_ASSERT_NAMED(v->id_type == cour->val->id_type, "v->id_type == cour->val->id_type", nom);
    elem_list* const old = cour->val;
    cour->val = v;
    ++v->nb_ref;  // before the old one goes: it may hold the last count of `v`
    letGo(old);
}

void l_univ::reportRemoveDenied() {
    report(nom, " l_univ: remove denied: ", empty() ? "empty\n" : "off\n");
}

void l_univ::wipe_out() {
    lock();
    for (const Node* n = prem; n;) {
        const Node* const next = n->suiv;
        letGo(n->val);
        delete n;
        n = next;
    }
    unlock();
    forget();
}

// ---- copying ----

void l_univ::append_from(l_univ& l, int pos, int nb) {
    ZOR_ASSERT_NAMED(id_type == t_liste || l.id_type == t_liste || id_type == l.id_type,
                     "id_type == t_liste || l.id_type == t_liste || id_type == l.id_type", nom);
    id_type = l.id_type;
    nom = l.nom;
    if (l.empty()) return;
    assertRange(l, pos, nb);
    const std::int32_t noted = l.pos_curseur;
    l.go(pos);
    for (int taken = 0; !l.off() && taken < nb; ++taken) {
        put_right(l.item(t_neutre));
        l.forth();
    }
    if (noted >= 1 && noted <= l.nb_elem) l.go(noted);
}

void l_univ::assertRange(const l_univ& l, int pos, int nb) const {
    ZOR_ASSERT_NAMED(pos <= l.nb_elem && nb > 0, "(pos <= l.nb_elem) && (nb>0)", nom);
}

void l_univ::assign_from(l_univ& l, int pos, int nb) {
    if (&l == this) return keepRange(pos, nb);
    // The wipe may let go of the last list that holds `l`. A source that no list holds stays its
    // creator's.
    const bool held = l.nb_ref != 0;
    if (held) ++l.nb_ref;
    wipe_out();
    append_from(l, pos, nb);
    if (held) letGo(&l);
}

// The assignment of a list to itself: what a wipe would drop and the copying bring back stays.
void l_univ::keepRange(int pos, int nb) {
    if (empty()) return;
    assertRange(*this, pos, nb);
    go(pos);
    const std::int32_t kept = std::min(nb, nb_elem - pos + 1);
    for (finish(); nb_elem >= pos + kept; finish())
        remove();
    for (start(); nb_elem > kept;)
        remove();
    finish();
}

void l_univ::append_all(l_univ& l) {
    finish();
    append_from(l, 1, l.nb_elem);
}

l_univ& l_univ::operator=(l_univ& l) {
    if (&l != this) assign_from(l, 1, kCopyLimit);
    return *this;
}

l_univ operator+(l_univ& a, l_univ& b) {
    return l_univ(a, b);
}
