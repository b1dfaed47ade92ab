#pragma once
// The universal list: the one container of the family, a doubly linked list of elements with one
// built-in cursor. All access goes through the cursor, in the manner of a tape.
//
// Positions count from 1. The cursor knows four states:
//
//   state                              pos_curseur      cour        off()
//   empty list                         0                null        1
//   left of a list that isn't empty    0                null        1
//   on an element                      1 to nb_elem     its node    0
//   right of a list that isn't empty   nb_elem + 1      null        1
//
// A walk: start(); then, while off() is 0, item(tag) and forth(). A walk that removes calls forth()
// only behind an element that it keeps.
//
// Misuse falls into two kinds. What a correct program can run into (moving past an end, removing or
// appending at the wrong place, an element of the wrong tag for `put_right`) is reported as one
// line through `emit`, begins with the list's name, and changes nothing (but `item` with the cursor
// off moves it to the last element). Anything else is a fault of the calling code and ends the
// process with an assertion that names the list (that of `go` doesn't).
//
// Threads: even `item` and `i_th` write the cursor, so a list that threads share needs the caller's
// lock around every use. The list's own lock, which a caller may share by `lock`, is taken by the
// operations that free all elements, and only while they do: `wipe_out`, and through it the
// destructor, `assign_from` and `=` (these two only when the source is another list).

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "util/l_univ_element.h"

struct Mutex;

/// Number of live lists of the process; any thread may read it at any time.
extern std::atomic<std::int32_t> l_univ_alive;

/// The list. It holds pointers and shares the elements with other lists through `nb_ref`; it never
/// copies an element. A list is an element too, so lists nest; it must not hold itself.
///
/// The list's own `id_type` is its discipline: with `t_liste` it takes elements of any tag, with
/// any other value (`t_neutre` too) only elements of exactly that tag.
///
/// The fields are open for reading; only the operations write them.
class l_univ : public elem_list {
  public:
    /// What copies take at most from one list, when the caller gives no number.
    static constexpr int kCopyLimit = 32767;

    /// One element's place in one list, allocated and freed with it; holds one count of `nb_ref`.
    struct Node {
        // Straight from the C heap: a node that can't be had is null, which the list asserts.
        /// Null where the heap has no more.
        static void* operator new(std::size_t size) noexcept { return std::malloc(size); }
        /// Gives it back there.
        static void operator delete(void* node) { std::free(node); }

        Node* prec;      ///< the node before, null at the first
        Node* suiv;      ///< the node behind, null at the last
        elem_list* val;  ///< the element, never null
    };

    /// An empty list. `name` isn't copied: the text must outlive the list and may be null.
    l_univ() : l_univ("ListUniv") {}
    explicit l_univ(const char* name) : l_univ(name, t_liste) {}
    l_univ(const char* name, short id);
    /// A list with the tag and the name of `l` and at most its first 32,767 elements, whatever
    /// their tags; its cursor stands on the last of them. It reads the nodes directly, so the
    /// cursor of `l` stays where it is.
    l_univ(const l_univ& l);
    ~l_univ() override;

    /// Take and give back the list's own lock, for callers that want to share it.
    void lock();
    void unlock();

    /// 1 without an element, else 0.
    short empty() const { return nb_elem == 0; }
    /// 1 with the cursor on no element, else 0.
    short off() const { return !isPosition(pos_curseur); }
    /// The number of elements.
    std::int32_t count() const { return nb_elem; }

    /// To the first element; nothing on an empty list.
    void start();
    /// To the last element; nothing on an empty list.
    void finish();
    /// One to the right, from the left end onto the first element and from the last one off to the
    /// right. On an empty list, or when already there: report.
    void forth();
    /// One to the left, from the right end onto the last element and from the first one off to the
    /// left. On an empty list, or when already there: report.
    void back();
    /// To position `n`, from 1 to `nb_elem`. Linear; a move to the left restarts from the first.
    void go(int n);

