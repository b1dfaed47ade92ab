#include <gmock/gmock.h>
#include <pty.h>
#include <sys/wait.h>

#include "serv_cli/i_tools.h"

#pragma GCC diagnostic ignored "-Wformat-nonliteral"

const std::string kKey = "<on-canonique>\n|<off-canonique>\n|", kRemoteClear = "<clear-screen>\n|";
const std::string kClear = "\033[1;1f\033[2J\n";
const ClientId kLocal(-1, -1);
const ClientId kRemote(3, -1);  // half of the local name is not the local name

static std::string sent;   // to the remote client, each output with a bar behind it
static std::string typed;  // what it will send; then it goes away

/// Connects a remote client that types `keys`.
static void connectRemote(const std::string& keys) {
    sent.clear();
    typed = keys;
    client_printf_hook = [](const ClientId* client, const char* format, va_list values) {
        char text[600];
        std::vsnprintf(text, sizeof text, format, values);
        sent.append(text).append(*client == kRemote ? "|" : "to a stranger");
    };
    client_read_hook = [](auto*, char* buffer, int length) {
        const auto count = typed.copy(buffer, static_cast<std::size_t>(length));
        typed.erase(0, count);
        return static_cast<int>(count);
    };
    client_alive_hook = [](auto*) { return static_cast<short>(typed.empty() ? 0 : 256); };
}

/// What a raw terminal shows where the operator types `keys` into a process that runs `session`.
static std::string atTerminal(const std::string& keys, void (*session)()) {
    termios raw{};
    cfmakeraw(&raw);
    int operator_side = -1, status = -1;
    const pid_t child = forkpty(&operator_side, nullptr, &raw, nullptr);
    if (child == 0) {
        alarm(20);
        std::setvbuf(stdin, nullptr, _IONBF, 0);
        session();
        std::fflush(stdout);
        _exit(0);
    }
    EXPECT_EQ(write(operator_side, keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
    std::string shown;
    for (char byte; read(operator_side, &byte, 1) == 1;) shown += byte;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    close(operator_side);
    return shown;
}

static int showTyped(const ClientId* client, const char* text) {
    client_printf(*client, "[%s]", text);
    return 0;
}

TEST(ConsoleTools, FiltersKeyByKeyForARemoteClient) {
    connectRemote("a\r\n");
    EXPECT_EQ(client_filter(&kRemote, showTyped, 1, "Lines "), 1);
    const std::string step = kKey + kRemoteClear;
    EXPECT_EQ(sent, step + "Lines ###### a \n|[a]|" + step + "Lines ######  \n|[]|" + step +
                        "End Lines ######\n|");
    // The last key but one finds no room and changes nothing; the client goes away without a word.
    const std::string full(255, 'x'), shorter(254, 'x');
    connectRemote(full + "y\b");
    EXPECT_EQ(client_filter(&kRemote, showTyped, 0, nullptr), 1);
    EXPECT_THAT(sent, testing::StartsWith(kKey + "###### x \n|[x]|" + kKey + "###### xx \n"));
    EXPECT_THAT(sent, testing::EndsWith(" \n|[" + full + "]|" + kKey + kKey + "###### " + shorter +
                                        " \n|[" + shorter + "]|"));
}

TEST(ConsoleTools, AsksARemoteClientForALine) {
    const auto asked = [](const std::string& line) {
        char* answer;
        connectRemote(line);
        client_ask(&kRemote, "100%% sure? ", &answer);
        return sent + std::unique_ptr<char[]>(answer).get();
    };
    const std::string full(255, 'x'), prompt = "100% sure? |";
    EXPECT_EQ(asked("y\r\n\n"), "100% sure? |y\r");
    EXPECT_EQ(asked("a\nb\n"), "100% sure? |a\nb");
    EXPECT_EQ(asked("\n") + asked("") + asked(full + "y"), prompt + prompt + prompt + full);
}

TEST(ConsoleTools, TalksAtTheLocalTerminal) {
    const auto session = [] {
        client_filter(&kLocal, showTyped, 0, "T");
        console_clear();
        client_printf(kLocal, "%d ", client_input_ready(&kLocal));
        client_printf(kLocal, "%d ", client_getc(&kLocal));
        std::fflush(stdout);
        char* answer;
        client_ask(&kLocal, "%% of it: ", &answer);
        client_printf(kLocal, "(%s)", answer);
    };
    EXPECT_EQ(atTerminal("ab\b\r\nk12\r\n", session),
              kClear + "T###### a \n[a]" + kClear + "T###### ab \n[ab]" + kClear +
                  "T###### a \n[a]" + kClear + "T######  \n[]" + kClear + "End T######\n" + kClear +
                  "1 107 % of it: (12\r)");
}

TEST(ConsoleTools, BuildsRowsForTheAnalyser) {
    char* row = nullptr;
    row_add(&row, "one");
    row_add(&row, "");
    for (const short value : {2, 0}) row_add_bool(&row, value);
    EXPECT_STREQ(row, "one\t\tTRUE\tFALSE");
    row_add(&row, std::string(400, 'x').c_str());
    EXPECT_EQ(std::string(row).size(), 255U);  // cut at the row's end, never beyond it
    release_(&row);
}
