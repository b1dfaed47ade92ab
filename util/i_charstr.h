#pragma once
// CharString, the string of the library: every message, path, trace line and list printout is
// built in one. It adds three things to a standard string: a length that is read as one field, a
// word of failure bits that makes a string usable as its own input stream, and the `operator<<`
// that messages are written with.
//
// A CharString is a value: it owns its text, and a copy or a cut is independent of its source. It
// takes no lock and is used by one thread at a time; threads build texts in locals and hand them
// to a sink that takes its own lock.
//
// A text holds any byte, also NUL. What goes through a null-terminated text stops at the first
// NUL: construction and assignment from `const char*`, every search for a text, the file
// constructor, `leftTo` with all that is made of it, `removeBlanks`, and the extractions, which see
// what `sscanf` would see on `c_str()`. A `const char*` argument must not be null unless its
// operation says otherwise; a null one is a fault of the calling code and ends in an assertion.
//
// The failure bits of `state`. They add up, and only a constructor starts at 0: no assignment and
// no later success takes a bit away, and a copy starts good whatever its source has been through.
//
//   bit  name          set by
//   1    kFailChar     `>>` into a char found nothing
//   2    kFailInteger  `>>` into an integer found no number
//   8    kFailText     `>>` into a token or a float found nothing, or a token that its target can't
//                      hold or that is never closed; `getDelimited` and `getBetween` on failure
//   16   kFailFile     the file constructor delivered no text

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

/// The head of an XML document. The XML writers leave it to their caller.
inline constexpr char kXmlHead[] = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";

/// The library's string. One thread at a time per object; nothing is shared between copies.
class CharString {
  public:
    /// The failure bits; the table above tells who sets which.
    static constexpr std::uint16_t kFailChar = 1;
    static constexpr std::uint16_t kFailInteger = 2;
    static constexpr std::uint16_t kFailText = 8;
    static constexpr std::uint16_t kFailFile = 16;

    /// What `>>` trusts a bare `char*` to hold, in bytes with the NUL.
    static constexpr std::size_t kTokenCapacity = 256;

    // --- Construction -----------------------------------------------------------------------

    /// The empty text.
    CharString() = default;

    /// The empty text. The numbers are the caller's guess of what it will write, in bytes; every
    /// text gets the room of a line when it outgrows the standard string's own, so they change
    /// nothing.
    CharString([[maybe_unused]] int size, [[maybe_unused]] int grow) {}

    /// A copy of `s` up to its NUL.
    CharString(const char* s);

    /// A copy of the text; the failure bits stay behind.
    CharString(const CharString& other);

    /// The text of the file `path`, opened with the `fopen` mode `mode`, up to its first NUL. A
    /// null path, a file that can't be opened, an empty one, one without a size (a directory) and
    /// one that can't be held leave an empty text and kFailFile; a file that this process may not
    /// read (or that isn't there) also writes one trace line.
    CharString(const char* path, const char* mode);

    /// Releases the text. An array made by `split` goes back with `delete[]`.
    ~CharString() = default;

    // --- Assignment: the text only, the failure bits stay -------------------------------------

    /// The other's text, with its NULs. Assignments give nothing, so they don't chain.
    void operator=(const CharString& other);
    /// A copy of `s` up to its NUL; `s` may point into this very text.
    void operator=(const char* s);
    /// A text of exactly one byte, also when `c` is NUL.
    void operator=(char c);

    // --- Appending ----------------------------------------------------------------------------

    /// Appends one byte. The `+=` forms give nothing; the `<<` forms give the object, for chains.
    void operator+=(char c) { *this << c; }
    /// Appends the other's text, which may be this one.
    void operator+=(const CharString& other) { *this << other; }
    /// Appends `s`, which unlike with `<<` must not be null.
    void operator+=(const char* s);

    /// Appends the other's text, with its NULs.
    CharString& operator<<(const CharString& other) {
        return append(other.text.data(), other.text.size());
    }
    /// A null `s` appends nothing: lists without a name rely on it.
    CharString& operator<<(const char* s) { return s ? append(s, std::strlen(s)) : *this; }
    /// Appends one byte, also NUL.
    CharString& operator<<(char c) {
        text += c;
        return refreshed();
    }