    /// The element under the cursor, which stays the list's; `id` is the tag that the reader
    /// expects, `t_neutre` for any. With the cursor off a list that isn't empty: report, the cursor
    /// moves to the last element, and that one is delivered. Another tag, or an empty list: fatal.
    elem_list* item(short id);
    /// The element at position `n` of the tag `id` (`t_neutre` for any); the cursor stays. Linear.
    elem_list* i_th(int n, short id);

    /// The value under the cursor, with the tag tested as in `item`.
    short item_bool();
    char item_char();
    int item_int();
    long item_long();
    float item_float();
    double item_double();
    /// Lends the text of an `el_CharString`: valid until the element changes or goes.
    const char* item_text();
    /// `id` is the tag that the `el_pointer` was put in with.
    void* item_pointer(short id);

    /// Insert `v` behind or before the cursor, which lands on it; the list then shares its
    /// ownership. On an empty list both make it the only element. `put_right` denies with a report,
    /// and leaves `v` to the caller, when the tag doesn't fit or the cursor is off to the right;
    /// from the left end it is fatal. `put_left` takes both as fatal.
    void put_right(elem_list* v);
    void put_left(elem_list* v);
    /// `finish`, then `put_right`: also when `v` is denied, the cursor ends on the last element.
    void put_end(elem_list* v);
    /// Make the element of the value's class and insert it: mode 0 by `put_right`, mode 2 by
    /// `put_sorted` with duplicates, any other by `put_left`. A denied element is deleted again.
    void put(short value, int mode);
    void put(char value, int mode);
    void put(int value, int mode);
    /// Keeps 32 bits on every machine, as all numbers of tag `t_int` do.
    void put(long value, int mode);
    void put(float value, int mode);
    void put(double value, int mode);
    /// Copies the text, which must not be null.
    void put(const char* value, int mode);
    /// The same for an `el_pointer` with tag `id`; it has no sorted mode, 2 is `put_left`.
    void put_pointer(void* p, short id, int mode);
    /// Puts `v` in the place of the element under the cursor and lets go of that one. The cursor
    /// must be on an element, and both must have the same tag.
    void replace(elem_list* v);
    /// Takes the element under the cursor out and lets go of it. The cursor stays at its number, so
    /// on the element that followed. With the cursor off: report.
    void remove();
    /// Takes all elements out; the freeing runs under the list's own lock.
    void wipe_out();

    /// Takes over the tag and the name of `l`, also when it is empty, then shares up to `nb` of its
    /// elements from position `pos` on, by `put_right`. Unless both tags are equal, one of them
    /// must be `t_liste`. The cursor of `l` makes the walk; it returns to its element if it was on
    /// one, else it stays where the walk ended. With a list as its own source there is one
    /// cursor for both, so each element of the range is put in behind itself (1 2 3 becomes 1 1 2 2
    /// 3 3), from any cursor state, and the cursor returns to the number that it had.
    void append_from(l_univ& l, int pos, int nb);
    /// The same in place of the old elements, with the cursor on the last new one. `l` may live as
    /// an element of this list alone: then it lives until the call ends. A list that is its own
    /// source drops what is outside the range.
    void assign_from(l_univ& l, int pos, int nb);
    /// `append_from` of the whole of `l` behind the last element, without a limit.
    void append_all(l_univ& l);
    /// Assigns at most the first 32,767 elements; assigning a list to itself changes nothing, its
    /// cursor and an element beyond the limit included.
    l_univ& operator=(l_univ& l);
    // It makes nodes like the other form.
    // NOLINTNEXTLINE(performance-noexcept-move-constructor)
    l_univ& operator=(l_univ&& l) { return *this = l; }
    /// A list with the tag and the name of `b` that shares the elements of `a`, then of `b`, at
    /// most 32,767 of each, with its cursor on the last. The cursors of both stay.
    friend l_univ operator+(l_univ& a, l_univ& b);

