#include "util/i_os_file.h"

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>

#include "util/i_os_file_stream.h"
#include "util/i_os_thread.h"
#include "util/i_trace.h"
#include "util/l_univ_list.h"

namespace {

constexpr mode_t kDirectoryMode = 0777;  // before the process's umask
constexpr int kReadTries = 5;
constexpr std::int32_t kReadPause = 100;  // ms behind each try that left no open file
constexpr std::int64_t kLeastText = 2;    // bytes; a shorter file reads as the empty text

int makeDirectory(const char* path) {
    errno = 0;
    const int result = mkdir(path, kDirectoryMode);
    traceValues("mkdir", result, path, errno);
    return result;
}

struct DirectoryCloser {
    void operator()(DIR* directory) const { closedir(directory); }
};

void listEntry(const char* directory, const char* entry, const char* prefix, l_univ& list) {
    CharString path(directory);
    path << "/" << entry;
    struct stat status;
    if (stat(path.c_str(), &status) != 0) {
        traceValues("get_list_files: error in stat", errno, entry, -1);
    } else if (S_ISREG(status.st_mode) && std::strncmp(entry, prefix, std::strlen(prefix)) == 0) {
        auto* const file = new ElDescFile(entry, status);
        list.put_end(file);
        if (file->nb_ref == 0) delete file;  // a list of another tag leaves it here
    }
}

void reportNoStream(const CharString& name, const char* mode, int error) {
    CharString detail(100, 80);
    detail << "OpenError " << name << " " << mode << " ";
    if (error == EMFILE) {
        detail << "too many open files";
    } else {
        detail << "errno " << error;
    }
    traceTexts("OpenOrCreateFile: error open", detail.c_str());
}

// The stream of the first try that finds something, or of the last one; `size` becomes its size,
// below 0 if it has none.
FileStream openForReading(const char* name, bool quick, std::int64_t* size) {
    for (int i = 1; i <= kReadTries; ++i) {
        FileStream stream = openFile(name, "rb");
        *size = stream ? seekToEnd(stream.get()) : 0;
        if (stream && (*size != 0 || i == kReadTries)) return stream;
        if (stream && quick) i = kReadTries - 1;  // the next try is the last
        stream.reset();
        threadSleep(kReadPause);
    }
    return nullptr;
}

}  // namespace

int FileAccess(const char* name) {
    return access(name, F_OK);
}

short FileExists(const char* name) {
    return FileAccess(name) == 0;
}

int create_dir(const char* path) {
    if (FileExists(path)) return 0;
    traceTexts("create_dir", path);
    short count = 0;
    const std::unique_ptr<CharString[]> pieces(CharString(path).split(count, '/'));
    CharString made;
    int result = -1;
    for (int i = 0; i < count; ++i) {
        if (i > 0 || path[0] == '/') made << "/";
        made << pieces[static_cast<std::size_t>(i)];
        if (!FileExists(made.c_str())) result = makeDirectory(made.c_str());
    }
    return result;
}

void get_list_files(const char* directory, const char* prefix, l_univ& list) {
    const std::unique_ptr<DIR, DirectoryCloser> entries(opendir(directory));
    if (!entries) {
        traceValues("get_list_files: ERROR: Could not open directory", errno, directory, -1);
        return;
    }
    while (const dirent* entry = readdir(entries.get())) {
        listEntry(directory, entry->d_name, prefix, list);
    }
}

void RemoveOneFile(const char* name) {
    if (unlink(name) != 0) traceValues("RemoveOneFile: errno, file", errno, name, 0);
}

std::FILE* OpenOrCreateFile(const CharString& name, const char* mode) {
    std::FILE* stream = std::fopen(name.c_str(), mode);
    if (!stream) stream = std::fopen(name.c_str(), std::strchr(mode, 'b') ? "w+b" : "w+");
    if (stream) {
        seekToEnd(stream);
    } else {
        reportNoStream(name, mode, errno);
    }
    return stream;
}

char* ReadWholeFile(const char* name, short quick) {
    std::int64_t size = 0;
    const FileStream stream = openForReading(name, quick != 0, &size);
    if (!stream || size < 0) return nullptr;
    if (size < kLeastText) return new char[1]();
    return readFromStart(stream.get(), &size).release();
}
