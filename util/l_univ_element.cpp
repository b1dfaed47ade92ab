#include "util/l_univ_element.h"

#include "util/i_os_mutex.h"
#include "util/i_trace.h"

namespace {
constexpr char SOURCE_MODULE[] = "util/l_univ";
}

elem_list::~elem_list() = default;

void elem_list::print() {
    CharString out(80, 80);
    out << "id_elem_list=" << id_type << " * ";
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
