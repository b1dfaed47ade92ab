#include <gmock/gmock.h>

#include <cstring>
#include <random>

#include "support/captured_trace.h"
#include "support/scratch_directory.h"
#include "support/short_memory.h"
#include "util/i_charstr.h"

#pragma GCC diagnostic ignored "-Wformat-nonliteral"

using namespace std::string_view_literals;

/// The failure bits, as the programs of the family know them.
enum : unsigned { kNoChar = 1, kNoInteger = 2, kNoText = 8, kNoFile = 16 };

static std::string bytes(const CharString& s) { return std::string(s.c_str(), s.length()); }

/// What random texts are made of, with numbers that overflow on one machine or the other.
constexpr auto kPieces =
    "|a|B|z| |  |\"|\"a|b\"|\t|\n\v\f\r|\xe9|\xa0|,|12|-7|+|0x1f|007|1.5|1e|e+5|.|inf|nan(1)|1e400|"
    "2147483648|-2147483649|4294967296|-4294967295|9223372036854775808|-9223372036854775809|"
    "18446744073709551615|-18446744073709551616|\0|"sv;

/// The results of the six comparisons.
template <typename Text, typename Other>
std::array<int, 6> compared(const Text& text, const Other& other) {
    return {text == other, text != other, text<other, text> other, text <= other, text >= other};
}

struct Probe : CharString {
    using CharString::CharString, CharString::operator=;
    using CharString::len, CharString::state, CharString::text;
};

/// A CharString beside its model: a standard string and the C library's own conversions.
struct Walk {
    std::mt19937_64 random;
    Probe s;
    std::string text;    // what `s` holds
    unsigned state = 0;  // the failure bits of `s`
    // What a step works with: a string, two bytes, and two numbers up to two beyond the text.
    Probe other;
    char c = 0;
    char close = 0;
    int i = 0;
    int j = 0;

    explicit Walk(std::uint64_t seed) : random(seed) {}
    int pick(std::size_t n) { return static_cast<int>(random() % n); }

    void draw() {
        if (pick(3) == 0) state = 0;  // what only a constructor does
        s.state = static_cast<std::uint16_t>(state);
        other.state = static_cast<std::uint16_t>(pick(32));
        other = "";
        for (int n = pick(5); n > 0; --n) {
            const std::size_t start = kPieces.find('|', random() % kPieces.size()) + 1;
            other.text += kPieces.substr(start, kPieces.find('|', start) - start);
        }
        other.len = static_cast<std::uint32_t>(other.text.size());
        c = kPieces[random() % kPieces.size()];
        close = pick(4) == 0 ? c : kPieces[random() % kPieces.size()];
        i = pick(text.size() + 5) - 2;
        j = pick(text.size() + 5) - 2;
    }

    /// A change that a CharString and a standard string tell alike.
    template <auto change>
    void both() {
        change(s, other, c);
        change(text, other.text, c);
    }
    template <typename Number, typename Printed = int>
    void addNumber() {
        const auto value = static_cast<Number>(random() >> pick(64));
        s << value;
        text += std::to_string(static_cast<Printed>(value));
    }

    /// What `sscanf` takes off the text, or else the failure bit.
    template <typename Target, typename Scanned, char conversion, unsigned bit = kNoInteger>
    void read() {
        const char format[] = {'%', conversion, '%', 'n', '\0'};
        Target target = 1;
        Target model = 1;
        Scanned value = 1;
        int n = 0;
        std::sscanf(text.c_str(), format, &value, &n);
        if (n <= 0) state |= bit;
        text.erase(0, static_cast<std::size_t>(n));
        const bool direct = std::is_same_v<Target, Scanned> || std::is_same_v<Target, long>;
        if (direct ? n > 0 : state == 0) model = static_cast<Target>(value);
        s >> target;
        ASSERT_EQ(std::to_string(target), std::to_string(model));
    }

