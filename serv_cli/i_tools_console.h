#pragma once
// Console presentation helpers: talk to an operator through a ClientId, wherever the operator sits.
//
//   local client (-1, -1)   standard input and output of this process
//   remote client           the hooks below, which a server sets; without them every remote
//                           operation does nothing and gives 0
//   null pointer            no client: not alive, nothing to read
//
// The keyboard and the screen of a remote client are controlled in band, by output texts that are
// sent whole and alone: "<on-canonique>\n" asks for each key at once, "<off-canonique>\n" for whole
// lines again, "<clear-screen>\n" for an empty screen.
//
// The local operator sees what was printed before any of these calls waits for input: each flushes
// standard output first. Standard input has to be unbuffered, by `setvbuf(stdin, nullptr, _IONBF,
// 0)` before anything is read: `read_key` takes its keys through the C library, while `client_read`
// and `client_input_ready` look at descriptor 0 and know nothing of keys that lie in its buffer. At
// a terminal in line mode nothing arrives before the operator ends a line; keys come one by one
// only where the program has set the terminal for it.
//
// No lock is taken. Two threads that prompt the same client would mix its keys: one prompt per
// client at a time. The hooks are set before the first of these calls and then left alone.

#include <cstdarg>
#include <cstdint>

#include "serv_cli/client_id.h"

class CharString;

/// The door to the remote clients: five functions of the hosting server, null until it sets them.
/// They lie in memory in this order. Results go to the caller of the operation of the same name.
struct ClientHooks {
    /// Called with the arguments of the operation, for remote clients alone.
    void (*printf)(const ClientId* client, const char* format, va_list values);
    void (*write)(const ClientId* client, const CharString* text);
    short (*ready)(const ClientId* client);
    int (*read)(const ClientId* client, char* buffer, int length);
    short (*alive)(const ClientId* client);
};

/// The hooks of this process.
extern ClientHooks client_hooks;

/// The same five as plain variables.
extern decltype(ClientHooks::printf)& client_printf_hook;
extern decltype(ClientHooks::write)& client_write_hook;
extern decltype(ClientHooks::ready)& client_ready_hook;
extern decltype(ClientHooks::read)& client_read_hook;
extern decltype(ClientHooks::alive)& client_alive_hook;

/// 1 while the client exists, which the local one always does, else 0.
short client_alive(const ClientId* client);

/// Whether the client has input. For the local one, waits up to 1,000 ms for descriptor 0.
short client_input_ready(const ClientId* client);

/// Reads at most `length` bytes and gives how many came. For the local client one `read` of
/// descriptor 0, with its result; a thread that waits there carries the trace mark 10.
int client_read(const ClientId* client, char* buffer, int length);

/// Writes a text: for the local client as a trace line.
void client_write(ClientId client, const CharString* text);

/// Prints: for the local client on standard output.
[[gnu::format(printf, 2, 3)]] void client_printf(ClientId client, const char* format, ...);

/// `getchar`: a byte of standard input, or the end-of-file value.
int read_key();

/// One key of a client: for the local one `read_key`, for a remote one a byte as an unsigned value,
/// or 0 when its read delivered nothing. `client` is not null.
int client_getc(const ClientId* client);

/// Clears the client's screen. The local one is always cleared, a remote one only with `remote_too`
/// not 0. `client` is not null.
void client_clear(const ClientId* client, short remote_too);

/// Clears the local screen.
void console_clear();

/// Asks for one line and sets `*answer` to a heap text of at most 255 bytes, without its line feeds
/// at the end (a carriage return stays). `prompt` is a format without values, so a percent sign in
/// it is written twice. What the variable held before is not released. `client` is not null.
///
/// The answer is what one `client_read` delivers. At the end of input, or when the client is gone,
/// it is an empty text, never null, and looks like an empty line: `client_alive` tells a remote
/// client that is gone, nothing tells the end of standard input. Several lines that come in one
/// piece, as from a pipe or pasted, are one answer with the line feeds between them; only those at
/// the end go. The rest of a line beyond 255 bytes is the next answer.
void client_ask(const ClientId* client, const char* prompt, char** answer);

/// Shows what fits the typed text; its result is not looked at.
using ClientFilter = int (*)(const ClientId* client, const char* typed);

/// Lets an operator narrow a selection key by key: after each key the screen is cleared as
/// `client_clear(client, clear)` does, a header shows `title` (null: none) and the typed text, at
/// most 255 characters, and `filter` shows the selection. Backspace, line feed and carriage return
/// take one character off; on an empty text they end the prompt. Gives 1, also when the client goes
/// away meanwhile.
short client_filter(const ClientId* client, ClientFilter filter, short clear, const char* title);

/// Adds a field to a row text of the analyser, with the tab as separator. A null variable becomes
/// a new row of 256 bytes, which `release_` gives back. What doesn't fit in a row is cut.
void row_add(char** row, const char* text);

/// `row_add` of "TRUE" for a value that isn't 0, else of "FALSE".
void row_add_bool(char** row, short value);
