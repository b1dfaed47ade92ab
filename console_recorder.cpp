#include "console_recorder.h"

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
    // Without the lock, because opening may wait, for instance for the other end of a pipe.
    File file = std::strlen(name) < kNameSize ? openFile(name, "w") : nullptr;
    std::printf(file ? "file %s is opened to record" : kOpenError, name);
    const MutexHold hold(mutex_, SOURCE_MODULE, __LINE__);
    if (file) name_ = name;
    file_ = std::move(file);
    recording_ = file_ != nullptr;
    fault_told_ = false;
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

/// The texts are gathered here already, so the stream itself keeps nothing back: what a full disk
/// refuses is lost and not written again later, out of its place.
Recorder::File Recorder::openFile(const char* name, const char* mode) {
    File file(std::fopen(name, mode));
    if (file) std::setvbuf(file.get(), nullptr, _IONBF, 0);
    return file;
}

void Recorder::close() {
    recording_ = false;
    if (file_) check(run_.flush(file_.get()));
    file_.reset();
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
    file_ = openFile(name, "r+");
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
