#include "serv_cli/i_tools_console.h"

#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "serv_cli/i_tools_text.h"
#include "util/i_charstr.h"
#include "util/i_cnxsock.h"
#include "util/i_os_table.h"
#include "util/i_trace.h"

/// Written by the hosting server before it uses the tools, read by every thread afterwards.
constinit ClientHooks client_hooks{};
constinit decltype(ClientHooks::printf)& client_printf_hook = client_hooks.printf;
constinit decltype(ClientHooks::write)& client_write_hook = client_hooks.write;
constinit decltype(ClientHooks::ready)& client_ready_hook = client_hooks.ready;
constinit decltype(ClientHooks::read)& client_read_hook = client_hooks.read;
constinit decltype(ClientHooks::alive)& client_alive_hook = client_hooks.alive;

namespace {

constexpr std::int32_t kInputWait = 1000;  // milliseconds that client_input_ready waits
constexpr std::int32_t kReadMark = 10;     // trace mark of a thread that reads the keyboard
constexpr std::size_t kLineSize = 256;     // bytes of a row, an answer or a typed text, with NUL

constexpr char kClearLocalScreen[] = "\033[1;1f\033[2J\n";
constexpr char kClearRemoteScreen[] = "<clear-screen>\n";
constexpr char kKeyByKey[] = "<on-canonique>\n";
constexpr char kLineByLine[] = "<off-canonique>\n";

bool isLocal(const ClientId& client) {
    return client == ClientId(-1, -1);
}

/// Before every wait for the local operator, who is to see the question before answering it.
void showWhatWasPrinted() {
    std::fflush(stdout);
}

bool takesOneOff(int key) {
    return key == '\b' || key == '\n' || key == '\r';
}

/// The typed text after one more key; false if there was no room for it.
bool addKey(char (&typed)[kLineSize], int key) {
    const std::size_t length = std::strlen(typed);
    if (length == kLineSize - 1) return false;
    typed[length] = static_cast<char>(key);
    return true;
}

}  // namespace

short client_alive(const ClientId* client) {
    if (!client) return 0;
    if (isLocal(*client)) return 1;
    return client_alive_hook && client_alive_hook(client) != 0;
}

short client_input_ready(const ClientId* client) {
    if (!client) return 0;
    if (isLocal(*client)) {
        showWhatWasPrinted();
        return WaitFdReadable(STDIN_FILENO, kInputWait) == 1;
    }
    return client_ready_hook ? client_ready_hook(client) : short{0};
}

int client_read(const ClientId* client, char* buffer, int length) {
    if (!client) return 0;
    if (isLocal(*client)) {
        showWhatWasPrinted();
        setThreadTrace(kReadMark);
        return static_cast<int>(read(STDIN_FILENO, buffer, static_cast<std::size_t>(length)));
    }
    return client_read_hook ? client_read_hook(client, buffer, length) : 0;
}

void client_write(ClientId client, const CharString* text) {
    if (isLocal(client)) {
        traceTexts(text->c_str());
    } else if (client_write_hook) {
        client_write_hook(&client, text);
    }
}

void client_printf(ClientId client, const char* format, ...) {
    va_list values;
    va_start(values, format);
    if (isLocal(client)) {
        std::vprintf(format, values);
    } else if (client_printf_hook) {
        client_printf_hook(&client, format, values);
    }
    va_end(values);
}

int read_key() {
    showWhatWasPrinted();
    return std::getchar();
}

int client_getc(const ClientId* client) {
    if (isLocal(*client)) return read_key();
    char key[2] = "";
    client_printf(*client, kKeyByKey);
    const int count = client_read(client, key, 1);
    client_printf(*client, kLineByLine);
    return count > 0 ? static_cast<unsigned char>(key[0]) : 0;
}

void client_clear(const ClientId* client, short remote_too) {
    if (isLocal(*client)) {
        client_printf(*client, kClearLocalScreen);
    } else if (remote_too) {
        client_printf(*client, kClearRemoteScreen);
    }
}

void console_clear() {
    const ClientId local(-1, -1);
    client_clear(&local, 1);
}

void client_ask(const ClientId* client, const char* prompt, char** answer) {
    *answer = nullptr;
    char line[kLineSize] = "";
    // The prompt is the format itself, not a value of "%s": callers rely on its conversions.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-security"
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    client_printf(*client, prompt);
#pragma GCC diagnostic pop
    client_read(client, line, kLineSize - 1);
    for (std::size_t end = std::strlen(line); end > 0 && line[end - 1] == '\n'; --end) {
        line[end - 1] = '\0';
    }
    duplicate_(answer, line);
}

short client_filter(const ClientId* client, ClientFilter filter, short clear, const char* title) {
    if (!title) title = "";
    char typed[kLineSize] = "";
    while (client_alive(client)) {
        const int key = client_getc(client);
        if (!takesOneOff(key)) {
            if (!addKey(typed, key)) continue;
        } else if (*typed) {
            typed[std::strlen(typed) - 1] = '\0';
        } else {
            client_clear(client, clear);
            client_printf(*client, "End %s######\n", title);
            return 1;
        }
        client_clear(client, clear);
        client_printf(*client, "%s###### %s \n", title, typed);
        filter(client, typed);
    }
    return 1;
}

void row_add(char** row, const char* text) {
    if (!*row) {
        *row = new char[kLineSize]();
        std::snprintf(*row, kLineSize, "%s", text);
        return;
    }
    const std::size_t length = std::strlen(*row);
    std::snprintf(*row + length, kLineSize - length, "\t%s", text);
}

void row_add_bool(char** row, short value) {
    row_add(row, value ? "TRUE" : "FALSE");
}
