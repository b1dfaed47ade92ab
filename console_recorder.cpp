#include "console_recorder.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <ctime>
#include <utility>

namespace {

constexpr char SOURCE_MODULE[] = "console";
constexpr char kOpenError[] = "error opening %s to write\n";

void show(std::string_view text) {
    if (!text.empty()) std::fwrite(text.data(), 1, text.size(), stdout);
}

/// Writes `text`. Gives 0, or the reason why that failed. To a pipe without a reader, or beyond the
/// size that files may have, a write only fails: the signal that it raises stays with its thread,
/// is held back, and is taken off before it is let through again. The process has no handler, and
/// its other threads notice nothing.
int writeOrFail(std::string_view text, std::FILE* file) {
    sigset_t dead_end;
    sigset_t before;
    sigemptyset(&dead_end);
    sigaddset(&dead_end, SIGPIPE);
    sigaddset(&dead_end, SIGXFSZ);
    pthread_sigmask(SIG_BLOCK, &dead_end, &before);
    const bool written = std::fwrite(text.data(), 1, text.size(), file) == text.size();
    const int error = written ? 0 : errno;
    const timespec no_wait{};
    if (!written) sigtimedwait(&dead_end, nullptr, &no_wait);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return error;
}

}  // namespace

Recorder::Recorder() {
    mutexInit(&mutex_, "mutex_record");
}

Recorder::~Recorder() {
    mutexDestroy(mutex_);
}

// Opening may take its time on a remote disk, so it is done without the lock, and the earlier file
// goes on until then: no text falls between the two. They may be one and the same, so the new one
// is emptied only when it takes over.
void Recorder::open(const char* name) {
    File file = std::strlen(name) < kNameSize ? openNew(name) : nullptr;
    const bool opened = file != nullptr;
    {
        const MutexHold hold(mutex_, SOURCE_MODULE, __LINE__);
        if (opened) {
            name_ = name;
            empty(file.get());
        }
        fault_told_ = false;
        take(std::move(file));
    }
    std::printf(opened ? "file %s is opened to record" : kOpenError, name);
}

// The screen is written under the lock too: otherwise the answer of `open` could come in between,
// and text behind it would be missing in the new file.
void Recorder::record(std::string_view text, std::string_view shown) {
    const MutexHold hold(mutex_, SOURCE_MODULE, __LINE__);
    std::string notice;
    if (room_ < 0) notice = startOver();
    write(text);
    show(shown);
    show(notice);
}

/// Makes or opens the file `name`. A named pipe whose other end nobody reads is refused at
/// once; one that is read takes texts at its reader's pace, like any file.
Recorder::File Recorder::openNew(const char* name) {
    constexpr mode_t kForAll = 0666;  // less what the umask takes away
    const int fd = ::open(name, O_WRONLY | O_CREAT | O_NONBLOCK | O_CLOEXEC, kForAll);
    if (fd < 0) return nullptr;
    ::fcntl(fd, F_SETFL, 0);
    File file = unbuffered(::fdopen(fd, "w"));
    if (!file) ::close(fd);
    return file;
}

/// A pipe or a device has nothing to empty, and refuses.
void Recorder::empty(std::FILE* file) {
    [[maybe_unused]] const int refused = ::ftruncate(::fileno(file), 0);
}

/// What a full disk refuses is lost, and not written again later, out of its place.
Recorder::File Recorder::unbuffered(std::FILE* file) {
    if (file) std::setvbuf(file, nullptr, _IONBF, 0);
    return File(file);
}

/// Goes back to the beginning of the file without truncating it: the old text stays behind the new.
/// Gives what is to be said of that.
std::string Recorder::startOver() {
    const char* const name = name_.c_str();
    char notice[2 * kNameSize];
    std::snprintf(notice, sizeof notice, "\n\n......  FILE %s IS FULL ...... REWINDING !!!\n",
                  name);
    write(notice);
    take(nullptr);
    take(unbuffered(std::fopen(name, "r+")));
    if (file_) return notice;
    char error[2 * kNameSize];
    std::snprintf(error, sizeof error, kOpenError, name);
    return std::string(notice) + error;
}

void Recorder::write(std::string_view text) {
    if (!file_ || text.empty()) return;
    const int error = writeOrFail(text, file_.get());
    measure();
    if (error == 0 || fault_told_) return;
    fault_told_ = true;
    std::fprintf(stderr, "error writing to %s: %s\n", name_.c_str(), std::strerror(error));
}

/// Closes the present file, if any, and goes on with `file`.
void Recorder::take(File file) {
    file_ = std::move(file);
    active_ = file_ != nullptr;
    measure();
}

/// A file that has no position, like a pipe, never counts as full.
void Recorder::measure() {
    const off_t position = file_ ? ::ftello(file_.get()) : 0;
    room_ = static_cast<std::int32_t>(std::clamp<off_t>(kSizeLimit - position, -1, kSizeLimit));
}
