// The operator's input, from the arguments of a command line to the local commands, beside a model
// of the frames that go out and of what the screen shows. The first line of the input chooses lines
// or keys, the second is the command line, the others are typed.
#include <fcntl.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

#include <set>
#include <utility>
#include <vector>

#include "console.h"
#include "console_input.h"
#include "fuzz.h"
#include "plain_frames.h"
#include "plain_token.h"

/// Stands before the C library's pause, which the input loop makes when nothing is typed: at the
/// end of the input it ends the session, as a lost connection would.
extern "C" int nanosleep(const timespec*, timespec*) {
    char next;
    if (::recv(STDIN_FILENO, &next, 1, MSG_PEEK | MSG_DONTWAIT) <= 0) cnx_ok = 0;
    return 0;
}

namespace {

constexpr std::size_t kMostTyped = 64;      // pieces; more don't fit in a socket
constexpr std::size_t kLongestLine = 1023;  // what a console takes at once

struct Told {
    PlainFrames sent;
    std::string shown;
    std::set<std::string> files;

    void client(std::int16_t op, std::int16_t kel) {
        sent.begin(MsgType::kText, op, kel, 0);
        shown += "write set_client: nbe= 132\n";
    }
};

void record(Told& told, const std::string& command) {
    PlainText words{command};
    std::string name = takeToken(words);
    const std::size_t left = words.text.size();
    const std::string second = takeToken(words);
    if (words.text.size() < left) name = second;
    const bool opens =
        name.size() < Recorder::kNameSize && !name.empty() && name != "." && name != "..";
    told.shown +=
        opens ? "file " + name + " is opened to record" : "error opening " + name + " to write\n";
    if (opens) told.files.insert(name);
}

void take(Told& told, std::int16_t& kel, const std::string& input) {
    const std::string text = terminated(input);
    if (const std::size_t at = text.find("KEL"); at <= 2) {
        told.client(MsgOp::kLeave, kel);
        kel = static_cast<std::int16_t>(std::atoll(text.c_str() + at + 3));
        told.shown += "\nkel_id = " + std::to_string(kel) + "\n";
        return told.client(MsgOp::kJoin, kel);
    }
    if (const std::size_t at = text.find(">>"); at <= 2) return record(told, text.substr(at));
    told.sent.begin(MsgType::kText, MsgOp::kText, kel, static_cast<std::int32_t>(text.size()) + 1);
    told.sent.add(text + '\0');
}

Told expected(const std::string& arguments, const std::vector<std::string>& typed, bool keys) {
    Told told;
    std::int16_t kel = -1;
    told.client(MsgOp::kJoin, -1);
    told.shown += "\nPress return";
    const std::size_t dash = arguments.find('-');
    if (dash != std::string::npos) take(told, kel, ("0 p " + arguments.substr(dash)).substr(0, 80));
    for (const std::string& piece : typed)
        take(told, kel, keys ? piece.substr(0, 1) : piece);
    // The end of the input is a key too, unless the session ends in the pause of the first pass.
    const bool first_pass_pauses = dash == std::string::npos;
    if (keys && !(first_pass_pauses && typed.empty())) take(told, kel, "\xff");
    return told;
}

std::vector<std::string> typedPieces(Input& input) {
    std::vector<std::string> pieces;
    while (!input.empty() && pieces.size() < kMostTyped) {
        std::string line = input.upTo('\n') + '\n';
        std::ranges::replace(line, '/', '_');  // no file of this machine is meant
        for (; line.size() > kLongestLine; line.erase(0, kLongestLine))
            pieces.push_back(line.substr(0, kLongestLine));
        pieces.push_back(line);
    }
    return pieces;
}

/// Each piece is a read of its own, as from a terminal.
void type(const std::vector<std::string>& pieces) {
    int ends[2];
    require(::socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends) == 0);
    require(::dup2(ends[0], STDIN_FILENO) == STDIN_FILENO);
    for (const std::string& piece : pieces)
        require(::send(ends[1], piece.data(), piece.size(), 0) > 0);
    ::close(ends[0]);
    ::close(ends[1]);
}

std::string received(int fd) {
    std::string bytes;
    char piece[65536];
    for (ssize_t count; (count = ::recv(fd, piece, sizeof piece, MSG_DONTWAIT)) > 0;)
        bytes.append(piece, static_cast<std::size_t>(count));
    return bytes;
}

Told runInput(const std::string& arguments, bool keys) {
    int ends[2];
    require(::socketpair(AF_UNIX, SOCK_STREAM, 0, ends) == 0);
    ExwConnection connection;
    connection.fd = ends[0];
    cnx = &connection;
    cnx_ok = 1;
    canonique = keys;
    kel_id = kFirstConnected;
    args_line = arguments.c_str();
    char* shown = nullptr;
    std::size_t size = 0;
    std::FILE* const screen = std::exchange(stdout, ::open_memstream(&shown, &size));
    inputLoop();
    std::fclose(std::exchange(stdout, screen));
    Told told{plainReading(received(ends[1])), std::string(shown, size), {}};
    std::free(shown);
    ::close(ends[1]);
    return told;
}

/// A folder for the recordings of a run, which is the working directory meanwhile.
class ScratchFolder {
  public:
    ScratchFolder() {
        require(::mkdtemp(path_) != nullptr);
        std::setvbuf(stdin, nullptr, _IONBF, 0);
        console_pauses.input_wait = 0;
    }
    ~ScratchFolder() { ::rmdir(path_); }
    void enter() const { require(::chdir(path_) == 0); }
    void leave() const { require(::fchdir(home_) == 0); }

  private:
    char path_[32] = "/tmp/fuzz_console_XXXXXX";
    const int home_ = ::open(".", O_RDONLY | O_DIRECTORY);
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const ScratchFolder folder;
    Input input(data, size);
    const bool keys = input.upTo('\n') == "keys";
    const std::string arguments = terminated(input.upTo('\n'));
    const std::vector<std::string> typed = typedPieces(input);
    type(typed);
    folder.enter();
    const Told found = runInput(arguments, keys);
    const Told wanted = expected(arguments, typed, keys);
    for (const std::string& file : wanted.files)
        require(::unlink(file.c_str()) == 0);
    folder.leave();
    requireSame(found.shown, wanted.shown);
    requireSame(found.sent.told(), wanted.sent.told());
    return 0;
}
