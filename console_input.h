#pragma once
// The operator's side of a session: takes lines or single keys from standard input, carries out the
// two local commands, and sends everything else to the server.
//
// The terminal's own settings stay as they are; `canonique` only decides how input is read. Input
// goes by descriptor 0 and, for single keys, by `getchar`, so standard input must be unbuffered:
// otherwise `getchar` would keep the rest of a line from the `read` that follows it.

/// Runs the input of one session on the calling (main) thread: joins the first connected target,
/// asks for a return key, and then makes passes until `cnx_ok` is 0. The first pass takes the
/// arguments of the command line as its input.
///
/// A pass without input lasts `input_wait` + `idle_pass`; a line typed meanwhile waits for its end.
/// In one-key input a pass lasts until a key comes, also when the session ends before that; such a
/// key isn't sent.
void inputLoop();
