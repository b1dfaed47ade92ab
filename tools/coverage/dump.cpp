// Part of the coverage build alone: counters are written at the end of a process, and many of the
// processes that the tests look at end by a signal or by _exit, which would lose them.

#include <unistd.h>

#include <csignal>
#include <initializer_list>

extern "C" {
#include <gcov.h>

// The linker keeps this object for the sake of the name.
extern const int zorCoverageDump;
const int zorCoverageDump = 1;

[[noreturn]] void __real__exit(int status);  // NOLINT(bugprone-reserved-identifier)

[[noreturn]] void __wrap__exit(int status) {  // NOLINT(bugprone-reserved-identifier)
    __gcov_dump();
    __real__exit(status);
}

static void dumpAndEnd(int signal) {
    __gcov_dump();
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

__attribute__((constructor)) static void dumpAtEachEnd() {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGABRT, SIGALRM})
        std::signal(signal, dumpAndEnd);
}
}
