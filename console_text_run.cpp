#include "console_text_run.h"

#include <cstring>
#include <utility>

bool TextRun::append(std::string_view text, std::FILE* out) {
    if (text.empty()) return true;
    if (!run_.empty() && !isCopied() && run_.data() + run_.size() == text.data()) {
        run_ = {run_.data(), run_.size() + text.size()};
        return true;
    }
    const bool small = text.size() <= kSmall;
    const bool joins = small && isCopied() && run_.size() + text.size() <= kCopySize;
    const bool written = joins || flush(out);
    if (small) {
        const std::size_t used = run_.size();
        std::memcpy(copies_.get() + used, text.data(), text.size());
        run_ = {copies_.get(), used + text.size()};
    } else {
        run_ = text;
    }
    return written;
}

bool TextRun::flush(std::FILE* out) {
    const std::string_view run = std::exchange(run_, {});
    return run.empty() || std::fwrite(run.data(), 1, run.size(), out) == run.size();
}
