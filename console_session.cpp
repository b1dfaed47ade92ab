#include "console_session.h"

#include <sys/socket.h>

#include <cstdio>
#include <memory>

#include "console.h"
#include "console_input.h"
#include "console_pinger.h"
#include "console_receiver.h"
#include "console_workers.h"

namespace {

constexpr int kReportEvery = 50;  // failed attempts from one message to the next
constexpr short kBlocking = 1;    // the form of ConnectService that waits for its result

// The workers of the present session. One object serves all sessions, because a session begins only
// after the workers of the one before have left.
SessionWorkers workers;

void* pingerEntry(void*) {
    runPinger(workers);
    workers.leave();
    return nullptr;
}

void* receiverEntry(void*) {
    threadSleep(console_pauses.first_read);
    ExwConnection& connection = *cnx.load();
    Receiver(connection, recorder, cnx_ok, canonique).run();
    // A peer that has only stopped sending may leave a writer waiting for room; this lets it go.
    // The descriptor stays open, for the main thread closes it.
    shutdown(connection.fd, SHUT_RDWR);
    workers.leave();
    return nullptr;
}

void connectUntilUp(const char* host, std::int32_t port) {
    std::printf("Trying connect: %s %d\n", host, port);
    for (unsigned attempt = 0; cnx_ok == 0; ++attempt) {
        cnx_ok = cnx.load()->ConnectService(host, port, kBlocking, 0);
        if (cnx_ok != 0) return;
        if (attempt % kReportEvery == 0)
            std::printf("Connection with %s on port %d isn't OK \n", host, port);
        threadSleep(console_pauses.connect_retry);
    }
}

void greet(const char* host, std::int32_t port) {
    std::printf("\nConnection with %s , port %d is OK \n\n", host, port);
    if (args_line.contains("-") == 0)
        std::printf("You can give arguments -xxx-yyy in command-line, forwarded to main_zor!\n\n");
    std::printf("Local commands:\n");
    std::printf("\tKELx        to change KEL (-1 is first connected KEL)\n");
    std::printf("\t>> filename to record in a local file \n\n");
}

// A session needs both workers. When the system has no thread left, it ends before it has begun,
// and the next attempt waits as after a failed connect.
void startWorkers() {
    if (workers.start("Pinger", pingerEntry) && workers.start("Receiver", receiverEntry)) return;
    cnx_ok = 0;
    threadSleep(console_pauses.connect_retry);
}

}  // namespace

void runSession(const char* host, std::int32_t port) {
    const auto connection = std::make_unique<ExwConnection>();
    cnx = connection.get();
    connectUntilUp(host, port);
    greet(host, port);
    startWorkers();
    inputLoop();
    workers.endSession();
    cnx = nullptr;
}
