// Which number types each set of overloads takes. A type that is lost breaks programs of the family
// at their next build; the rows stand here so that it breaks this file first.
#include <string_view>
#include <type_traits>

#include "util/i_charstr.h"
#include "util/i_trace.h"
#include "util/l_univ.h"

enum Plain { kPlain };
enum Wide : long long { kWide };
enum class Scoped { kScoped };

template <typename Operation, typename... Types>
constexpr char kMarks[] = {(std::is_invocable_v<Operation, Types&> ? 'x' : '-')..., '\0'};

/// An "x" for each of the types that is taken, in their order here.
template <typename Operation>
constexpr std::string_view row(Operation) {
    return kMarks<Operation, bool, char, signed char, unsigned char, short, unsigned short, int,
                  unsigned, long, unsigned long, long long, unsigned long long, float, double,
                  Plain, Wide, Scoped>;
}

// clang-format off
static_assert(row([](auto& n) requires requires(CharString& s) { s << n; } {}) == "xxxxxxxxxxx-x-xx-");
static_assert(row([](auto& n) requires requires(CharString& s) { s >> n; } {}) == "-x-xxxxxxx--x----");
static_assert(row([](auto& n) requires requires(CharString& s) { s.xmlLeaf("", n); } {}) == "xxxxxxxxxxxx--x--");
static_assert(row([](auto& n) requires requires(l_univ& l) { l.put(n, 0); } {}) == "xxxxxxx-x---xxx--");
static_assert(row([](auto& n) requires requires { traceValues("", n); } {}) == "xxxxxxxxxxxx-----");
// clang-format on
