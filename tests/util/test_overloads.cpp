// Which number types each overloaded operation takes. A type that is lost breaks programs of the
// family at their next build; the rows stand here so that it breaks this file first.
#include <gtest/gtest.h>

#include <array>
#include <string_view>

#include "serv_cli/i_tools.h"
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
template <typename N> using PutsShort = std::bool_constant<requires(N n, char* p) { PutShort(n, &p); }>;
template <typename N> using PutsLong = std::bool_constant<requires(N n, char* p) { PutLong(n, &p); }>;
template <typename N> using PutsULong = std::bool_constant<requires(N n, char* p) { PutULong(n, &p); }>;
template <typename N> using GetsShort = std::bool_constant<requires(N n, char* p) { GetShort(&n, &p, p); }>;
template <typename N> using GetsLong = std::bool_constant<requires(N n, char* p) { GetLong(&n, &p, p); }>;
template <typename N> using GetsULong = std::bool_constant<requires(N n, char* p) { GetULong(&n, &p, p); }>;
template <typename N> using PutsByte = std::bool_constant<requires(N n, char* p) { PutByte(n, &p); }>;
template <typename N> using PutsOptShort = std::bool_constant<requires(N n, char* p) { PutOptShort(n, &p); }>;
template <typename N> using GetsOptShort = std::bool_constant<requires(N n, char* p) { GetOptShort(&n, &p); }>;
template <typename N> using TracesOptShort = std::bool_constant<requires(N n) { traceOptShort("", n); }>;
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
static_assert(kRow<PutsShort> == "xxxxxxxxxxxxxxxx-");
static_assert(kRow<PutsLong> == "xxxxxxxxxxxxxxxx-");
static_assert(kRow<PutsULong> == "xxxxxxxxxxxxxxxx-");
static_assert(kRow<GetsShort> == "----x------------");
static_assert(kRow<GetsLong> == "------x----------");
static_assert(kRow<GetsULong> == "-------x---------");
static_assert(kRow<PutsByte> == "xxxxxxxxxxxxxxxx-");
static_assert(kRow<PutsOptShort> == "xxxxxxxxxxxxxxxx-");
static_assert(kRow<GetsOptShort> == "----x------------");
static_assert(kRow<TracesOptShort> == "xxxxxxxxxxxxxxxx-");

}  // namespace

TEST(Overloads, XmlLeafPrintsEveryIntegerAsALong) {
    CharString s;
    s.xmlLeaf("b", true).xmlLeaf("c", 'A').xmlLeaf("u", 7U).xmlLeaf("z", sizeof(char));
    s.xmlLeaf("l", -5LL).xmlLeaf("i", 0).xmlLeaf("e", kPlain);
    EXPECT_STREQ(s.c_str(), "<b>1</b><c>65</c><u>7</u><z>1</z><l>-5</l><i>0</i><e>0</e>");
}
