#include <gmock/gmock.h>
#include <pty.h>
#include <sys/wait.h>

#include "serv_cli/i_tools.h"
#include "support/captured_trace.h"
#include "util/i_charstr.h"
#include "util/i_os.h"

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

/// What the operator sees last, and then types.
using Turn = std::pair<std::string, std::string>;

/// What a raw terminal shows to an operator who takes these turns with a process that runs
/// `session`. A process that shows too little is ended after 20 s.
static std::string atTerminal(const std::vector<Turn>& turns, void (*session)()) {
    termios raw{};
    cfmakeraw(&raw);
    int operator_side = -1;
    int status = -1;
    const pid_t child = forkpty(&operator_side, nullptr, &raw, nullptr);
    if (child == 0) {
        alarm(20);
        std::setvbuf(stdin, nullptr, _IONBF, 0);
        std::setvbuf(stdout, nullptr, _IOFBF, BUFSIZ);
        session();
        std::exit(0);
    }
    std::string shown;
    char byte;
    for (const auto& [seen, keys] : turns) {
        while (!shown.ends_with(seen) && read(operator_side, &byte, 1) == 1) shown += byte;
        EXPECT_EQ(write(operator_side, keys.data(), keys.size()), std::ssize(keys));
    }
    while (read(operator_side, &byte, 1) == 1) shown += byte;
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
    const std::string full(255, 'x');
    const std::string cases[][2] = {{"a\nb\r\n\n", "a\nb\r"}, {"\n", ""}, {full + "y", full}};
    for (const auto& [line, expected] : cases) {
        char* answer;
        connectRemote(line);
        client_ask(&kRemote, "100%% sure? ", &answer);
        EXPECT_EQ(sent, "100% sure? |");
        EXPECT_EQ(std::unique_ptr<char[]>(answer).get(), expected);
    }
}

TEST(ConsoleTools, ShowsWhatWasPrintedBeforeItWaitsForTheOperator) {
    const auto session = [] {
        PutThreadInTbThread("asks", threadId(), threadId());
        client_clear(&kLocal, 0);
        console_clear();
        client_printf(kLocal, "ready? ");
        while (!client_input_ready(&kLocal)) {}
        client_printf(kLocal, "key %d? ", client_getc(&kLocal));
        client_printf(kLocal, "key %d, ", read_key());
        char* answer;
        client_ask(&kLocal, "%% of it: ", &answer);
        client_printf(kLocal, "(%s)", answer);
        delete[] answer;
    };
    const std::vector<Turn> turns = {{"ready? ", "k"}, {"key 107? ", "l"}, {"% of it: ", "12\r\n"}};
    EXPECT_EQ(atTerminal(turns, session),
              kClear + kClear + "ready? key 107? key 108, % of it: (12\r)");
}

TEST(ConsoleTools, WithoutAClientOrItsHooksNothingHappens) {
    client_hooks = {};
    for (const ClientId* const client : {&kRemote, static_cast<const ClientId*>(nullptr)}) {
        EXPECT_EQ(client_alive(client), 0);
        EXPECT_EQ(client_input_ready(client), 0);
        EXPECT_EQ(client_read(client, nullptr, 4), 0);
    }
    EXPECT_EQ(client_getc(&kRemote), 0);
    EXPECT_EQ(client_alive(&kLocal), 1);
}

TEST(ConsoleTools, HandsOnWhatTheHooksSay) {
    connectRemote("");
    client_ready_hook = [](auto*) { return short{7}; };
    client_write_hook = [](const ClientId* client, const CharString* text) {
        sent += std::to_string(client->major) + text->c_str();
    };
    const CharString text("text");
    client_write(kRemote, &text);
    EXPECT_EQ(sent, "3text");
    EXPECT_EQ(client_input_ready(&kRemote), 7);
    typed = "\xE9";
    EXPECT_EQ(client_getc(&kRemote), 0xE9);
    const CapturedTrace trace;
    client_write(kLocal, &text);
    EXPECT_EQ(trace.all(), "@text   \n");
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
