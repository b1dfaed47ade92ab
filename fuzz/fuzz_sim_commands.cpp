// What is typed at zor_sim, in pieces of any size, on a console without a connection. A model tells
// the lines and some of the answers; a second console in a second server, which gets the same lines
// whole, must show the same as the first.
#include <memory>
#include <utility>

#include "fuzz.h"
#include "plain_token.h"
#include "simulator/sim_clients.h"
#include "simulator/sim_commands.h"
#include "util/i_trace.h"

namespace {

constexpr int kMostPieces = 60;        // a console's mailbox takes a few more
constexpr std::int32_t kShown = 2000;  // bytes of a body that are looked at

class ScreenConsole : public SimConsole {
  public:
    explicit ScreenConsole(const SimHouse& house) : SimConsole(house, "192.0.2.7") {}
    std::string look() { return std::exchange(shown_, {}); }

  private:
    void sendFrame(std::int16_t op, std::int32_t length, const Filler& fill) override {
        const std::int32_t count = std::min(length, kShown);
        std::string body(static_cast<std::size_t>(count), '?');
        fill(length - count, body.data(), count);
        shown_ += "<" + std::to_string(op) + " " + std::to_string(length) + ">" + body;
    }
    void hangUp() override {}

    std::string shown_;
};

struct Server {
    Server() { require(SimClients::instance().join(console, 2)); }
    ~Server() { SimClients::instance().leave(*console); }

    SimExchange exchange{3};
    SimEnd end;
    const std::shared_ptr<ScreenConsole> console =
        std::make_shared<ScreenConsole>(SimHouse{exchange, end});
};

/// Whether the answer follows from the lines alone: not from the time, from threads or files, from
/// the other consoles, or from what is typed later.
bool isTold(const std::string& line, const std::string& word) {
    for (const char* const other : {"ask", "bye", "consoles", "files", "filter", "key", "kick",
                                    "locks", "say", "stop", "threads", "trace", "watch"})
        if (word == other || line.find("-" + std::string(other)) != std::string::npos) return false;
    return !word.empty();
}

std::string textFrame(const std::string& text) {
    return "<5 " + std::to_string(text.size() + 1) + ">" + text + '\0';
}

/// Runs the line at both and compares what they show.
void checkAnswer(const std::string& line, Server& pieces, Server& whole) {
    PlainText rest{line};
    const std::string word = takeToken(rest);
    if (!isTold(line, word)) return;
    runCommands(*pieces.console, line);
    runCommands(*whole.console, line);
    const std::string shown = pieces.console->look();
    requireSame(shown, whole.console->look());
    const auto known = [&](const SimCommand& command) { return word == command.name; };
    if (word == "echo" && line.size() < kShown)
        requireSame(shown, textFrame(rest.text.substr(rest.text.starts_with(' ')) + "\n"));
    const bool refused = shown.find(">zor_sim: no command \"" + line.substr(0, 64)) < 10;
    require(refused != std::ranges::any_of(simCommands(), known));
}

/// What an operator means by a line with all its keys.
std::string corrected(const std::string& keys) {
    std::string line;
    for (const char key : keys) {
        if (key != '\b' && key != '\x7F')
            line += key;
        else if (!line.empty())
            line.pop_back();
    }
    return line;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static SimExchange events(2);
    static const bool installed =
        (SimClients::install(events), setTraceSink([](const char*) {}), true);
    Input input(data, std::min<std::size_t>(size, 4'000));
    Server pieces, whole;
    const auto kel = static_cast<std::int16_t>(input.byte() % 6 - 1);
    std::string typed;
    for (int i = 0; installed && i < kMostPieces && !input.empty(); ++i) {
        const std::string piece = terminated(input.take(input.byte()));
        pieces.console->postTyped(kel, piece);
        const bool options = piece.starts_with("0 p -") && piece.find('\n') == std::string::npos;
        typed += piece.empty() || options ? piece + '\n' : piece;
    }
    pieces.console->postTyped(kel, "\n");
    typed += '\n';
    const std::string bytes = typed;
    for (Input keys(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
         !keys.empty();) {
        const std::string expected = corrected(keys.upTo('\n'));
        std::string line, whole_line;
        whole.console->postTyped(kel, expected + "\n");
        require(pieces.console->readLine(line) && whole.console->readLine(whole_line));
        requireSame(line, expected);
        requireSame(whole_line, expected);
        checkAnswer(line, pieces, whole);
    }
    return 0;
}
