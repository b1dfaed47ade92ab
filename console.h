#pragma once
// What the threads of a session share: the operator's target, the connection, the two flags, and
// the one way in which every frame leaves the console.
//
// Three threads live during a session. The main thread connects and takes the operator's input, the
// "Receiver" is the only reader of the connection, the "Pinger" sends the keep-alive. `cnx_ok` is
// the only signal that ends a session:
//
//   state       cnx_ok          written by                  left when
//   Connecting  0               main, each connect attempt  an attempt gives 1
//   Running     not 0           "Receiver", each read       a read gives 0
//   Ending      0               nobody                      both workers have left
//
// Nothing below is reset between sessions unless its comment says so.

#include <atomic>
#include <cstdint>

#include "console_recorder.h"
#include "norba/i_msg.h"
#include "util/i_charstr.h"
#include "util/i_cnxsock.h"

/// The target that stands for the server instance that connected first.
constexpr std::int16_t kFirstConnected = -1;

/// Body bytes of the buffer behind every frame sent.
constexpr std::uint32_t kFrameCapacity = 1024;

/// The console's pauses, in milliseconds. A program that drives sessions by the thousand may set
/// shorter ones before its first session; `zor_console` runs with these.
struct ConsolePauses {
    std::int32_t connect_retry = 100;  ///< after a failed connect attempt
    std::int32_t input_wait = 200;     ///< longest wait for input in one pass
    std::int32_t idle_pass = 1000;     ///< after a pass without input: with the wait, 1.2 s
    std::int32_t first_read = 1000;    ///< before the "Receiver" reads for the first time
    std::int32_t keep_alive = 120000;  ///< period of the "Pinger"
};
extern ConsolePauses console_pauses;

/// The server instance that the operator has chosen; in every text frame. Survives a reconnect.
/// Main thread only.
extern std::int16_t kel_id;

/// The connection of the present session, null between two. Written by the main thread, which owns
/// it and deletes it only when neither worker of its session is left.
extern std::atomic<ExwConnection*> cnx;

/// Not 0 while the session is up. A worker ends by the value that it has itself just seen, and no
/// session begins before the workers of the last one have left.
extern std::atomic<short> cnx_ok;

/// 1 selects one-key input. Written by the "Receiver", read by the input loop. Survives a
/// reconnect.
extern std::atomic<short> canonique;

/// The command line: each word from the first on, each with one blank in front of it. Built once at
/// start.
extern CharString args_line;

/// The recording file and its name. Survives a reconnect. Any thread.
extern Recorder recorder;

/// Serialises `frame` and writes it to `cnx` by one `Write`. Gives the result of that: the bytes
/// written, or what a failed write gives. Main thread and "Pinger".
int sendFrame(MsgToSend& frame);

/// Sends a frame of `type` 10 without a body, with `op` and the target `id`, and prints
/// "write set_client: nbe= %d\n" with the bytes written: 132, when all is well. Main thread.
void set_client(short op, short id);

/// Prints `count` bytes from `data` in hexadecimal, behind a line with their count and the address.
/// A help for whoever hunts a fault in the console, which itself doesn't call it. The lines aren't
/// broken. Not for two threads at once: their pieces would mix.
void dump_bytes(const void* data, short count);

/// The decimal number at the front of `text`, after white space, or 0. It reads 64 bits on every
/// machine, so that cutting a number that is too long gives the same target or port everywhere.
long long leadingNumber(const char* text);
