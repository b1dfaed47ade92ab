#include "simulator/sim_end.h"

#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <csignal>

#include "util/i_cnxsock.h"
#include "util/i_trace.h"

SimEnd::SimEnd() : event_(eventfd(0, EFD_CLOEXEC)) {}

SimEnd::~SimEnd() {
    for (const int descriptor : {event_, signals_})
        if (descriptor >= 0) ::close(descriptor);
}

bool SimEnd::takeSignals() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGTERM);
    sigaddset(&set, SIGINT);
    signals_ = signalfd(-1, &set, SFD_CLOEXEC);
    if (event_ < 0 || signals_ < 0) return false;
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
    return true;
}

void SimEnd::ask() {
    eventfd_write(event_, 1);
}

// A wait that fails is begun again: a stopped and continued process may see that.
bool SimEnd::waitReadable(std::int32_t fd) {
    for (;;) {
        fd_set set;
        FD_ZERO(&set);
        for (const int descriptor : {fd, event_, signals_})
            if (descriptor >= 0) FD_SET(descriptor, &set);
        if (WaitFdSet(&set, -1) < 0) continue;
        if (FD_ISSET(event_, &set)) return false;
        if (signals_ >= 0 && FD_ISSET(signals_, &set)) {
            traceTexts("a signal asks for the end");
            return false;
        }
        if (FD_ISSET(fd, &set)) return true;
    }
}
