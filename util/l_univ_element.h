#pragma once
// Elements: what a universal list can hold, and the value classes that carry plain values.
//
// An element is made on the heap by whoever adds it. From the moment a list holds it, the lists own
// it together: `nb_ref` counts their nodes, and the node that brings it to 0 deletes the element.
// With `nb_ref` 0 an element belongs to its creator.
//
// Fields carry no lock: two lists that share an element must not be changed by two threads at once.
// Printing may be called from any thread.

#include <cstdint>

#include "util/i_charstr.h"

// The type tags. A tag tells a reader which class stands behind an `elem_list` pointer. Negative
// tags belong to the family, also those without a name here. A program gives its own classes, and
// what it puts into an `el_pointer`, positive tags: the library uses none.
inline constexpr short t_neutre = 0;       ///< no type test for a reader; also a tag of its own
inline constexpr short t_bool = -1;        ///< `el_bool`
inline constexpr short t_char = -2;        ///< `el_char`
inline constexpr short t_int = -3;         ///< `el_int` and `el_long` alike
inline constexpr short t_float = -4;       ///< `el_float`
inline constexpr short t_double = -5;      ///< `el_double`
inline constexpr short t_charstring = -6;  ///< `el_CharString`
inline constexpr short t_liste = -8;       ///< a list; as a list's own tag: any element is welcome
inline constexpr short t_message = -10;    ///< `Message`
inline constexpr short t_msg_to_send = -14;  ///< `MsgToSend`
inline constexpr short t_desc_file = -18;    ///< `ElDescFile`

/// Base class of everything that a list can hold. The order of the virtual operations is fixed: the
/// family's programs are built against it.
///
/// A derived class with an order overrides `less` and `equal` together. A list asks `equal` first,
/// and the base says 1, so with a `less` alone all elements count as equal: each new one goes
/// first, and a search stops at the first of the tag.
class elem_list {
  public:
    /// An element that no list holds, of the tag `id`.
    explicit elem_list(short id) : id_type(id) {}
    elem_list(const elem_list&) = delete;
    elem_list& operator=(const elem_list&) = delete;

    /// Writes the element through `emit`, without a line end unless the class says otherwise. The
    /// base writes "id_elem_list=", the tag and " * ".
    virtual void print();
    /// "elem_list" for every class; both arguments are ignored. Kept for its place in the order.
    virtual const char* type_name(int a, int b);
    /// Always 0. Kept for its place in the order.
    virtual short reserved_query();
    /// 1 when this element stands before `other` in its class's order, else 0; the base has no
    /// order and says 0. `other` must carry the same tag: its value is read without a test.
    virtual short less(const elem_list* other) const;
    /// 1 when the values are equal, else 0; the base says 1. `other` must carry the same tag.
    virtual short equal(const elem_list* other) const;
    virtual ~elem_list();

    /// Hands `text` to the trace output under the lock "mutex_Systeme" and leaves it empty. One
    /// call comes out whole; between two calls other threads may write.
    static void emit(CharString& text);
    /// `emit` of the element's own `texte`.
    void emit_texte();

    CharString texte;  ///< a text for the user of the element; `emit_texte` prints and empties it
    short id_type;     ///< the type tag
    short nb_ref = 0;  ///< list nodes that hold this element, at most 32,767
};

/// A truth value. It has no order: every `el_bool` counts as equal to every other.
class el_bool : public elem_list {
  public:
    /// False.
    el_bool() : elem_list(t_bool) {}
    void print() override;

    short value = 0;  ///< 0, or anything else for true
};

/// What the value classes with an order share: the value, and its comparison with another element
/// of the same tag.
template <typename Value, short kTag>
class el_ordered : public elem_list {
  public:
    /// Zero.
    el_ordered() : elem_list(kTag) {}
    /// By `<` and `==` of the values.
    short less(const elem_list* other) const override { return value < valueOf(other); }
    short equal(const elem_list* other) const override { return value == valueOf(other); }

    Value value{};  ///< free to be changed while no sorted list holds it

  protected:
    /// The value of an element of the same tag.
    static const Value& valueOf(const elem_list* element) {
        return static_cast<const el_ordered*>(element)->value;
    }
};

/// One byte. The order is that of unsigned bytes on every machine.
class el_char : public el_ordered<char, t_char> {
  public:
    void print() override;
    short less(const elem_list* other) const override;
};

/// The two integer classes share their tag, so they share their value's width too: a reader by tag
/// gets the number, whichever of the two was put in.
using el_integer = el_ordered<std::int32_t, t_int>;

/// An integer, printed in decimal.
class el_int : public el_integer {
  public:
    void print() override;
};

/// An integer, printed in decimal.
class el_long : public el_integer {
  public:
    void print() override;
};

/// A number in single precision.
class el_float : public el_ordered<float, t_float> {
  public:
    void print() override;
};

/// Compares in double precision and prints in single precision, as the family's listings do.
class el_double : public el_ordered<double, t_double> {
  public:
    void print() override;
};

/// A text of its own. Its print ends in a line end.
class el_CharString : public elem_list {
  public:
    /// With a copy of `s`.
    explicit el_CharString(const char* s) : elem_list(t_charstring), value(s) {}
    void print() override;
    short less(const elem_list* other) const override;
    short equal(const elem_list* other) const override;

    CharString value;  ///< free to be changed while no sorted list holds it
};

/// A pointer under a tag of the creator's choice. What it points at is never released here, and
/// every `el_pointer` counts as equal to every other of its tag.
class el_pointer : public elem_list {
  public:
    /// `p` under the tag `id`.
    el_pointer(void* p, short id) : elem_list(id), value(p) {}
    void print() override;

    void* value;  ///< may be null
};
