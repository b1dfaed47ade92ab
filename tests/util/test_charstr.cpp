#include <gmock/gmock.h>

#include <cstring>
#include <random>

#include "support/captured_trace.h"
#include "support/scratch_directory.h"
#include "util/i_charstr.h"

#pragma GCC diagnostic ignored "-Wformat-nonliteral"

using namespace std::string_view_literals;

constexpr std::size_t kMostMemory = 1 << 30;  // what an allocation that may fail gets at most

void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return size > kMostMemory ? nullptr : ::operator new[](size);
}

static std::string bytes(const CharString& s) { return std::string(s.c_str(), s.length()); }

/// What random texts are made of, with numbers that overflow on one machine or the other.
constexpr auto kPieces =
    "|a|B|z| |  |\"|\"a|b\"|\t|\n\v\f\r|\xe9|\xa0|,|12|-7|+|0x1f|007|1.5|1e|e+5|.|inf|nan(1)|1e400|"
    "2147483648|-2147483649|4294967296|-4294967295|9223372036854775808|-9223372036854775809|"
    "18446744073709551615|-18446744073709551616|\0|"sv;

template <typename Number>
constexpr const char* kScan = std::is_same_v<Number, char>    ? "%c%n"
                              : std::is_same_v<Number, int>   ? "%d%n"
                              : std::is_same_v<Number, float> ? "%f%n"
                                                              : "%u%n";

struct Probe : CharString {
    using CharString::CharString, CharString::operator=;
    using CharString::len, CharString::state, CharString::text;
};

/// A CharString beside its model: a standard string and the C library's own conversions.
struct Walk {
    std::mt19937_64 random;
    Probe s;
    std::string text, word;  // what `s` holds, and what the present step works with
    unsigned state = 0;      // the failure bits of `s`
    int i = 0, j = 0;        // up to two bytes outside the text
    char c = 0;

    explicit Walk(std::uint64_t seed) : random(seed) {}
    int pick(std::size_t n) { return static_cast<int>(random() % n); }

    void draw() {
        if (pick(3) == 0) state = 0;  // what only a constructor does
        s.state = static_cast<std::uint16_t>(state);
        word.clear();
        for (int n = pick(5); n > 0; --n) {
            const std::size_t start = kPieces.find('|', random() % kPieces.size()) + 1;
            word += kPieces.substr(start, kPieces.find('|', start) - start);
        }
        c = kPieces[random() % kPieces.size()];
        i = pick(text.size() + 5) - 2;
        j = pick(text.size() + 5) - 2;
    }

    void assign() {
        s = word.c_str();
        text = word.c_str();
    }
    void appendItself() {
        s += s;
        text += text;
    }
    template <typename Added>
    void add(const Added& added, const std::string& model) {
        s << added;
        text += model;
    }
    void addText() { add(word.c_str(), word.c_str()); }
    void addByte() { add(c, std::string(1, c)); }
    void addItsText() { add(s.c_str(), text.c_str()); }
    template <typename Number, typename Printed = int>
    void addNumber() {
        const auto value = static_cast<Number>(random() >> pick(64));
        add(value, std::to_string(static_cast<Printed>(value)));
    }

    /// What `sscanf` takes off the text, or else the failure bit.
    bool scan(const char* format, void* value, unsigned bit) {
        int n = 0;
        std::sscanf(text.c_str(), format, value, &n);
        if (n <= 0) state |= bit;
        text.erase(0, static_cast<std::size_t>(n));
        return n > 0;
    }

    template <typename Target, typename Scanned, unsigned bit = CharString::kFailInteger>
    void read() {
        Target target = 1, model = 1;
        Scanned value = 1;
        const bool found = scan(kScan<Scanned>, &value, bit);
        const bool direct = std::is_same_v<Target, Scanned> || std::is_same_v<Target, long>;
        if (direct ? found : state == 0) model = static_cast<Target>(value);
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
        char got[10];
        if (text.empty()) state |= CharString::kFailText;
        s.getDelimited(got, sizeof got, c);
        ASSERT_EQ(got, text.empty() ? "" : cutField(text).substr(0, sizeof got - 1));
    }
    void erase() {
        if (i >= 0 && i < s.length() && j > 0) text.erase(i, j);
        s.eraseRange(i, j);
    }
    void pad() {
        if (j > s.length()) text.resize(j, c);
        s.padTo(c, j);
    }

