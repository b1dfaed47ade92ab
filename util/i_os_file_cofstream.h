#pragma once
// Cofstream: a text that is saved to a file piece by piece.

#include <cstdio>

#include "util/i_charstr.h"

/// A CharString that holds what isn't written yet. It belongs to one thread at a time. The first
/// `save` makes the file or truncates it; later ones write at its end, also behind a `close`.
class Cofstream : public CharString {
  public:
    /// Nothing is opened yet. The name is copied.
    explicit Cofstream(const CharString& name);
    Cofstream(const Cofstream&) = delete;
    Cofstream& operator=(const Cofstream&) = delete;
    using CharString::operator=;  // what isn't written yet may be replaced like any text
    /// Saves what is left and closes, so that a file never saved to exists afterwards, empty.
    ~Cofstream();

    /// Writes the text at the end of the file, in one piece, and empties it. Gives 1, or 0 if the
    /// file can't be opened (traced; the text stays for a later `save`) or the text didn't go out
    /// whole (it is gone all the same). An empty text opens the file and gives 1.
    short save();

    /// Saves, closes the file, and gives the result of the `save`.
    short close();

  private:
    void open();
    short writeText();

    CharString file_name_;
    std::FILE* stream_ = nullptr;
    short saved_ = 0;  // 1 from the first `save` on, whatever came of it
};
