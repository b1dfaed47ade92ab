#pragma once
// A dead-lock made on purpose, to show what the lock layer reports, and its end.
//
// Two threads hold one Mutex each and ask for the other's. The second to ask closes the ring: the
// layer reports and calls the fatal function on that thread, before it waits. There the thread
// gives the Mutex that it holds back, so the first one gets both, and then it gets its own. A
// server that has no such way out would end the process in its fatal function instead.

#include <string>

/// Installs the report functions in the lock layer. Before any other thread uses a lock.
void simInstallDeadLockReport();

/// Makes the dead-lock, waits until it is undone and both threads are done with it, and gives the
/// report. One at a time: empty if another one is under way, or if the threads can't be started.
/// Any thread.
std::string simDeadLock();
