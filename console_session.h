#pragma once
// The life of a session: connects, starts the two workers, hands the main thread to the operator's
// input, and takes everything down again when the "Receiver" has seen the loss of the connection.

#include <cstdint>

/// One turn of the connect loop: tries to connect to `host` and `port` until that succeeds, runs
/// the session, and returns when it is over, with its connection closed and its workers gone.
/// Main thread only.
void runSession(const char* host, std::int32_t port);
