#pragma once
// Text that is on its way to an unbuffered stream: put off as long as nobody can notice, so that
// many pieces leave in one write.

#include <cstdio>
#include <memory>
#include <string_view>

/// Gathers pieces of text for one stream, in order. A large piece is not copied: it has to stay
/// where it is until the next flush. One that lies directly behind its forerunner in memory, or a
/// small one, costs no write of its own. For one thread at a time.
class TextRun {
  public:
    /// Pieces up to this size, in bytes, may be copied together: copying is cheaper than a write.
    static constexpr std::size_t kSmall = 4096;

    /// What a write to a pipe without a reader, or beyond the size that files may have, does: end
    /// the process by the system's signal, or only fail.
    enum class OnDeadEnd { kSignal, kFail };

    explicit TextRun(OnDeadEnd on_dead_end = OnDeadEnd::kSignal) : on_dead_end_(on_dead_end) {}

    /// Adds `text`, and writes what it can't be gathered with. False if a write fell short.
    bool append(std::string_view text, std::FILE* out);

    /// Writes everything gathered to `out`. False if the write fell short, with the reason in
    /// `errno`; what wasn't written is dropped.
    bool flush(std::FILE* out);

    /// Bytes gathered and not written.
    std::size_t size() const { return run_.size(); }

  private:
    static constexpr std::size_t kCopySize = std::size_t{64} * 1024;

    bool isCopied() const { return run_.data() == copies_.get(); }

    const OnDeadEnd on_dead_end_;
    std::string_view run_;
    std::unique_ptr<char[]> copies_ = std::make_unique<char[]>(kCopySize);
};
