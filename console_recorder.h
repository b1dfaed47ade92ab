#pragma once
// The recording: the text that the server sends, kept in a local file that starts over when it has
// grown too large.

#include <atomic>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>

#include "console_text_run.h"
#include "util/i_os_mutex.h"

/// The recording file and its name. The operator's thread opens a file at any time; the "Receiver"
/// records. The two change hands under the Mutex "mutex_record", and a text goes whole to one file.
class Recorder {
  public:
    static constexpr long kSizeLimit = 50'000'000;  // bytes; a file above it starts over
    static constexpr std::size_t kNameSize = 80;    // bytes of a name, with its terminator

    Recorder();
    ~Recorder();
    Recorder(const Recorder&) = delete;
    Recorder& operator=(const Recorder&) = delete;

    /// Ends the present recording and begins one in the file `name`, which is made or truncated.
    /// Says on standard output how that went: "file %s is opened to record", or "error opening %s
    /// to write\n", also for a name of 80 bytes or more and for a named pipe that nobody reads;
    /// then nothing is recorded. Operator's thread.
    void open(const char* name);

    /// Adds `text` to the recording, if there is one. The text must stay where it is until
    /// `settle`. Gives what is to be shown on the screen behind the text: nothing, or that the file
    /// was full and starts over. Starting over leaves the old text behind the new. A failed write
    /// is told once for each file, on standard error, and recording goes on trying. "Receiver".
    std::string record(std::string_view text);

    /// Writes what was recorded so far: nothing is held back any more. "Receiver".
    void settle();

  private:
    struct CloseFile {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };
    using File = std::unique_ptr<std::FILE, CloseFile>;

    static File openNew(const char* name);
    static File unbuffered(std::FILE* file);
    void close();
    std::string startOver();
    void check(bool written);

    Mutex* mutex_ = nullptr;
    // False only while no text is in use here; spares idle texts the lock.
    std::atomic<bool> recording_{false};
    // Guarded by mutex_:
    File file_;
    std::string name_;
    TextRun run_{TextRun::OnDeadEnd::kFail};
    bool fault_told_ = false;
};
