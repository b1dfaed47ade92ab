// Part of the coverage build alone: counters are written at the end of a process, and many of the
// processes that the tests look at end by a signal or by _exit, which would lose them.

#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <initializer_list>

extern "C" {
#include <gcov.h>

// The linker keeps this object for the sake of the name.
extern const int zorCoverageDump;
const int zorCoverageDump = 1;

[[noreturn]] void __real__exit(int status);  // NOLINT(bugprone-reserved-identifier)
int __real_kill(pid_t process, int signal);  // NOLINT(bugprone-reserved-identifier)

[[noreturn]] void __wrap__exit(int status) {  // NOLINT(bugprone-reserved-identifier)
    __gcov_dump();
    __real__exit(status);
}

// What stands for SIGKILL, which nobody can catch: whoever gets it writes, and ends by SIGKILL.
static int killing() {
    return SIGRTMAX;
}

int __wrap_kill(pid_t process, int signal) {  // NOLINT(bugprone-reserved-identifier)
    constexpr int kPatience = 200;            // steps of 10 ms
    if (signal == SIGKILL && __real_kill(process, killing()) == 0) {
        siginfo_t ended{};
        for (int i = 0; i < kPatience && ended.si_pid == 0; ++i) {
            if (waitid(P_PID, static_cast<id_t>(process), &ended, WEXITED | WNOHANG | WNOWAIT) != 0)
                break;
            usleep(10'000);
        }
    }
    return __real_kill(process, signal);
}

static void dumpAndEnd(int signal) {
    __gcov_dump();
    if (signal == killing()) raise(SIGKILL);
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

__attribute__((constructor)) static void dumpAtEachEnd() {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGABRT, SIGALRM, killing()})
        std::signal(signal, dumpAndEnd);
}
}