    void check() const {
        ASSERT_EQ(s.text, text);
        ASSERT_EQ(s.len, text.size());
        ASSERT_EQ(s.state, state);
        const auto from = std::min(static_cast<std::size_t>(std::max(i, 0)), text.size());
        const std::string right = text.substr(from);
        const std::string middle = j < static_cast<int>(from) ? right : text.substr(from, j - from);
        ASSERT_EQ(bytes(s.leftTo(i)), (i < 0 ? text : text.substr(0, from)).c_str());
        ASSERT_EQ(bytes(s.rightFrom(i)), right);
        ASSERT_EQ(bytes(s.subRange(i, j)), middle);
        ASSERT_EQ(s.find(c, i), i > s.length() ? -1 : static_cast<int>(text.find(c, from)));
        ASSERT_EQ(s.find(word.c_str(), from), static_cast<int>(text.find(word.c_str(), from)));
        ASSERT_EQ(s < word.c_str(), text < word.c_str());
        short count = -1;
        const std::unique_ptr<CharString[]> pieces(s.split(count, c));
        std::string left = text;
        for (int k = 0; k < count; ++k) ASSERT_EQ(bytes(pieces[k]), cutField(left));
        ASSERT_EQ(count, text.empty() ? 0 : std::count(text.begin(), text.end(), c) + 1);
    }
};

// clang-format off
constexpr void (Walk::*kSteps[])() = {
    &Walk::assign, &Walk::addText, &Walk::addByte, &Walk::appendItself, &Walk::addItsText,
    &Walk::addNumber<unsigned char>, &Walk::addNumber<short>, &Walk::addNumber<unsigned short>,
    &Walk::addNumber<int>, &Walk::addNumber<unsigned>, &Walk::addNumber<long, long>,
    &Walk::addNumber<unsigned long, long>, &Walk::addNumber<float, float>,
    &Walk::read<char, char, CharString::kFailChar>, &Walk::read<float, float, CharString::kFailText>,
    &Walk::read<unsigned char, unsigned>, &Walk::read<short, int>,
    &Walk::read<unsigned short, unsigned>, &Walk::read<int, int>, &Walk::read<unsigned, unsigned>,
    &Walk::read<long, int>, &Walk::read<unsigned long, unsigned>, 
    &Walk::takeDelimited, &Walk::erase, &Walk::pad};
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
                << "ZOR_TEST_SEED=" << seed << ", step " << n << ", kSteps[" << step << "] on "
                << testing::PrintToString(before) << ", word " << testing::PrintToString(w.word)
                << ", c " << testing::PrintToString(w.c) << ", i " << w.i << ", j " << w.j;
        }
    }
}