    // The number forms append what `snprintf` gives. An unsigned value prints as the signed one of
    // the same bits: readers of the family's messages have always seen -1 for 4,294,967,295. There
    // is no form for `double`: the caller narrows to `float`, and so says that digits may go.

    /// "%d": the number of the byte, where the `char` form appends the byte itself.
    CharString& operator<<(unsigned char value) { return appendInt(value); }
    /// "%d".
    CharString& operator<<(short value) { return appendInt(value); }
    /// "%d": 0 to 65,535, since the value widens before it prints.
    CharString& operator<<(unsigned short value) { return appendInt(value); }
    /// "%d".
    CharString& operator<<(int value) { return appendInt(value); }
    /// "%d" of the same bits.
    CharString& operator<<(unsigned int value) { return appendInt(static_cast<int>(value)); }
    /// "%ld": 32 or 64 bits, as wide as the machine has it.
    CharString& operator<<(long value) { return appendLong(value); }
    /// "%ld" of the same bits.
    CharString& operator<<(unsigned long value) { return appendLong(static_cast<long>(value)); }
    /// "%ld" of the low 32 bits, taken as signed, on every machine. No form prints more than 32
    /// bits everywhere: a `long` does so where it is wider.
    CharString& operator<<(long long value) { return appendInt(static_cast<std::int32_t>(value)); }
    /// "%f", six decimals.
    CharString& operator<<(float value);

    // --- Reading --------------------------------------------------------------------------------

    /// The number of bytes, NULs included: one field read.
    int length() const { return static_cast<int>(len); }
    /// The text, terminated; valid until the next change of the object.
    const char* c_str() const { return text.c_str(); }
    /// 1 while no failure bit is set, else 0.
    short good() const { return state == 0; }
    /// The byte at `i`, 0 to 255. `i` must be inside the text, or 0 on an empty text, where the
    /// result is 0; anything else is a fatal assertion.
    unsigned getChar(int i) const;
    /// Replaces the byte at `i`. An `i` outside the text changes nothing and writes a trace line.
    void setChar(int i, char c);
    /// Prints the length on standard output, for a look at a string from a debugger.
    void dump() const;

    // --- Comparison: 1 or 0, by bytes taken as unsigned, a prefix being the lesser --------------

    /// Whether the texts hold the same bytes, NULs included.
    short operator==(const CharString& other) const { return text == other.text; }
    /// 1 where `==` gives 0.
    short operator!=(const CharString& other) const { return text != other.text; }
    /// The order of the bytes, which for ASCII is the order of the alphabet.
    short operator<(const CharString& other) const { return text < other.text; }
    /// `other < *this`.
    short operator>(const CharString& other) const { return text > other.text; }
    /// Not `>`.
    short operator<=(const CharString& other) const { return text <= other.text; }
    /// Not `<`.
    short operator>=(const CharString& other) const { return text >= other.text; }
    /// The six again with a terminated text, which ends at its NUL while this text may hold more.
    /// The text stands on the right: the results are no `bool`, so nothing turns them round.
    short operator==(const char* s) const { return compare(s) == 0; }
    short operator!=(const char* s) const { return compare(s) != 0; }
    short operator<(const char* s) const { return compare(s) < 0; }
    short operator>(const char* s) const { return compare(s) > 0; }
    short operator<=(const char* s) const { return compare(s) <= 0; }
    short operator>=(const char* s) const { return compare(s) >= 0; }

    // --- Searching: the first position not below `from`, counted from 0, or -1 ------------------

    /// The next byte `c`, which may be NUL.
    int find(char c, int from) const;
    /// The next place where `s` begins. An empty `s` begins everywhere, also at the end.
    int find(const char* s, int from) const;
    /// The same for the `c_str` of `s`.
    int find(const CharString& s, int from) const { return find(s.c_str(), from); }
    /// 1 if the text occurs, else 0.
    short contains(const char* s) const { return find(s, 0) != -1; }
    /// The same for the `c_str` of `s`.
    short contains(const CharString& s) const { return find(s, 0) != -1; }

