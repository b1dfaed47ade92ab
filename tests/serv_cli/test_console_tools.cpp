#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "serv_cli/i_tools.h"
#include "support/captured_trace.h"
#include "util/i_charstr.h"

namespace {

using testing::ElementsAre;

constexpr char kOn[] = "<on-canonique>\n";
constexpr char kOff[] = "<off-canonique>\n";
constexpr char kClearRemote[] = "<clear-screen>\n";
const std::string kClear = "\033[1;1f\033[2J\n";
const ClientId kLocal(-1, -1);
const ClientId kRemote(3, -1);  // half of the local name is not the local name

/// A remote client behind the hooks: what was sent to it, output by output, and what it will type,
/// piece by piece of `step` bytes.
struct RemoteClient {
    static inline std::vector<std::string> sent;
    static inline std::string input;
    static inline std::size_t step;

    explicit RemoteClient(const std::string& types, std::size_t piece = 1) {
        sent.clear();
        input = types;
        step = piece;
        client_printf_hook = keepPrinted;
        client_write_hook = [](const ClientId*, const CharString* t) {
            sent.push_back(t->c_str());
        };
        client_ready_hook = [](const ClientId*) { return static_cast<short>(7); };
        client_read_hook = [](const ClientId*, char* buffer, int length) {
            const auto count = input.copy(buffer, std::min(step, static_cast<std::size_t>(length)));
            input.erase(0, count);
            return static_cast<int>(count);
        };
        client_alive_hook = [](const ClientId*) {
            return static_cast<short>(input.empty() ? 0 : 256);
        };
    }
    ~RemoteClient() { client_hooks = {}; }

    [[gnu::format(printf, 2, 0)]] static void keepPrinted(const ClientId* client,
                                                          const char* format, va_list values) {
        EXPECT_TRUE(*client == kRemote);
        char text[600];
        std::vsnprintf(text, sizeof text, format, values);
        sent.emplace_back(text);
    }
};

/// Runs `session` in a process of its own at a raw terminal where the operator types `keys`, and
/// gives all that the terminal shows.
std::string atTerminal(const std::string& keys, void (*session)()) {
    termios raw{};
    cfmakeraw(&raw);
    int operator_side = -1;
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
    for (char byte; read(operator_side, &byte, 1) == 1;)
        shown += byte;
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
    client_write(kRemote, &text);
    client_clear(&kRemote, 1);
    client_ask(&kRemote, "?", &answer);
    EXPECT_STREQ(answer, "");
    release_(&answer);
    for (const ClientId* nobody : {&kRemote, static_cast<const ClientId*>(nullptr)}) {
        EXPECT_EQ(client_alive(nobody) + client_input_ready(nobody), 0);
        EXPECT_EQ(client_read(nobody, buffer, 4), 0);
        EXPECT_EQ(client_filter(nobody, showTyped, 1, "t"), 1);
    }
    EXPECT_STREQ(buffer, "kept");
    EXPECT_EQ(client_getc(&kRemote), 0);
    EXPECT_EQ(client_alive(&kLocal), 1);
}

TEST(ConsoleTools, ARemoteClientIsReachedThroughTheHooks) {
    const RemoteClient remote("\xe9");
    const CharString text("row");
    EXPECT_EQ(client_alive(&kRemote), 1);
    EXPECT_EQ(client_input_ready(&kRemote), 7);
    EXPECT_EQ(client_getc(&kRemote), 0xE9);
    EXPECT_EQ(client_getc(&kRemote), 0);  // nothing came
    client_write(kRemote, &text);
    client_clear(&kRemote, 0);
    client_clear(&kRemote, 1);
    EXPECT_THAT(RemoteClient::sent, ElementsAre(kOn, kOff, kOn, kOff, "row", kClearRemote));
}

TEST(ConsoleTools, FiltersKeyByKeyForARemoteClient) {
    {
        const RemoteClient remote("a\r\n");
        EXPECT_EQ(client_filter(&kRemote, showTyped, 1, "Lines "), 1);
        EXPECT_THAT(RemoteClient::sent,
                    ElementsAre(kOn, kOff, kClearRemote, "Lines ###### a \n", "[a]", kOn, kOff,
                                kClearRemote, "Lines ######  \n", "[]", kOn, kOff, kClearRemote,
                                "End Lines ######\n"));
    }
    // No clear and no title. The last key but one finds no room and changes nothing, and the
    // client goes away, so there is no closing line.
    const std::string full(255, 'x');
    const RemoteClient remote(full + "y\b");
    EXPECT_EQ(client_filter(&kRemote, showTyped, 0, nullptr), 1);
    ASSERT_EQ(RemoteClient::sent.size(), 255U * 4 + 2 + 4);
    EXPECT_EQ(RemoteClient::sent[2], "###### x \n");
    EXPECT_EQ(RemoteClient::sent[255 * 4 - 1], "[" + full + "]");
    EXPECT_EQ(RemoteClient::sent.back(), "[" + full.substr(1) + "]");
}

TEST(ConsoleTools, AsksARemoteClientForALine) {
    const std::string full(255, 'x');
    const std::string cases[][2] = {
        {"yes\r\n\n", "yes\r"}, {"a\nb\n", "a\nb"}, {"\n", ""}, {"", ""}, {full + "y", full}};
    for (const auto& [line, expected] : cases) {
        const RemoteClient remote(line, 999);
        char* answer;
        client_ask(&kRemote, "100%% sure? ", &answer);
        EXPECT_EQ(answer, expected);
        EXPECT_THAT(RemoteClient::sent, ElementsAre("100% sure? "));
        release_(&answer);
    }
}

TEST(ConsoleTools, TalksAtTheLocalTerminal) {
    EXPECT_EQ(atTerminal("ab\b\r\n", [] { client_filter(&kLocal, showTyped, 0, "T"); }),
              kClear + "T###### a \n[a]" + kClear + "T###### ab \n[ab]" + kClear +
                  "T###### a \n[a]" + kClear + "T######  \n[]" + kClear + "End T######\n");
    const auto session = [] {
        console_clear();
        client_printf(kLocal, "%d ", client_input_ready(&kLocal));
        client_printf(kLocal, "%d ", client_getc(&kLocal));
        std::fflush(stdout);
        char* answer;
        client_ask(&kLocal, "%% of it: ", &answer);
        client_printf(kLocal, "(%s)", answer);
        release_(&answer);
    };
    EXPECT_EQ(atTerminal("k12\r\n", session), kClear + "1 107 % of it: (12\r)");

    const CharString text("row");
    const CapturedTrace trace;
    client_write(kLocal, &text);
    EXPECT_THAT(trace.lines(), ElementsAre("@row   \n"));
}

TEST(ConsoleTools, BuildsRowsForTheAnalyser) {
    char* row = nullptr;
    row_add(&row, "one");
    row_add(&row, "");
    row_add_bool(&row, 2);
    row_add_bool(&row, static_cast<short>(0x10000));  // the value is 16 bits wide
    EXPECT_STREQ(row, "one\t\tTRUE\tFALSE");
    row_add(&row, std::string(400, 'x').c_str());
    EXPECT_EQ(std::string(row).size(), 255U);  // cut at the row's end, never beyond it
    release_(&row);
}

}  // namespace
