#include <gmock/gmock.h>

#include <cstring>
#include <fstream>
#include <random>

#include "support/captured_trace.h"
#include "util/i_charstr.h"

#pragma GCC diagnostic ignored "-Wformat-nonliteral"

static std::string bytes(const CharString& s) { return std::string(s.c_str(), s.length()); }

/// What random texts are made of, with numbers that overflow on one machine or the other.
using namespace std::string_view_literals;
constexpr auto kPieces =
    "|a|B|z| |  |\"|\"a|b\"|\t|\n\v\f\r|\xe9|\xa0|,|12|-7|+|0x1f|007|1.5|1e|e+5|.|inf|nan(1)|1e400|"
    "2147483648|-2147483649|4294967296|-4294967295|9223372036854775808|-9223372036854775809|"
    "18446744073709551615|-18446744073709551616|\0|"sv;

struct Probe : CharString {
    using CharString::len, CharString::state, CharString::text, CharString::operator=;
};

/// A CharString beside its model: a standard string and the C library's own conversions.
struct Walk {
    std::mt19937_64 random;
    Probe s;
    std::string text, word;  // what `s` holds, and what the present step works with
    unsigned state = 0;      // the failure bits of `s`
    int i = 0, j = 0;
    char c = 0, got[40] = "", expected[40] = "";

    explicit Walk(std::uint64_t seed) : random(seed) {}
    int pick(std::size_t n) { return static_cast<int>(random() % n); }

    void draw() {
        if (pick(3) == 0) s.state = state = 0;  // what only a constructor does
        word.clear();
        for (int n = pick(5); n > 0; --n) {
            const std::size_t start = kPieces.find('|', random() % kPieces.size()) + 1;
            word += kPieces.substr(start, kPieces.find('|', start) - start);
        }
        if (text.size() > 120) s = word.c_str(), text = word.c_str();
        c = kPieces[random() % kPieces.size()];
        i = pick(text.size() + 5) - 2;
        j = pick(text.size() + 5) - 2;
    }

    template <typename Number>
    void append(const char* format) {
        const auto value = static_cast<Number>(random() >> pick(64));
        std::snprintf(expected, sizeof expected, format, value);
        text += expected;
        s << value;
    }

    /// What `sscanf` takes off the text, or else the failure bit.
    bool scan(const char* format, void* value, unsigned bit) {
        int n = 0;
        std::sscanf(text.c_str(), format, value, &n);
        if (n <= 0) state |= bit;
        text.erase(0, static_cast<std::size_t>(n));
        return n > 0;
    }

    template <typename Target, typename Scanned = unsigned>
    void read(const char* format, unsigned bit = 2) {
        Target target = 1, model = 1;
        Scanned value = 1;
        const bool as_scanned = std::is_same_v<Target, Scanned> || std::is_same_v<Target, long>;
        const bool found = scan(format, &value, bit);
        if (as_scanned ? found : state == 0) model = static_cast<Target>(value);
        s >> target;
        ASSERT_EQ(std::to_string(target), std::to_string(model)) << format;
    }

    std::string token() {
        char first[512];
        if (!scan("%511s%n", first, CharString::kFailText)) return "";
        std::string all = first, next;
        if (all[0] != '"') return all;
        if (all.size() > 1 && all.back() == '"') return all.substr(1, all.size() - 2);
        do {
            all += ' ' + (next = token());
        } while (!next.empty() && next.back() != '"' && state == 0);
        return all.substr(1, all.size() - 2);
    }

    void readToken() {
        const std::string before = text, found = token();
        if (found.size() >= sizeof got) text = before, state |= CharString::kFailText;
        std::strcpy(got, "kept");
        s >> got;
        ASSERT_EQ(got, text == before ? "kept" : found);
    }

    /// Cuts the text up to `c` off the front of `whole`, as far as its first NUL.
    std::string cutField(std::string& whole) const {
        std::string field = whole.substr(0, whole.find(c)).c_str();
        whole.erase(0, std::min(whole.find(c), whole.size() - 1) + 1);
        return field;
    }

