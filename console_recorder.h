#pragma once
// The recording: the text that the server sends, kept in a local file that starts over when it has
// grown too large. Received text reaches the screen only through here, so that the file has all
// that a person can see.

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>

#include "util/i_os_mutex.h"

/// The recording file and its name. The operator's thread opens a file at any time; the "Receiver"
/// records. The two change hands under the Mutex "mutex_record", and a text goes whole to one file.
class Recorder {
  public:
    static constexpr std::int32_t kSizeLimit = 50'000'000;  // bytes; a file above it starts over
    static constexpr std::size_t kNameSize = 80;            // bytes of a name, with its terminator

    Recorder();
    ~Recorder();
    Recorder(const Recorder&) = delete;
    Recorder& operator=(const Recorder&) = delete;

    /// Ends the present recording and begins one in the file `name`, which is made or truncated.
    /// Says on standard output how that went: "file %s is opened to record", or "error opening %s
    /// to write\n", also for a name of 80 bytes or more and for a named pipe that nobody reads;
    /// then nothing is recorded. All text that the screen shows behind the first of these is in the
    /// file, and until then it is in the earlier one. Waits for a text that the screen is just
    /// taking. Operator's thread.
    void open(const char* name);

    /// Adds `text` to the recording, if there is one, and then puts `shown` on standard output. A
    /// file that was above its limit starts over first, which leaves the old text behind the new
    /// and is said behind `shown`. A failed write is told once for each file, on standard error,
    /// and recording goes on trying. "Receiver".
    void record(std::string_view text, std::string_view shown);

    /// Whether there is a recording. Any thread.
    bool active() const { return active_; }

    /// Bytes that the recording takes before it is above its limit; negative once it is.
    /// "Receiver".
    std::int32_t room() const { return room_; }

  private:
    struct CloseFile {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };
    using File = std::unique_ptr<std::FILE, CloseFile>;

    static File openNew(const char* name);
    static void empty(std::FILE* file);
    static File unbuffered(std::FILE* file);
    std::string startOver();
    void write(std::string_view text);
    void take(File file);
    void measure();

    Mutex* mutex_ = nullptr;
    // Written under mutex_:
    std::atomic<bool> active_{false};
    std::atomic<std::int32_t> room_{kSizeLimit};
    // Guarded by mutex_:
    File file_;
    std::string name_;
    bool fault_told_ = false;
};
