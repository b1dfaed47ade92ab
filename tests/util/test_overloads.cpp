// Which number types each overloaded operation takes. A type that is lost breaks programs of the
// family at their next build; the rows stand here so that it breaks this file first.
#include <gtest/gtest.h>

#include <array>
#include <string_view>

#include "util/i_charstr.h"
#include "util/i_msg_stream.h"
#include "util/i_trace.h"
#include "util/l_univ.h"

namespace {

enum Plain { kPlain };
enum Wide : long long { kWide };
enum class Scoped { kScoped };

template <template <typename> typename Takes, typename... Types>
constexpr std::array<char, sizeof...(Types)> marks = {(Takes<Types>::value ? 'x' : '-')...};

/// The whole numbers from bool to unsigned long long, the two floats, the three enums.
template <template <typename> typename Takes>
constexpr auto kMarks =
    marks<Takes, bool, char, signed char, unsigned char, short, unsigned short, int, unsigned, long,
          unsigned long, long long, unsigned long long, float, double, Plain, Wide, Scoped>;

template <template <typename> typename Takes>
constexpr std::string_view kRow(kMarks<Takes>.data(), kMarks<Takes>.size());

// clang-format off
template <typename N> using Appends = std::bool_constant<requires(CharString& s, N n) { s << n; }>;
template <typename N> using Adds = std::bool_constant<requires(CharString& s, N n) { s += n; }>;
template <typename N> using Assigns = std::bool_constant<requires(CharString& s, N n) { s = n; }>;
template <typename N> using Extracts = std::bool_constant<(requires(CharString& s, N n) { s >> n; })>;
template <typename N> using Constructs = std::bool_constant<requires(N n) { CharString(n); }>;
template <typename N> using Compares = std::bool_constant<requires(CharString& s, N n) { s == n; }>;
template <typename N> using Finds = std::bool_constant<requires(CharString& s, N n) { s.find(n, 0); }>;
template <typename N> using XmlLeaf = std::bool_constant<requires(CharString& s, N n) { s.xmlLeaf("", n); }>;
template <typename N> using Lists = std::bool_constant<requires(l_univ& l, N n) { l.put(n, 0); }>;
template <typename N> using Traces = std::bool_constant<requires(N n) { traceValues("", n); }>;
// clang-format on

// Columns: bool, char, signed char, unsigned char | short, unsigned short | int, unsigned |
// long, unsigned long | long long, unsigned long long | float, double | the three enums.
static_assert(kRow<Appends> == "xxxxxxxxxxx-x-xx-");
static_assert(kRow<Adds> == "xxxxxxxxxxxxxxxx-");
static_assert(kRow<Assigns> == "xxxxxxxxxxxxxxxx-");
static_assert(kRow<Extracts> == "-x-xxxxxxx--x----");
static_assert(kRow<Constructs> == "-----------------");
static_assert(kRow<Compares> == "-----------------");
static_assert(kRow<Finds> == "xxxxxxxxxxxxxxxx-");
static_assert(kRow<XmlLeaf> == "xxxxxxxxxxxx--x--");
static_assert(kRow<Lists> == "xxxxxxx-x---xxx--");
static_assert(kRow<Traces> == "xxxxxxxxxxxx-----");

}  // namespace

TEST(Overloads, XmlLeafPrintsEveryIntegerAsALong) {
    CharString s;
    s.xmlLeaf("b", true).xmlLeaf("c", 'A').xmlLeaf("u", 7U).xmlLeaf("z", sizeof(char));
    s.xmlLeaf("l", -5LL).xmlLeaf("i", 0).xmlLeaf("e", kPlain);
    EXPECT_STREQ(s.c_str(), "<b>1</b><c>65</c><u>7</u><z>1</z><l>-5</l><i>0</i><e>0</e>");
}
