// A server for two clients at once: an accept loop, a thread for each client, the hook by which the
// library's tools reach them, and an orderly end.

#include <norba/i_msg.h>
#include <serv_cli/i_tools.h>
#include <util/i_cnxsock.h>
#include <util/i_os.h>
#include <util/i_trace.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

constexpr std::int16_t kClients = 2;

std::array<ExwConnection, kClients> connections;  // by the minor number of their ClientId
sem_t* ended = nullptr;                           // posted by each thread as its last act

/// The id of a client; -1, -1 is the local console.
ClientId idOf(std::int16_t number) {
    return {1, number};
}

/// What client_printf does for a remote client: the text goes out as a frame.
void printToClient(const ClientId* client, const char* format, va_list values) {
    char text[256];
    std::vsnprintf(text, sizeof text, format, values);
    const auto size = static_cast<std::uint32_t>(std::strlen(text) + 1);
    MsgToSend frame(size);
    std::memcpy(frame.body(), text, size);
    frame.setType(MsgType::kText);
    frame.setOp(MsgOp::kText);
    frame.setLg(static_cast<std::int32_t>(size));
    frame.Serialise();
    connections[static_cast<std::size_t>(client->minor)].Write(frame.buffer(), frame.frameLength());
}

/// Serves one client until it hangs up.
void* serve(void* argument) {
    const auto number = static_cast<std::int16_t>(reinterpret_cast<std::intptr_t>(argument));
    FrameReader reader(connections[static_cast<std::size_t>(number)]);
    for (MsgHeader header; reader.readHeader(&header);) {
        std::string text(static_cast<std::size_t>(header.lg()), '\0');
        if (!reader.readBody(text.data(), header.lg())) break;
        text.resize(std::strlen(text.c_str()));
        client_printf(idOf(number), "client %d said: %s\n", number, text.c_str());
    }
    tracePrintf("client %d is gone", number);
    RemoveThreadFromTb();
    semUnLock(ended);
    return nullptr;
}

}  // namespace

int main(int count, char** words) {
    Connection listener;
    if (count != 2 || !listener.CreateService(std::atoi(words[1]), 1, 5, 0)) {
        std::fprintf(stderr, "Usage: server PORT\n");
        return 2;
    }
    std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    client_printf_hook = printToClient;  // before the first thread that may use it
    semInit(&ended, 0);
    tracePrintf("serving two clients");
    int running = 0;
    for (std::int16_t number = 0; number < kClients; ++number) {
        ExwConnection& client = connections[static_cast<std::size_t>(number)];
        if (!listener.Accept(client, 1)) continue;
        void* const argument = reinterpret_cast<void*>(static_cast<std::intptr_t>(number));
        running += threadCreate("Client", serve, 0, 0, argument, 0) != 0;
    }
    listener.Close();
    for (int i = 0; i < running; ++i)
        semLock(ended, -1);
    semDestroy(ended);
    return running == kClients ? 0 : 1;  // the connections close with their objects
}
