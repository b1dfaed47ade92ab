#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <string>
#include <vector>

#include "serv_cli/i_tools.h"
#include "support/captured_trace.h"
#include "util/i_charstr.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kOn[] = "<on-canonique>\n";
constexpr char kOff[] = "<off-canonique>\n";
constexpr char kClearRemote[] = "<clear-screen>\n";
const std::string kClear = "\033[1;1f\033[2J\n";
const ClientId kLocal(-1, -1);
const ClientId kRemote(3, -1);  // half of the local name is not the local name

/// A remote client behind the hooks: what was sent to it, output by output, and what it will type.
struct RemoteClient {
    static inline std::vector<std::string> sent;
    static inline std::deque<std::string> input;
    static inline int asked_for;

    RemoteClient() {
        sent.clear();
        input.clear();
        client_printf_hook = [](const ClientId* client, const char* format, va_list values) {
            EXPECT_TRUE(*client == kRemote);
            char text[600];
            std::vsnprintf(text, sizeof text, format, values);
            sent.emplace_back(text);
        };
        client_write_hook = [](const ClientId*, const CharString* text) {
            sent.push_back(std::string("written ") + text->c_str());
        };
        client_ready_hook = [](const ClientId*) { return static_cast<short>(7); };
        client_read_hook = [](const ClientId*, char* buffer, int length) {
            asked_for = length;
            if (input.empty()) return -1;
            const std::string next = input.front();
            input.pop_front();
            next.copy(buffer, static_cast<std::size_t>(length));
            return static_cast<int>(next.size());
        };
        client_alive_hook = [](const ClientId*) {
            return static_cast<short>(!input.empty() * 256);
        };
    }
    ~RemoteClient() { client_hooks = {}; }

    static void types(const std::string& keys) {
        for (const char key : keys)
            input.emplace_back(1, key);
    }
};

