#pragma once
// The keep-alive: a frame of 132 bytes every 120 s, which tells the server that an idle console is
// still there.

#include "console_workers.h"

/// Runs the "Pinger" of one session on the calling thread. The first frame goes out one period
/// after the start, and each carries the default target -1, not the operator's. Returns when the
/// session in `workers` ends, without waiting for the rest of its period, so that no session ever
/// gets the pings of another.
void runPinger(SessionWorkers& workers);
