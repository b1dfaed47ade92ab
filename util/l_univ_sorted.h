#pragma once
// A list that only ever grows in order: a face of its own over the universal list, which hides the
// operations that could put an element out of place. What a search finds is under the cursor, to be
// read or removed there.

#include "util/l_univ_list.h"

/// Holds elements of one tag in ascending order, the newest of equals first. Ownership, tags,
/// cursor, messages and threads are as told for `l_univ`. A derived class may give it an order by
/// overriding `compare`.
///
/// With elements of several tags each run of one tag is in order and no more: a new element goes
/// before the first one of another tag, even if elements of its own tag stand behind that.
class l_sorted : private l_univ {
  public:
    /// An empty list, with the name and the tag as told for `l_univ`.
    l_sorted() = default;
    explicit l_sorted(const char* name) : l_univ(name) {}
    l_sorted(const char* name, short id) : l_univ(name, id) {}
    /// A copy by the rules of `l_univ`.
    l_sorted(const l_sorted&) = default;
    ~l_sorted() override;

    /// Derived classes may name it in spite of the private base.
    using elem_list = ::elem_list;

    /// What is open of `l_univ`, as told there.
    using l_univ::back;
    using l_univ::compare;
    using l_univ::count;
    using l_univ::empty;
    using l_univ::finish;
    using l_univ::forth;
    using l_univ::i_th;
    using l_univ::item;
    using l_univ::off;
    using l_univ::print_range;
    using l_univ::print_state;
    using l_univ::put_sorted;
    using l_univ::remove;
    using l_univ::search_equal;
    using l_univ::search_same;
    using l_univ::start;

    /// The text is that of `l_univ`.
    void print() override;
    /// Takes all elements out.
    void wipe_out() { l_univ::wipe_out(); }
};
