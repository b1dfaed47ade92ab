#include <gmock/gmock.h>

#include <cstring>
#include <random>

#include "support/captured_trace.h"
#include "support/scratch_directory.h"
#include "support/short_memory.h"
#include "util/i_charstr.h"

using namespace std::string_view_literals;

static std::string bytes(const CharString& s) { return std::string(s.c_str(), s.length()); }

/// What random texts are made of.
constexpr auto kPieces =
    "|a|B|z| |  |\xe9|\xa0|,|12|\0|what is longer than a string's own few bytes|"sv;

/// The results of the six comparisons.
template <typename Text, typename Other>
std::array<int, 6> compared(const Text& text, const Other& other) {
    return {text > other, text >= other, text == other, text != other, text <= other, text < other};
}

struct Probe : CharString {
    using CharString::CharString, CharString::operator=;
    using CharString::len, CharString::state, CharString::text;
};

/// A CharString beside its model: a standard string and the C library's own conversions.
struct Walk {
    std::mt19937_64 random;
    Probe s;
    std::string text;         // what `s` holds
    std::uint16_t state = 0;  // the failure bits of `s`
    Probe other;  // what a step works with: a string, a byte, and a number up to two beyond
    char c = 0;
    int i = 0;

    explicit Walk(std::uint64_t seed) : random(seed) {}
    int pick(std::size_t n) { return static_cast<int>(random() % n); }

    void draw() {
        state = static_cast<std::uint16_t>(pick(32));
        s.state = state;
        other.state = static_cast<std::uint16_t>(pick(32));
        other = "";
        for (int n = pick(5); n > 0; --n) {
            const std::size_t start = kPieces.find('|', random() % kPieces.size()) + 1;
            other.text += kPieces.substr(start, kPieces.find('|', start) - start);
        }
        other.len = static_cast<std::uint32_t>(other.text.size());
        c = kPieces[random() % kPieces.size()];
        i = pick(text.size() + 5) - 2;
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

    void pad() {
        if (i > s.length()) text.resize(i, c);
        s.padTo(c, i);
    }
    void check() const {
        ASSERT_EQ(s.text, text);
        ASSERT_EQ(s.len, text.size());
        ASSERT_EQ(s.state, state);
        for (int k = 0; k < s.length(); ++k) ASSERT_EQ(s.getChar(k), std::uint8_t(text[k]));
        ASSERT_EQ(Probe(s).state, 0);
        ASSERT_EQ(compared(s, other), compared(text, other.text));
        ASSERT_EQ(compared(s, other.c_str()), compared(text, other.c_str()));
        const auto from = static_cast<std::size_t>(std::max(i, 0));
        ASSERT_EQ(s.find(c, i), static_cast<int>(text.find(c, from)));
        ASSERT_EQ(s.find(other, i), static_cast<int>(text.find(other.c_str(), from)));
        ASSERT_EQ(s.contains(other), text.find(other.c_str()) != std::string::npos);
        ASSERT_EQ(s.contains(other.c_str()), s.contains(other));
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
    &Walk::pad};
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
                << testing::PrintToString(std::tuple(before, w.other.text, w.c, w.i));
        }
    }
}

TEST(CharString, TrustsABarePointerWith256Bytes) {
    char room[256];
    char* const bare = room;
    EXPECT_EQ((CharString().padTo('w', 255) >> bare).good(), 1);
    EXPECT_EQ((CharString().padTo('w', 256) >> bare).good(), 0);
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
    CharString s("a50b50");
    s.replaceText("50", "-", 1);
    s.replaceText(nullptr, "", 2);
    s.replaceText("-", nullptr, 2);
    EXPECT_EQ(bytes(s), "a-b50");
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
        return text.length() == 0 && text.state == 16;
    };
    EXPECT_TRUE(fails(nullptr, "r"));
    EXPECT_TRUE(fails(path.c_str(), "no mode"));
    EXPECT_TRUE(fails(scratch.top.c_str(), "r"));
    std::filesystem::resize_file(path, kMostMemory);
    EXPECT_TRUE(fails(path.c_str(), "r"));
    EXPECT_TRUE(fails(path.c_str(), "w+")) << "which empties it";
    EXPECT_EQ(trace.all(), "");
    EXPECT_TRUE(fails((path + "f").c_str(), "r"));
    EXPECT_EQ(trace.all(), "@KEL LibUtil: Charstring couldnt read file  " + path + "f  \n");
}

TEST(CharString, ReportsAByteOutsideTheText) {
    const CapturedTrace trace;
    CharString s("a\xe9");
    EXPECT_EQ(CharString(80, 80).getChar(0), 0U);
    s.setChar(1, '\0');
    s.setChar(2, '\xff');
    EXPECT_EQ(trace.all(), "@KEL CharString setChar out of bounds 2 a 255\n");
    EXPECT_EQ(bytes(s), std::string("a\0", 2));
    EXPECT_DEATH(s.getChar(-1), "<.i==0 ");
    EXPECT_DEATH(s.getChar(2), "<.i==0 && len==0. .. .i>=0 && i< .int.len.> failed:\n.*charstr");
}

TEST(CharString, WritesFlatXml) {
    CharString written(kXmlHead);
    written.xmlOpen("r").xmlLeaf("a", "1 & 2").xmlLeaf("n", -5).xmlLeaf(nullptr, 0L);
    written.xmlLeaf("b", true).xmlLeaf("c", 'A').xmlLeaf("u", 7U).xmlLeaf("z", sizeof(char));
    written.xmlLeaf("l", -5LL).xmlLeaf("i", 0).xmlClose("r");
    EXPECT_EQ(bytes(written),
              "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<r><a>1 & 2</a><n>-5</n><>0</><b>1</b>"
              "<c>65</c><u>7</u><z>1</z><l>-5</l><i>0</i></r>");
}

TEST(CharString, ReadsFlatXml) {
    const CharString s("<r id=\"1\"/><r id=\"\">body</r><r>");
    CharString out;
    EXPECT_EQ(s.xmlElement("r", &out, 0), 11);
    EXPECT_STREQ(out.c_str(), " id=\"1\"/>");
    EXPECT_EQ(s.xmlContent("r", &out, 1), 1);
    EXPECT_STREQ(out.c_str(), "body");
    EXPECT_EQ(s.xmlAttribute("id", &out, 5), 1);
    EXPECT_STREQ(out.c_str(), "");
    EXPECT_EQ(s.xmlElement("r", &out, 30), 0);
    EXPECT_EQ(s.xmlCount("r"), 2);
}
