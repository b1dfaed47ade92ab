#pragma once

#include "util/i_charstr.h"

inline constexpr short t_neutre = 0;
inline constexpr short t_bool = -1;
inline constexpr short t_char = -2;
inline constexpr short t_int = -3;
inline constexpr short t_float = -4;
inline constexpr short t_double = -5;
inline constexpr short t_charstring = -6;
inline constexpr short t_liste = -8;
inline constexpr short t_message = -10;
inline constexpr short t_msg_to_send = -14;
inline constexpr short t_desc_file = -18;

class elem_list {
  public:
    explicit elem_list(short id) : id_type(id) {}
    elem_list(const elem_list&) = delete;
    elem_list& operator=(const elem_list&) = delete;

    virtual void print();
    virtual const char* type_name(int a, int b);
    virtual short reserved_query();
    virtual short less(const elem_list* other) const;
    virtual short equal(const elem_list* other) const;
    virtual ~elem_list();

    static void emit(CharString& text);
    void emit_texte();

    CharString texte;
    short id_type;
    short nb_ref = 0;
};