    /// Inserts `v` before the first element that it doesn't exceed by `compare` (so the newest of
    /// equals stands first), or before the first one of another tag. The cursor lands on it and the
    /// result is null. With `unique` not 0, an equal element on the way refuses `v`: that element
    /// is the result, the cursor stands on it, and `v` stays the caller's. Linear.
    elem_list* put_sorted(elem_list* v, short unique);
    /// 1 with the cursor on the element that is this very object, or 0 with the cursor off to the
    /// right. The search begins at the first element, or with `from_start` 0 at the cursor's; with
    /// the cursor off it then finds nothing and moves nothing.
    short search_same(elem_list* v, short from_start);
    /// The same for the first element of the tag of `v` for which `v->equal` holds.
    short search_equal(elem_list* v, short from_start);

    /// `print_range` of the whole list.
    void print() override;
    /// Writes a line of the name and ":", prints up to `nb` elements (0: all) from position `from`,
    /// and writes a line end. The cursor stays where the printing ended: its position is the
    /// result, or -1 when it is off.
    int print_range(int from, int nb);
    /// Writes the name, the number of elements and the cursor's position in one line.
    void print_state();

    /// The order of the list: -1, 0 or 1 as `a` stands before, beside or behind `b`; elements of
    /// different tags stand beside each other. A class derived from the list may have its own.
    virtual short compare(const elem_list* a, const elem_list* b) const;

    const char* nom;               ///< at the head of each message; not owned
    Node* prem = nullptr;          ///< first node, null when empty
    Node* dern = nullptr;          ///< last node, null when empty
    Node* cour = nullptr;          ///< node under the cursor, null when off
    std::int32_t nb_elem = 0;      ///< number of nodes
    std::int32_t pos_curseur = 0;  ///< position of the cursor, see the table above
    Mutex* mutex_obj = nullptr;    ///< the list's own lock, "mutex_obj"

  private:
    l_univ(l_univ& a, l_univ& b);  // the sum: made in place, since a copy could cut it short

    // From 1 to nb_elem, in one comparison: 0 wraps around to the greatest number.
    bool isPosition(std::int32_t n) const {
        return static_cast<std::uint32_t>(n) - 1 < static_cast<std::uint32_t>(nb_elem);
    }
    bool accepts(const elem_list* v) const { return id_type == t_liste || v->id_type == id_type; }
    void link(elem_list* v, Node* prec, Node* suiv);
    void assertPlace(const Node* before) const;
    void putMade(elem_list* v, int mode);
    void forthFromOff();
    void backFromOff();
    elem_list* itemWithReport(short id);
    void assertRange(const l_univ& l, int pos, int nb) const;
    void keepRange(int pos, int nb);
    void reportPutRightDenied(const elem_list* v);
    void reportRemoveDenied();
    // One node less holds the element; the last one takes it along.
    static void letGo(elem_list* element) {
        if (--element->nb_ref == 0) delete element;
    }
    void forget() {
        prem = dern = cour = nullptr;
        nb_elem = pos_curseur = 0;  // NOLINT(clang-analyzer-unix.Malloc): the nodes are gone by now
    }
};

inline void l_univ::start() {
    if (nb_elem == 0) return;
    cour = prem;
    pos_curseur = 1;
}

inline void l_univ::finish() {
    if (nb_elem == 0) return;
    cour = dern;
    pos_curseur = nb_elem;
}

inline void l_univ::forth() {
    if (!cour) return forthFromOff();
    cour = cour->suiv;
    ++pos_curseur;
}

inline void l_univ::back() {
    if (!cour) return backFromOff();
    cour = cour->prec;
    --pos_curseur;
}

inline elem_list* l_univ::item(short id) {
    if (cour && (id == t_neutre || cour->val->id_type == id)) [[likely]]
        return cour->val;
    return itemWithReport(id);
}

inline void l_univ::remove() {
    Node* const gone = cour;
    if (!gone) [[unlikely]]
        return reportRemoveDenied();
    Node* const before = gone->prec;
    Node* const behind = gone->suiv;
    (before ? before->suiv : prem) = behind;
    (behind ? behind->prec : dern) = before;
    cour = behind;
    elem_list* const element = gone->val;
    delete gone;     // while it is at hand: the element may lead far away
    letGo(element);  // NOLINT(clang-analyzer-cplusplus.NewDelete): each place has its own count
    if (--nb_elem == 0) [[unlikely]]
        forget();
}
