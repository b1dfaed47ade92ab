#include "console_text_run.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <ctime>
#include <utility>

namespace {

bool writeAll(std::string_view text, std::FILE* out) {
    return std::fwrite(text.data(), 1, text.size(), out) == text.size();
}

// A signal that a write raises stays with its thread. It is held back, and taken off before it is
// let through again; the process has no handler and its other threads notice nothing.
bool writeAllOrFail(std::string_view text, std::FILE* out) {
    sigset_t dead_end, before;
    sigemptyset(&dead_end);
    sigaddset(&dead_end, SIGPIPE);
    sigaddset(&dead_end, SIGXFSZ);
    pthread_sigmask(SIG_BLOCK, &dead_end, &before);
    const bool written = writeAll(text, out);
    const int error = errno;
    const timespec no_wait{};
    if (!written) sigtimedwait(&dead_end, nullptr, &no_wait);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    errno = error;
    return written;
}

}  // namespace

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
    if (run.empty()) return true;
    return on_dead_end_ == OnDeadEnd::kFail ? writeAllOrFail(run, out) : writeAll(run, out);
}
