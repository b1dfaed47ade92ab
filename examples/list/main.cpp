// A list of a program's own elements, kept in order.

#include <util/l_univ.h>

namespace {

constexpr short kTagLine = 1;  // positive tags are free for programs

/// A telephone line, in the order of its number.
class Line : public elem_list {
  public:
    Line(int line_number, const char* line_name)
        : elem_list(kTagLine), number(line_number), name(line_name) {}

    void print() override {
        texte << number << " " << name << "\n";
        emit_texte();
    }
    // Both or none: the base says that all elements are equal, and a list asks `equal` first.
    short less(const elem_list* other) const override { return number < of(other).number; }
    short equal(const elem_list* other) const override { return number == of(other).number; }

    const int number;
    const CharString name;

  private:
    static const Line& of(const elem_list* other) { return *static_cast<const Line*>(other); }
};

}  // namespace

int main() {
    l_univ lines("lines");  // owns what is put into it
    lines.put_sorted(new Line(42, "Lopez"), 0);
    lines.put_sorted(new Line(7, "Marin"), 0);
    lines.put_sorted(new Line(19, "Ruiz"), 0);
    // A walk by the list's one cursor: reading moves it too, so a list is for one thread at a time.
    for (lines.start(); !lines.off(); lines.forth())
        lines.item(kTagLine)->print();
    return lines.count() == 3 ? 0 : 1;
}