/// Runs `session` in a process of its own at a raw terminal where the operator types `keys`, and
/// gives all that the terminal shows.
std::string atTerminal(const std::string& keys, void (*session)()) {
    const int operator_side = posix_openpt(O_RDWR | O_NOCTTY);
    EXPECT_EQ(grantpt(operator_side) | unlockpt(operator_side), 0);
    const int terminal = open(ptsname(operator_side), O_RDWR | O_NOCTTY);
    termios raw{};
    tcgetattr(terminal, &raw);
    cfmakeraw(&raw);
    EXPECT_EQ(tcsetattr(terminal, TCSANOW, &raw), 0);
    std::fflush(stdout);
    const pid_t child = fork();
    if (child == 0) {
        alarm(20);
        close(operator_side);
        dup2(terminal, STDIN_FILENO);
        dup2(terminal, STDOUT_FILENO);
        close(terminal);
        std::setvbuf(stdin, nullptr, _IONBF, 0);
        session();
        std::fflush(stdout);
        _exit(0);
    }
    close(terminal);
    EXPECT_EQ(write(operator_side, keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
    std::string shown;
    char chunk[4096];
    ssize_t count = 0;
    pollfd wait{operator_side, POLLIN, 0};
    while (poll(&wait, 1, 20'000) == 1 && (count = read(operator_side, chunk, sizeof chunk)) > 0) {
        shown.append(chunk, static_cast<std::size_t>(count));
    }
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    close(operator_side);
    return shown;
}

int showTyped(const ClientId* client, const char* typed) {
    client_printf(*client, "[%s]", typed);
    return 0;
}

TEST(ConsoleTools, WithoutHooksARemoteClientIsNobody) {
    char buffer[] = "kept";
    char* answer = buffer;
    const CharString text("x");
    EXPECT_EQ(client_alive(&kRemote), 0);
    EXPECT_EQ(client_input_ready(&kRemote), 0);
    EXPECT_EQ(client_read(&kRemote, buffer, 4), 0);
    EXPECT_EQ(client_getc(&kRemote), 0);
    client_write(kRemote, &text);
    client_printf(kRemote, "%d", 1);
    client_clear(&kRemote, 1);
    EXPECT_EQ(client_filter(&kRemote, showTyped, 1, "t"), 1);
    client_ask(&kRemote, "?", &answer);
    EXPECT_STREQ(answer, "");
    release_(&answer);

    EXPECT_EQ(client_alive(&kLocal), 1);
    EXPECT_EQ(client_alive(nullptr), 0);
    EXPECT_EQ(client_input_ready(nullptr), 0);
    EXPECT_EQ(client_read(nullptr, buffer, 4), 0);
    EXPECT_STREQ(buffer, "kept");
    EXPECT_EQ(client_filter(nullptr, showTyped, 1, "t"), 1);
}

TEST(ConsoleTools, TheHooksLieInOneBlockInOrder) {
    const void* const variables[] = {&client_printf_hook, &client_write_hook, &client_ready_hook,
                                     &client_read_hook, &client_alive_hook};
    const auto* place = reinterpret_cast<const std::byte*>(&client_hooks);
    for (const void* variable : variables) {
        EXPECT_EQ(variable, place);
        place += sizeof(void (*)());
    }
}

TEST(ConsoleTools, ARemoteClientIsReachedThroughTheHooks) {
    const RemoteClient remote;
    const CharString text("row");
    RemoteClient::input = {"\xe9", "two keys"};
    EXPECT_EQ(client_alive(&kRemote), 1);
    EXPECT_EQ(client_input_ready(&kRemote), 7);
    EXPECT_EQ(client_getc(&kRemote), 0xE9);
    EXPECT_EQ(client_getc(&kRemote), 't');
    EXPECT_EQ(client_getc(&kRemote), 0);  // nothing came
    EXPECT_EQ(client_alive(&kRemote), 0);
    client_write(kRemote, &text);
    client_printf(kRemote, "%s-%d", "v", 5);
    client_clear(&kRemote, 0);
    client_clear(&kRemote, 1);
    EXPECT_THAT(RemoteClient::sent,
                ElementsAre(kOn, kOff, kOn, kOff, kOn, kOff, "written row", "v-5", kClearRemote));
}

TEST(ConsoleTools, FiltersKeyByKeyForARemoteClient) {
    const RemoteClient remote;
    RemoteClient::types("a\rb\b\n");
    EXPECT_EQ(client_filter(&kRemote, showTyped, 1, "Lines "), 1);
    const std::string a = "Lines ###### a \n", b = "Lines ###### b \n", none = "Lines ######  \n";
    EXPECT_THAT(RemoteClient::sent, ElementsAre(kOn, kOff, kClearRemote, a, "[a]",    //
                                                kOn, kOff, kClearRemote, none, "[]",  //
                                                kOn, kOff, kClearRemote, b, "[b]",    //
                                                kOn, kOff, kClearRemote, none, "[]",  //
                                                kOn, kOff, kClearRemote, "End Lines ######\n"));
    // Without a clear and without a title; the client goes away, so there is no closing line.
    RemoteClient::sent.clear();
    RemoteClient::types("a");
    EXPECT_EQ(client_filter(&kRemote, showTyped, 0, nullptr), 1);
    EXPECT_THAT(RemoteClient::sent, ElementsAre(kOn, kOff, "###### a \n", "[a]"));
}

TEST(ConsoleTools, TheTypedTextHolds255Characters) {
    const RemoteClient remote;
    const std::string full(255, 'x');
    RemoteClient::types(full + "yz\b");
    client_filter(&kRemote, showTyped, 0, "");
    ASSERT_EQ(RemoteClient::sent.size(), 255U * 4 + 2 * 2 + 4);
    EXPECT_EQ(RemoteClient::sent[255 * 4 - 1], "[" + full + "]");
    EXPECT_EQ(RemoteClient::sent.back(), "[" + full.substr(1) + "]");
}

TEST(ConsoleTools, AsksARemoteClientForALine) {
    struct Case {
        std::string line, answer;
    };
    const std::string full(255, 'x');
    for (const Case& c : {Case{"yes\r\n\n", "yes\r"}, Case{"a\nb\n", "a\nb"}, Case{"\n", ""},
                          Case{"", ""}, Case{full, full}}) {
        const RemoteClient remote;
        RemoteClient::input = {c.line};
        char* answer;
        client_ask(&kRemote, "100%% sure? ", &answer);
        EXPECT_EQ(answer, c.answer);
        EXPECT_EQ(RemoteClient::asked_for, 255);
        EXPECT_THAT(RemoteClient::sent, ElementsAre("100% sure? "));
        release_(&answer);
    }
}

TEST(ConsoleTools, FiltersKeyByKeyAtTheLocalTerminal) {
    const auto session = [] { client_filter(&kLocal, showTyped, 0, "T"); };
    EXPECT_EQ(atTerminal("ab\b\b\b", session),
              kClear + "T###### a \n[a]" + kClear + "T###### ab \n[ab]" + kClear +
                  "T###### a \n[a]" + kClear + "T######  \n[]" + kClear + "End T######\n");
    EXPECT_EQ(atTerminal("\b", session), kClear + "End T######\n");
}

TEST(ConsoleTools, TalksAtTheLocalTerminal) {
    const auto session = [] {
        console_clear();
        client_clear(&kLocal, 0);
        client_printf(kLocal, "%d ", client_input_ready(&kLocal));
        client_printf(kLocal, "%d %d ", client_getc(&kLocal), read_key());
        char* answer;
        client_printf(kLocal, "\n");
        client_ask(&kLocal, "%% of it: ", &answer);
        client_printf(kLocal, "(%s)", answer);
        release_(&answer);
    };
    const std::string shown = atTerminal("kk12\r\n", session);
    EXPECT_EQ(shown, kClear + kClear + "1 107 107 \n% of it: (12\r)");

    const CharString text("row");
    const CapturedTrace trace;
    client_write(kLocal, &text);
    EXPECT_THAT(trace.lines(), ElementsAre("@row   \n"));
}

TEST(ConsoleTools, BuildsRowsThatTheAnalyserCuts) {
    char* row = nullptr;
    row_add(&row, "one");
    row_add(&row, "");
    row_add_bool(&row, 2);
    row_add_bool(&row, static_cast<short>(0x10000));  // the value is 16 bits wide
    EXPECT_STREQ(row, "one\t\tTRUE\tFALSE");
    char *a = nullptr, *b = nullptr, *c = nullptr, *d = nullptr;
    Analyse_Text_Velsa_by_new_('\t', 0, row, 4, &a, &b, &c, &d);
    EXPECT_STREQ(d, "FALSE");
    for (char** field : {&a, &b, &c, &d})
        release_(field);
    row_add(&row, std::string(400, 'x').c_str());
    EXPECT_EQ(std::string(row).size(), 255U);  // cut at the row's end, never beyond it
    release_(&row);
}

TEST(ClientIdentity, LooksAtTheTwoKeysOnly) {
    ClientId client(1, 2);
    static_assert(sizeof client == 8);
    EXPECT_EQ(client.third, -1);
    client.third = 9;
    EXPECT_EQ(client == ClientId(1, 2), 1);
    EXPECT_EQ(client == ClientId(1, 3), 0);
    EXPECT_EQ(client == ClientId(2, 2), 0);
    client.clear();
    EXPECT_EQ(client.third, -1);
    EXPECT_EQ(client == kLocal, 1);
}

}  // namespace
