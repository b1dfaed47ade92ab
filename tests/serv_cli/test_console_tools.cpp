#include <gmock/gmock.h>
#include <sys/select.h>

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

static char* shown;  // what has left the buffer of standard output
static std::size_t shown_size;
static std::string seen_at_waits;  // the same, with a bar at each wait for the operator
static long seconds_to_wait;

static void noteWait() {
    static std::size_t noted = 0;
    seen_at_waits.append(shown + noted, shown_size - noted).append("|");
    noted = shown_size;
}

// What the operator types. These stand before the C library's functions of their names.
extern "C" int select(int, fd_set*, fd_set*, fd_set*, timeval* limit) {
    noteWait();
    seconds_to_wait = limit->tv_sec;
    return 1;
}
extern "C" ssize_t read(int, void* buffer, std::size_t size) {
    noteWait();
    return static_cast<ssize_t>(std::string("12\r\n").copy(static_cast<char*>(buffer), size));
}
static ssize_t typeKey(void*, char* buffer, std::size_t) {
    noteWait();
    *buffer = 'k';
    return 1;
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
    PutThreadInTbThread("asks", threadId(), threadId());
    FILE* const own_output = std::exchange(stdout, open_memstream(&shown, &shown_size));
    const cookie_io_functions_t keyboard = {typeKey, nullptr, nullptr, nullptr};
    FILE* const own_input = std::exchange(stdin, fopencookie(nullptr, "r", keyboard));
    char* answer;
    client_clear(&kLocal, 0);
    console_clear();
    const short ready = client_input_ready(&kLocal);
    client_printf(kLocal, "key? ");
    client_printf(kLocal, "%d? ", client_getc(&kLocal));
    const int next_key = read_key();
    client_ask(&kLocal, "%% of it: ", &answer);
    fclose(std::exchange(stdout, own_output));
    fclose(std::exchange(stdin, own_input));
    EXPECT_EQ(seen_at_waits, kClear + kClear + "|key? |107? |% of it: |");
    EXPECT_EQ(ready, 1);
    EXPECT_EQ(seconds_to_wait, 1);
    EXPECT_EQ(next_key, 'k');
    EXPECT_STREQ(answer, "12\r");
    CharString threads;
    listThreads(threads);
    EXPECT_EQ(threads.contains("Trace 10\n"), 1);
    release_(&answer);
    std::free(shown);
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
    EXPECT_EQ(client_alive(&kRemote), 1);
    EXPECT_EQ(client_getc(&kRemote), 0xE9);
    client_read_hook = [](auto*, char* buffer, int) {
        *buffer = 'x';
        return 0;  // so there is no key, whatever lies in the buffer
    };
    EXPECT_EQ(client_getc(&kRemote), 0);
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