TEST(CharString, TakesTextApartWithinTheRoomGiven) {
    for (const int length : {255, 256}) {
        char room[256] = "", *bare = room;
        EXPECT_EQ((CharString().padTo('w', length) >> bare).good(), length == 255);
        EXPECT_EQ(std::strlen(room), length == 255 ? 255U : 0U);
    }
    CharString s("x(y)(abcde)z)(");
    char piece[] = "####!";
    for (const auto expected : {"y\0\0\0!"sv, "abcd!"sv}) {
        EXPECT_EQ(s.getBetween(piece, 4, '(', ')').good(), 1);
        EXPECT_EQ(std::string_view(piece, 5), expected);
    }
    EXPECT_EQ(s.getBetween(piece, 4, '(', ')').good(), 0);
    EXPECT_EQ(bytes(s), "z)(");
    short count = 0;
    const std::unique_ptr<CharString[]> pieces(s.padTo(',', 40'000).split(count, ','));
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
    CharString s("a.b.c a..b");
    s.replaceText(".", " 50", 50);
    EXPECT_EQ(bytes(s), "a 50b 50c a 50.b") << "one byte behind each replacement is passed over";
    s.replaceText("50", "", 2);
    s.replaceText("", "-", 2);
    EXPECT_EQ(bytes(s), "-a- b c a 50.b");
    s = "aZ`{@[ \t\n\xe9\xc9";
    s.toUpper();
    EXPECT_EQ(bytes(s), "AZ`{@[ \t\n\xe9\xc9");
    (s << '\0' << "c").toLower();
    s.removeBlanks();
    EXPECT_EQ(bytes(s), "az`{@[\n\xe9\xc9");
    s = "";
    s << static_cast<const char*>(nullptr) << -3.4028235e38F;
    EXPECT_EQ(bytes(s), "-340282346638528859811704183484516925440.000000");
    s = '\0';
    EXPECT_EQ(s.length(), 1);
    EXPECT_EQ(s == CharString(s), 1);
    EXPECT_EQ(s > "", 1);
}

TEST(CharString, HoldsAFileUpToItsFirstNulOrFails) {
    const ScratchDirectory scratch;
    const CapturedTrace trace;
    const std::string path = scratch.path("f"), none = scratch.path("none");
    scratch.write("f", std::string("a\r\n\xff\n\0rest", 10));
    const Probe whole(path.c_str(), "r");
    EXPECT_EQ(bytes(whole), "a\r\n\xff\n");
    EXPECT_EQ(whole.state, 0);
    EXPECT_DEATH(CharString(path.c_str(), nullptr), "<mode> failed:\nfile .util/i_charstr");
    const auto fails = [](const char* file, const char* mode) {
        const Probe text(file, mode);
        return text.length() == 0 && text.state == CharString::kFailFile;
    };
    EXPECT_TRUE(fails(nullptr, "r"));
    EXPECT_TRUE(fails(path.c_str(), "no mode"));
    EXPECT_TRUE(fails(scratch.top.c_str(), "r"));
    for (const std::uintmax_t length : {kMostMemory + 0ULL, 3ULL << 30}) {
        std::filesystem::resize_file(path, length);
        EXPECT_TRUE(fails(path.c_str(), "r")) << length;
    }
    EXPECT_TRUE(fails(path.c_str(), "w+")) << "which empties it";
    EXPECT_EQ(trace.all(), "");
    EXPECT_TRUE(fails(none.c_str(), "r"));
    EXPECT_EQ(trace.all(), "@KEL LibUtil: Charstring couldnt read file  " + none + "  \n");
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

TEST(CharString, WritesAndReadsFlatXml) {
    CharString written;
    written.xmlOpen("r").xmlLeaf("a", "1 & 2").xmlLeaf("n", -5).xmlLeaf(nullptr, 0L).xmlClose("r");
    EXPECT_EQ(bytes(written), "<r><a>1 & 2</a><n>-5</n><>0</></r>");
    // The result of xmlElement, xmlContent and xmlAttribute, each with [what it took], and
    // xmlCount.
    const std::pair<const char*, const char*> cases[] = {
        {"<x id=\"7\"/>tail", "11[ id=\"7\"/>] 0[?] 1[7] 1"},
        {"<x>body</x><x/><x a=\"\"></x>", "11[>body</x>] 1[body] 0[?] 3"},
        {"<xs>1</xs> <x>2</x>", "19[s>1</xs> <x>2</x>] 1[1</xs> <x>2] 0[?] 1"},
        {"<x><x>in</x>out</x>", "12[><x>in</x>] 1[<x>in] 0[?] 1"},
        {"<x/><x kid=\"\">", "4[/>] 0[?] 1[] 1"},
        {"<x id=\"7", "0[?] 0[?] 0[?] 0"}};
    for (const auto& [text, expected] : cases) {
        const CharString s(text);
        CharString element("?"), content("?"), attribute("?"), result;
        result << s.xmlElement("x", &element, 0) << '[' << element << "] ";
        result << s.xmlContent("x", &content, 0) << '[' << content << "] ";
        result << s.xmlAttribute("id", &attribute, 0) << '[' << attribute << "] ";
        EXPECT_EQ(bytes(result << s.xmlCount("x")), expected) << text;
    }
}