    /// Cuts the text up to `c` off the front of `whole`, as far as its first NUL.
    std::string cutField(std::string& whole) const {
        std::string field = whole.substr(0, whole.find(c)).c_str();
        whole.erase(0, std::min(whole.find(c), whole.size() - 1) + 1);
        return field;
    }
    void takeDelimited() {
        char got[10] = "kept";
        if (text.empty()) state |= kNoText;
        s.getDelimited(got, sizeof got, c);
        ASSERT_EQ(got, text.empty() ? "" : cutField(text).substr(0, sizeof got - 1));
    }
    void takeBetween() {
        char got[] = "#####";
        char model[] = "\0####";
        const std::size_t begin = text.find(c) + 1;
        const std::size_t end = text.find(close);
        const bool found = begin > 0 && end >= begin && end != std::string::npos;
        if (found) std::strncpy(model, text.substr(begin, end - begin).c_str(), 4);
        if (found) text.erase(0, end + 1);
        if (!found) state |= kNoText;
        s.getBetween(got, 4, c, close);
        ASSERT_EQ(std::string_view(got, 5), std::string_view(model, 5));
    }
    void erase() {
        if (i >= 0 && i < s.length() && j > 0) text.erase(i, j);
        s.eraseRange(i, j);
    }
    void pad() {
        if (j > s.length()) text.resize(j, c);
        s.padTo(c, j);
    }
    void replace() {
        const std::string from = std::string(1, c).c_str();  // empty for a NUL
        const int most = text.empty() ? 0 : i;
        std::size_t at = 0;
        for (int n = 0; n < most && (at = text.find(from, at)) != std::string::npos; ++n) {
            text.replace(at, from.size(), other.c_str());
            at += std::strlen(other.c_str()) + 1;
        }
        s.replaceText(from.c_str(), other.c_str(), i);
    }

    void check() const {
        ASSERT_EQ(s.text, text);
        ASSERT_EQ(s.len, text.size());
        ASSERT_EQ(s.state, state);
        ASSERT_EQ(Probe(s).state, 0);
        ASSERT_EQ(compared(s, other), compared(text, other.text));
        ASSERT_EQ(compared(s, other.c_str()), compared(text, other.c_str()));
        checkSearches();
        checkCuts();
        checkPieces();
    }
    void checkSearches() const {
        const auto from = static_cast<std::size_t>(std::max(i, 0));
        ASSERT_EQ(s.find(c, i), static_cast<int>(text.find(c, from)));
        ASSERT_EQ(s.find(other, i), static_cast<int>(text.find(other.c_str(), from)));
        ASSERT_EQ(s.contains(other), text.find(other.c_str()) != std::string::npos);
    }
    void checkCuts() const {
        const auto from = std::min(static_cast<std::size_t>(std::max(i, 0)), text.size());
        const std::string right = text.substr(from);
        const std::string middle = j < static_cast<int>(from) ? right : text.substr(from, j - from);
        ASSERT_EQ(bytes(s.leftTo(i)), (i < 0 ? text : text.substr(0, from)).c_str());
        ASSERT_EQ(bytes(s.rightFrom(i)), right);
        ASSERT_EQ(bytes(s.subRange(i, j)), middle);
        const std::size_t at = text.find(c);  // one more than "nowhere" is the start
        ASSERT_EQ(bytes(s.beforeChar(c)), text.substr(0, at).c_str());
        ASSERT_EQ(bytes(s.throughChar(c)), text.substr(0, at + 1).c_str());
        ASSERT_EQ(bytes(s.afterChar(c)), text.substr(at + 1));
        ASSERT_EQ(bytes(s.fromChar(c)), at == std::string::npos ? text : text.substr(at));
    }
    void checkPieces() const {
        short count = -1;
        const std::unique_ptr<CharString[]> pieces(s.split(count, c));
        std::string left = text;
        for (int k = 0; k < count; ++k) ASSERT_EQ(bytes(pieces[k]), cutField(left));
        ASSERT_EQ(count, text.empty() ? 0 : std::count(text.begin(), text.end(), c) + 1);
    }
};

// clang-format off
constexpr void (Walk::*kSteps[])() = {
    &Walk::both<[](auto& t, auto& u, char) { t = u; }>,
    &Walk::both<[](auto& t, auto& u, char) { t = u.c_str(); }>,
    &Walk::both<[](auto& t, auto&, char b) { t = b; }>,
    &Walk::both<[](auto& t, auto& u, char) { t += u; }>,
    &Walk::both<[](auto& t, auto& u, char) { t += u.c_str(); }>,
    &Walk::both<[](auto& t, auto&, char b) { t += b; }>,
    &Walk::both<[](auto& t, auto&, char) { t += t; }>,
    &Walk::both<[](auto& t, auto&, char) { t += t.c_str(); }>,
    &Walk::addNumber<unsigned char>, &Walk::addNumber<short>,
    &Walk::addNumber<unsigned short>, &Walk::addNumber<int>, &Walk::addNumber<unsigned>,
    &Walk::addNumber<long, long>, &Walk::addNumber<unsigned long, long>,
    &Walk::addNumber<long long>, &Walk::addNumber<float, float>,
    &Walk::read<char, char, 'c', kNoChar>, &Walk::read<float, float, 'f', kNoText>,
    &Walk::read<int, int, 'd'>, &Walk::read<short, int, 'd'>, &Walk::read<long, int, 'd'>,
    &Walk::read<unsigned char, unsigned, 'u'>, &Walk::read<unsigned short, unsigned, 'u'>,
    &Walk::read<unsigned, unsigned, 'u'>, &Walk::read<unsigned long, unsigned, 'u'>,
    &Walk::takeDelimited, &Walk::takeBetween, &Walk::erase, &Walk::pad, &Walk::replace};
