#include "util/l_univ_element.h"

#include "util/i_os_mutex.h"
#include "util/i_trace.h"

namespace {

constexpr char SOURCE_MODULE[] = "util/l_univ";
constexpr char kBehindValue[] = " * ";  // parts the values of a list that prints as one line

template <typename Value>
void emitValue(Value value) {
    CharString out(80, 80);
    out << value << kBehindValue;
    elem_list::emit(out);
}

}  // namespace

elem_list::~elem_list() = default;

void elem_list::print() {
    CharString out(80, 80);
    out << "id_elem_list=" << id_type << kBehindValue;
    emit(out);
}

const char* elem_list::type_name(int, int) {
    return "elem_list";
}

short elem_list::reserved_query() {
    return 0;
}

short elem_list::less(const elem_list*) const {
    return 0;
}

short elem_list::equal(const elem_list*) const {
    return 1;
}

void elem_list::emit(CharString& text) {
    const MutexHold hold(systemMutex(), SOURCE_MODULE, __LINE__);
    traceEmit(text);
}

void elem_list::emit_texte() {
    emit(texte);
}

void el_bool::print() {
    CharString out(80, 80);
    out << (value ? "TRUE " : "FALSE ");
    emit(out);
}

void el_char::print() {
    emitValue(value);
}

short el_char::less(const elem_list* other) const {
    return static_cast<unsigned char>(value) < static_cast<unsigned char>(valueOf(other));
}

void el_int::print() {
    emitValue(static_cast<int>(value));
}

void el_long::print() {
    emitValue(static_cast<long>(value));
}

void el_float::print() {
    emitValue(value);
}

void el_double::print() {
    emitValue(static_cast<float>(value));
}

void el_CharString::print() {
    CharString out(value);
    out << '\n';
    emit(out);
}

short el_CharString::less(const elem_list* other) const {
    return value < static_cast<const el_CharString*>(other)->value;
}

short el_CharString::equal(const elem_list* other) const {
    return value == static_cast<const el_CharString*>(other)->value;
}

void el_pointer::print() {
    CharString out(80, 80);
    out << "pt=" << static_cast<long>(reinterpret_cast<std::intptr_t>(value)) << " id=" << id_type
        << kBehindValue;
    emit(out);
}
