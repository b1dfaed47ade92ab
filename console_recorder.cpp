#include "console_recorder.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

namespace {

constexpr char SOURCE_MODULE[] = "console";
constexpr char kOpenError[] = "error opening %s to write\n";

}  // namespace

Recorder::Recorder() {
    mutexInit(&mutex_, "mutex_record");
}

Recorder::~Recorder() {
    close();
    mutexDestroy(mutex_);
}

void Recorder::open(const char* name) {
    {
        const MutexHold hold(mutex_, SOURCE_MODULE, __LINE__);
        close();
    }
    // Without the lock, because opening may take its time on a remote disk.
    File file = std::strlen(name) < kNameSize ? openNew(name) : nullptr;
    const bool opened = file != nullptr;
    {
        const MutexHold hold(mutex_, SOURCE_MODULE, __LINE__);
        if (opened) name_ = name;
        file_ = std::move(file);
        recording_ = opened;
        fault_told_ = false;
    }
    // Whoever reads this finds everything from here on in the recording.
    std::printf(opened ? "file %s is opened to record" : kOpenError, name);
}

std::string Recorder::record(std::string_view text) {
    std::string notice;
    if (!recording_) return notice;
    const MutexHold hold(mutex_, SOURCE_MODULE, __LINE__);
    if (!file_) return notice;
    // A file that has no position, like a pipe, never counts as full.
    if (std::ftell(file_.get()) + static_cast<long>(run_.size()) > kSizeLimit) notice = startOver();
    if (file_) check(run_.append(text, file_.get()));
    return notice;
}

void Recorder::settle() {
    if (!recording_) return;
    const MutexHold hold(mutex_, SOURCE_MODULE, __LINE__);
    if (file_) check(run_.flush(file_.get()));
}

/// Makes or truncates the file `name`. A named pipe whose other end nobody reads is refused at
/// once; one that is read takes texts at its reader's pace, like any file.
Recorder::File Recorder::openNew(const char* name) {
    constexpr mode_t kForAll = 0666;  // less what the umask takes away
    const int fd = ::open(name, O_WRONLY | O_CREAT | O_TRUNC | O_NONBLOCK | O_CLOEXEC, kForAll);
    if (fd < 0) return nullptr;
    ::fcntl(fd, F_SETFL, 0);
    File file = unbuffered(::fdopen(fd, "w"));
    if (!file) ::close(fd);
    return file;
}

/// The texts are gathered here already, so the stream itself keeps nothing back: what a full disk
/// refuses is lost and not written again later, out of its place.
Recorder::File Recorder::unbuffered(std::FILE* file) {
    if (file) std::setvbuf(file, nullptr, _IONBF, 0);
    return File(file);
}

// `recording_` goes last: until then a text of the "Receiver" is in use here, and its `settle` has
// to wait for the lock.
void Recorder::close() {
    if (file_) check(run_.flush(file_.get()));
    file_.reset();
    recording_ = false;
}

/// Goes back to the beginning of the file without truncating it: the old text stays behind the new.
std::string Recorder::startOver() {
    const char* const name = name_.c_str();
    char notice[2 * kNameSize];
    std::snprintf(notice, sizeof notice, "\n\n......  FILE %s IS FULL ...... REWINDING !!!\n",
                  name);
    check(run_.append(notice, file_.get()));
    check(run_.flush(file_.get()));
    file_.reset();
    file_ = unbuffered(std::fopen(name, "r+"));
    recording_ = file_ != nullptr;
    if (file_) return notice;
    char error[2 * kNameSize];
    std::snprintf(error, sizeof error, kOpenError, name);
    return std::string(notice) + error;
}

void Recorder::check(bool written) {
    const int error = errno;
    if (written || fault_told_) return;
    fault_told_ = true;
    std::fprintf(stderr, "error writing to %s: %s\n", name_.c_str(), std::strerror(error));
}