    // --- Cutting: a new string; the object stays, but for `eraseRange` --------------------------

    /// From `pos` to the end: all of it for `pos` <= 0, nothing for `pos` >= length.
    CharString rightFrom(int pos) const;
    /// The first `n` bytes, or all there are. A negative `n` gives all: callers pass a failed
    /// `find`.
    CharString leftTo(int n) const;
    /// The bytes from `from` up to but not including `to`, both brought inside the text. A `to`
    /// below `from` means the end of the text, and a `from` behind the end gives the empty text.
    CharString subRange(int from, int to) const;
    /// From the first `c` on, with it; the whole text without a `c`.
    CharString fromChar(char c) const { return rightFrom(find(c, 0)); }
    /// What follows the first `c`; the whole text without a `c`.
    CharString afterChar(char c) const { return rightFrom(find(c, 0) + 1); }
    /// What stands before the first `c`; the whole text without a `c`.
    CharString beforeChar(char c) const { return leftTo(find(c, 0)); }
    /// Up to the first `c`, with it. Without a `c` the empty text, unlike its three neighbours.
    CharString throughChar(char c) const { return leftTo(find(c, 0) + 1); }
    /// Removes `n` bytes at `pos`, or as many as there are; nothing unless `n` > 0 and `pos` is
    /// inside the text.
    void eraseRange(int pos, int n);

    // --- Extraction: reads off the front and erases what was read -------------------------------
    //
    // Each form takes what `sscanf` takes with the conversion named below, with white space that
    // stands in front (except for a char) and never behind. The white space is that of the "C"
    // locale. A failure sets its bit and leaves target and text alone; a chain goes on behind a
    // failure, so it is tested once, by `good()` at its end.

    /// "%s", a token: the next run of bytes that aren't white space. One that begins with a double
    /// quote runs on to the first word that ends with one: the words are joined by one blank each,
    /// and the quotes go. A word in there that itself begins with a quote is read by the same
    /// rule. Without a closing quote the token is all the words that there are, and kFailText is
    /// set. Once a failure bit is set, a quoted token ends with its second word, and that loses its
    /// last byte as if it were the closing quote.
    /// The array form knows its room; a bare pointer must hold kTokenCapacity bytes. A token that
    /// doesn't fit with its NUL is refused: kFailText, target and text unchanged.
    template <std::size_t N>
    CharString& operator>>(char (&dst)[N]) {
        return readToken(dst, N);
    }
    // A template as well, because a plain `char*` parameter would win over the array form.
    template <typename Pointer>
    requires std::same_as<Pointer, char*> CharString& operator>>(const Pointer& dst) {
        return readToken(dst, kTokenCapacity);
    }
    /// "%c": the next byte, also a blank.
    CharString& operator>>(char& c);
    /// "%d".
    CharString& operator>>(int& value);
    /// "%d": 32 bits, also where a `long` has more.
    CharString& operator>>(long& value);
    /// "%u".
    CharString& operator>>(unsigned int& value);
    /// "%f".
    CharString& operator>>(float& value);
    /// "%d" into a local integer, cut to the target's width. This form and the three below store
    /// nothing once any failure bit is set, though they still take the number off the text.
    CharString& operator>>(short& value);
    /// "%u", a number and not a byte.
    CharString& operator>>(unsigned char& value);
    /// "%u".
    CharString& operator>>(unsigned short& value);
    /// "%u": 32 bits, also where an `unsigned long` has more.
    CharString& operator>>(unsigned long& value);

    // --- Taking apart ---------------------------------------------------------------------------