// clang-format on

TEST(CharString, StaysWithItsModelOnRandomWalks) {
    const char* const wanted = std::getenv("ZOR_TEST_SEED");
    const std::uint64_t first = wanted ? std::strtoull(wanted, nullptr, 10) : 20261;
    for (std::uint64_t seed = first; seed < first + 2'000; ++seed) {
        Walk w(seed);
        for (int n = 0; n < 50; ++n) {
            w.draw();
            const std::string before = w.text;
            const int step = w.pick(std::size(kSteps));
            (w.*kSteps[step])();
            w.check();
            ASSERT_FALSE(HasFailure())
                << "ZOR_TEST_SEED=" << seed << ", step " << n << ", kSteps[" << step
                << "] on text, "
                << "other, c, close, i, j: "
                << testing::PrintToString(std::tuple(before, w.other.text, w.c, w.close, w.i, w.j));
        }
    }
}

TEST(CharString, TrustsABarePointerWith256Bytes) {
    for (const int length : {255, 256}) {
        char room[256] = "";
        char* const bare = room;
        EXPECT_EQ((CharString().padTo('w', length) >> bare).good(), length == 255);
    }
}

TEST(CharString, SplitsIntoAsManyPiecesAsItsCountCanTell) {
    short count = 0;
    const std::unique_ptr<CharString[]> pieces(CharString().padTo(',', 40'000).split(count, ','));
    EXPECT_EQ(count, 32'767);
    EXPECT_EQ(pieces[32'766] == "", 1) << "the rest is dropped, not joined to the last";
}

TEST(CharString, ReadsATokenByItsQuotesAndKeepsWhatDoesNotFit) {
    std::string levels;
    for (int i = 0; i < 200'000; ++i) levels += "\" ";
    const std::tuple<std::string, const char*, const char*, bool> cases[] = {
        // text, token, rest, good
        {"\f seven77\tb", "seven77", "\tb", true},
        {"eighteig", "kept", "eighteig", false},
        {"\n ", "kept", "\n ", false},
        {"\"a\tb\" c", "a b", " c", true},
        {"\"\" c", "", " c", true},
        {"\"a \"b c\" d\" e", "a b c d", " e", true},
        {"\"a\"b", "a\"b", "", false},
        {levels, "", " ", false}};
    char got[8];
    for (const auto& [text, token, rest, good] : cases) {
        CharString s(text.c_str());
        std::strcpy(got, "kept");
        EXPECT_EQ((s >> got).good(), good) << text.substr(0, 20);
        EXPECT_STREQ(got, token);
        EXPECT_STREQ(s.c_str(), rest);
    }
    CharString failed;
    failed >> got << "\"a b c\"";
    EXPECT_STREQ((failed >> got).c_str(), " c\"") << "a token ends with its second word";
    EXPECT_STREQ(got, "a ");
}

TEST(CharString, ChangesInPlace) {
    CharString s("a.b50c..50");
    s.replaceText("50", "", 2);
    s.replaceText(nullptr, "", 2);
    s.replaceText(".", nullptr, 2);
    EXPECT_EQ(bytes(s), "a.bc..");
    s = "aZ`{@[ \t\n\xe9\xc9";
    s.toUpper();
    EXPECT_EQ(bytes(s), "AZ`{@[ \t\n\xe9\xc9");
    (s << '\0' << "c").toLower();
    s.removeBlanks();
    EXPECT_EQ(bytes(s), "az`{@[\n\xe9\xc9");
}

TEST(CharString, AppendsNothingForNullAndAFloatInFull) {
    Probe s;
    s << static_cast<const char*>(nullptr) << -3.4028235e38F;
    EXPECT_EQ(bytes(s), "-340282346638528859811704183484516925440.000000");
    EXPECT_GE(s.text.capacity(), 120U) << "what outgrows a few bytes is a line to be";
    testing::internal::CaptureStdout();
    s.dump();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "CharString: len 47 \n");
}

TEST(CharString, HoldsAFileUpToItsFirstNulOrFails) {
    const ScratchDirectory scratch;
    const CapturedTrace trace;
    const std::string path = scratch.path("f");
    scratch.write("f", std::string("a\r\n\xff\n\0rest", 10));
    const Probe whole(path.c_str(), "r");
    EXPECT_EQ(bytes(whole), "a\r\n\xff\n");
    EXPECT_EQ(whole.state, 0);
    EXPECT_DEATH(CharString(path.c_str(), nullptr), "<mode> failed:\nfile .util/i_charstr");
    const auto fails = [](const char* file, const char* mode) {
        const Probe text(file, mode);
        return text.length() == 0 && text.state == kNoFile;
    };
    EXPECT_TRUE(fails(nullptr, "r"));
    EXPECT_TRUE(fails(path.c_str(), "no mode"));
    EXPECT_TRUE(fails(scratch.top.c_str(), "r"));
    std::filesystem::resize_file(path, 3ULL << 30);
    EXPECT_TRUE(fails(path.c_str(), "r"));
    EXPECT_TRUE(fails(path.c_str(), "w+")) << "which empties it";
    EXPECT_EQ(trace.all(), "");
    EXPECT_TRUE(fails((path + "f").c_str(), "r"));
    EXPECT_EQ(trace.all(), "@KEL LibUtil: Charstring couldnt read file  " + path + "f  \n");
}

TEST(CharString, ReportsAByteOutsideTheText) {
    const CapturedTrace trace;
    CharString s("a\xe9");
    EXPECT_EQ(s.getChar(1), 0xe9U);
    EXPECT_EQ(CharString(80, 80).getChar(0), 0U);
    s.setChar(1, '\0');
    s.setChar(2, '\xff');
    EXPECT_EQ(trace.all(), "@KEL CharString setChar out of bounds 2 a 255\n");
    EXPECT_EQ(bytes(s), std::string("a\0", 2));
    EXPECT_DEATH(s.getChar(2), "<.i==0 && len==0. .. .i>=0 && i< .int.len.> failed:\n.*charstr");
}

TEST(CharString, WritesFlatXml) {
    enum { kFour = 4 };
    CharString written(kXmlHead);
    written.xmlOpen("r").xmlLeaf("a", "1 & 2").xmlLeaf("n", -5).xmlLeaf(nullptr, 0L);
    written.xmlLeaf("b", true).xmlLeaf("c", 'A').xmlLeaf("u", 7U).xmlLeaf("z", sizeof(char));
    written.xmlLeaf("l", -5LL).xmlLeaf("i", 0).xmlLeaf("e", kFour).xmlClose("r");
    EXPECT_EQ(bytes(written),
              "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<r><a>1 & 2</a><n>-5</n><>0</><b>1</b>"
              "<c>65</c><u>7</u><z>1</z><l>-5</l><i>0</i><e>4</e></r>");
}

TEST(CharString, ReadsFlatXml) {
    // From a place on, the results of xmlElement, xmlContent and xmlAttribute with [what each
    // took]; and that of xmlCount.
    const std::tuple<const char*, int, const char*> cases[] = {
        {"<x id=\"7\"/>tail", 0, "11[ id=\"7\"/>] 0[?] 1[7] 1"},
        {"<x>body</x><x/><x a=\"\"></x>", 0, "11[>body</x>] 1[body] 0[?] 3"},
        {"<x id=\"1\">a</x><x id=\"2\">b</x>", 1, "30[ id=\"2\">b</x>] 1[b] 1[1] 2"},
        {"<x id=\"1\">a</x><x id=\"2\">b</x>", 16, "0[?] 0[?] 1[2] 2"},
        {"<xs>1</xs> <x>2</x>", 0, "19[s>1</xs> <x>2</x>] 1[1</xs> <x>2] 0[?] 1"},
        {"<x><x>in</x>out</x>", 0, "12[><x>in</x>] 1[<x>in] 0[?] 1"},
        {"<x/><x kid=\"\">", 0, "4[/>] 0[?] 1[] 1"},
        {"<x id=\"7", 0, "0[?] 0[?] 0[?] 0"}};
    for (const auto& [text, start, expected] : cases) {
        const CharString s(text);
        CharString out("?");
        CharString result;
        result << s.xmlElement("x", &out, start) << '[' << out << "] ";
        out = "?";
        result << s.xmlContent("x", &out, start) << '[' << out << "] ";
        out = "?";
        result << s.xmlAttribute("id", &out, start) << '[' << out << "] ";
        EXPECT_EQ(bytes(result << s.xmlCount("x")), expected) << text;
    }
}