    void takeDelimitedAndResize() {
        if (text.empty()) state |= CharString::kFailText;
        s.getDelimited(got, 10, c);
        ASSERT_EQ(got, text.empty() ? "" : cutField(text).substr(0, 9));
        if (i >= 0 && i < s.length() && j > 0) text.erase(i, j);
        s.eraseRange(i, j);
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

constexpr void (*kSteps[])(Walk&) = {
    [](Walk& w) { w.s << w.word.c_str() << w.c, w.text += w.word.c_str(), w.text += w.c; },
    [](Walk& w) { w.s += w.s, w.text += w.text; },
    [](Walk& w) { w.s << w.s.c_str(), w.text += std::string(w.text.c_str()); },
    [](Walk& w) { w.append<unsigned char>("%d"), w.append<short>("%d"), w.append<float>("%f"); },
    [](Walk& w) { w.append<unsigned short>("%d"), w.append<int>("%d"), w.append<unsigned>("%d"); },
    [](Walk& w) { w.append<long>("%ld"), w.append<unsigned long>("%ld"); },
    [](Walk& w) { w.read<char, char>("%c%n", 1), w.readToken(); },
    [](Walk& w) { w.read<int, int>("%d%n"), w.read<long, int>("%d%n"); },
    [](Walk& w) { w.read<unsigned>("%u%n"), w.read<float, float>("%f%n", 8); },
    [](Walk& w) { w.read<short, int>("%d%n"), w.read<unsigned char>("%u%n"); },
    [](Walk& w) { w.read<unsigned short>("%u%n"), w.read<unsigned long>("%u%n"); },
    [](Walk& w) { w.takeDelimitedAndResize(); },
};

TEST(CharString, StaysWithItsModelOnRandomWalks) {
    const char* const given = std::getenv("ZOR_SEED");
    const std::uint64_t seed = given ? std::strtoull(given, nullptr, 10) : std::random_device()();
    SCOPED_TRACE("ZOR_SEED=" + std::to_string(seed));
    for (std::uint64_t walk = 0; walk < 2'000 && !HasFatalFailure(); ++walk) {
        Walk w(seed + walk);
        for (int step = 0; step < 50 && !HasFatalFailure(); ++step) {
            w.draw();
            kSteps[w.pick(std::size(kSteps))](w);
            w.check();
        }
    }
}

TEST(CharString, TakesTextApartWithinTheRoomGiven) {
    for (const int length : {255, 256}) {
        char room[256] = "", *bare = room;
        EXPECT_EQ((CharString().padTo('w', length) >> bare).good(), length == 255);
        EXPECT_EQ(std::strlen(room), length == 255 ? 255U : 0U);
    }
    CharString levels, s("x(y)(abcde)z)(");
    while (levels.length() < 400'000) levels << "\" ";
    char piece[] = "####!", nothing[8] = "kept";
    levels >> nothing;
    EXPECT_STREQ(nothing, "") << "each level gives its blank for its closing quote";
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
    EXPECT_EQ((s == CharString(s)) + (s > "") + s.length(), 3);
}

TEST(CharString, ReportsAFileThatIsMissingAndAByteOutsideTheText) {
    const std::string path = testing::TempDir() + "charstr_file", folder = testing::TempDir();
    const CapturedTrace trace;
    std::ofstream(path) << std::string("a\r\n\xff\n\0rest", 10);
    EXPECT_EQ(bytes(CharString(path.c_str(), "r")), "a\r\n\xff\n");
    EXPECT_EQ(CharString(path.c_str(), "r").good(), 1);
    EXPECT_EQ(CharString(path.c_str(), "no mode").good() + CharString(nullptr, "r").good(), 0);
    EXPECT_EQ(CharString(folder.c_str(), "r").good() + CharString(path.c_str(), "w+").good(), 0);
    EXPECT_EQ(trace.all(), "");
    std::remove(path.c_str());
    EXPECT_EQ(CharString(path.c_str(), "r").good(), 0);
    CharString s("a\xe9");
    EXPECT_EQ(s.getChar(1) + CharString(80, 80).getChar(0), 0xe9U);
    s.setChar(1, '\0');
    s.setChar(2, '\xff');
    EXPECT_EQ(trace.all(), "@KEL LibUtil: Charstring couldnt read file  " + path +
                               "  \n@KEL CharString setChar out of bounds 2 a 255\n");
    EXPECT_EQ(bytes(s), std::string("a\0", 2));
    EXPECT_DEATH(s.getChar(2), "<.i==0 && len==0. .. .i>=0 && i< .int.len.> failed:\n.*charstr");
}

TEST(CharString, WritesAndReadsFlatXml) {
    CharString written;
    written.xmlOpen("r").xmlLeaf("a", "1 & 2").xmlLeaf("n", -5).xmlLeaf(nullptr, 0L).xmlClose("r");
    EXPECT_EQ(bytes(written), "<r><a>1 & 2</a><n>-5</n><>0</></r>");
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