    /// Takes the text up to `delim` off the front, with the delimiter, or all of it without one.
    /// `buf` of `size` bytes gets the piece, terminated; what is cut there is lost. On an empty
    /// text `buf` becomes empty and kFailText is set.
    CharString& getDelimited(char* buf, int size, char delim);
    /// Takes the bytes between the first `open` and the first `close` into `buf`, as `strncpy` of
    /// `size` does: filled with NULs, and not terminated when the piece has `size` bytes or more.
    /// The object becomes what follows `close`. Unless the first `close` stands behind the first
    /// `open`, `buf` becomes empty, kFailText is set and the object stays.
    CharString& getBetween(char* buf, int size, char open, char close);
    /// The pieces between the delimiters, each up to its first NUL, in a new array of `count`
    /// strings that the caller owns and gives back with `delete[]`; null and 0 for an empty text. A
    /// delimiter in the last place gives an empty last piece. Behind 32,767 pieces, which is what
    /// `count` can tell, the rest of the text is dropped.
    CharString* split(short& count, char delim) const;

    // --- In place -------------------------------------------------------------------------------

    /// ASCII letters only, whatever the locale; bytes above 127 stay.
    void toUpper();
    /// As `toUpper`, the other way.
    void toLower();
    /// Removes every space and tab; other white space stays.
    void removeBlanks();
    /// Replaces at most `max` times `from` by `to`. The search goes on one byte behind the inserted
    /// text, so of two occurrences side by side the second stays. A null argument changes nothing.
    void replaceText(const char* from, const char* to, int max);
    /// Appends `c` until the length is at least `n`.
    CharString& padTo(char c, int n);

    // --- XML writers: nothing is escaped, indented or ended; a null text appends nothing --------

    /// "<tag>value</tag>".
    CharString& xmlLeaf(const char* tag, const char* value);
    /// The same with the value by "%ld".
    CharString& xmlLeaf(const char* tag, long value);
    /// The same; it also tells a plain 0 from a null text, and takes the enums without a width.
    CharString& xmlLeaf(const char* tag, int value) { return xmlLeaf(tag, long{value}); }
    /// The same for every other integer, cast to `long`.
    template <std::integral Number>
    CharString& xmlLeaf(const char* tag, Number value) {
        return xmlLeaf(tag, static_cast<long>(value));
    }
    /// "<tag>".
    CharString& xmlOpen(const char* tag);
    /// "</tag>".
    CharString& xmlClose(const char* tag);

    // --- XML readers: a plain search from `start` for records of known tags ---------------------
    //
    // There is no nesting and no parser: "<tag" also finds the beginning of a longer name, and the
    // first closing tag ends an element. `out` is written on success only and must not be null; no
    // failure bit is touched.

    /// The position just behind the element found, to go on from, or 0. `out` gets the element from
    /// behind the tag's name to its end.
    int xmlElement(const char* tag, CharString* out, int start) const;
    /// 1 or 0. `out` gets what stands between the opening tag and the closing tag.
    short xmlContent(const char* tag, CharString* out, int start) const;
    /// 1 or 0. `out` gets the value of the next `name="value"`, in whatever element it stands; a
    /// longer name that ends in `name` is found too.
    short xmlAttribute(const char* name, CharString* out, int start) const;
    /// The number of elements of this tag; one that never closes ends the count.
    int xmlCount(const char* tag) const;

  protected:
    /// Brings `len` up to date, as whoever writes `text` must do before it returns.
    CharString& refreshed() {
        len = static_cast<std::uint32_t>(text.size());
        return *this;
    }

    std::uint32_t len = 0;    ///< the length of `text`, all that the library reads of it
    std::uint16_t state = 0;  ///< failure bits
    std::string text;         ///< the bytes; a NUL among them is one like any other

  private:
    // The bytes at `s` may be of this very text.
    CharString& append(const char* s, std::size_t n) {
        if (text.size() + n > text.capacity()) [[unlikely]]
            makeLineRoom(s);
        text.append(s, n);
        return refreshed();
    }
    void makeLineRoom(const char* s);
    bool readFile(const char* path, const char* mode);
    int compare(const char* s) const;
    CharString slice(std::size_t pos, std::size_t n) const;
    CharString& appendInt(int value);
    CharString& appendLong(long value);
    CharString& fail(std::uint16_t bit);
    void eraseFront(std::size_t n);
    CharString& readToken(char* dst, std::size_t capacity);
    bool readSigned(int& value);
    bool readUnsigned(unsigned int& value);
    int xmlFindTag(const char* tag, int start) const;
    int xmlElementEnd(const char* tag, int begin) const;
};
