// zor_ask: one command to a telephony server, its answer, and an exit status, for scripts and
// monitoring. It stands on the library alone and is an example of a client program.

#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <iostream>

#include "ask/ask_options.h"
#include "ask/ask_session.h"
#include "ask/ask_status.h"
#include "standard_descriptors.h"

namespace {

volatile sig_atomic_t status_of_timeout = kStatusNoConnection;

void tell(int status) {
    static constexpr const char* kTexts[] = {"", "zor_ask: can't connect\n", "",
                                             "zor_ask: no answer in time\n",
                                             "zor_ask: the connection was lost\n"};
    const std::string_view text = kTexts[status];
    if (!text.empty() && write(STDERR_FILENO, text.data(), text.size()) < 0) return;
}

/// The alarm that bounds every wait, on whatever call of the library it falls: a peer may stop in
/// the middle of a frame, or never take ours.
void timeIsUp(int) {
    const int status = status_of_timeout;
    tell(status);
    _exit(status);
}

AskStatus answerAll(const AskOptions& options, AskSession& session) {
    AskStatus status = session.connect();
    if (status != kStatusAnswered) return status;
    status_of_timeout = kStatusNoAnswer;
    status = session.join();
    if (!options.from_input && status == kStatusAnswered) return session.ask(options.command);
    for (std::string line; status == kStatusAnswered;) {
        alarm(0);  // whoever writes the lines may take any time
        if (!std::getline(std::cin, line)) break;
        alarm(static_cast<unsigned>(options.seconds));
        status = session.ask(line);
    }
    return status;
}

}  // namespace

int main(int count, char** words) {
    fillStandardDescriptors();
    const AskOptions options = readAskOptions(count, words);
    signal(SIGALRM, timeIsUp);
    alarm(static_cast<unsigned>(options.seconds));
    AskSession session(options);
    const AskStatus status = answerAll(options, session);
    tell(status);
    return status;
}
