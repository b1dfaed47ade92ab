// A server for two clients at once: an accept loop, a thread for each client, the hooks by which
// the library's tools reach them, and an orderly end, which any client may ask for by the text
// "stop".

#include <norba/i_msg.h>
#include <serv_cli/i_tools.h>
#include <util/i_cnxsock.h>
#include <util/i_os.h>
#include <util/i_trace.h>

#include <array>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

constexpr std::int16_t kClients = 2;
constexpr std::int32_t kRound = 10'000;  // ms

Connection listener;
std::array<ExwConnection, kClients> connections;  // by the minor number of their ClientId
std::atomic<bool> stopping{false};                // set before the hang-ups

ExwConnection& connectionOf(const ClientId& client) {
    return connections[static_cast<std::size_t>(client.minor)];
}

/// What client_printf does for a remote client: the text goes out as one frame, in one write.
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
    connectionOf(*client).Write(frame.buffer(), frame.frameLength());
}

/// What client_alive says of a remote client.
short isThere(const ClientId* client) {
    return connectionOf(*client).fd != -1;
}

/// Whoever is inside an Accept, a read or a Write wakes, and leaves its loop.
void hangUpAll() {
    stopping = true;
    listener.HangUp();
    for (ExwConnection& connection : connections)
        connection.HangUp();
}

/// Serves one client until it is gone: the only thread that reads its connection.
void serve(ClientId client) {
    FrameReader reader(connectionOf(client));
    for (MsgHeader header; reader.readHeader(&header);) {
        std::string text(static_cast<std::size_t>(header.lg()), '\0');
        if (!reader.readBody(text.data(), header.lg())) break;
        text.resize(std::strlen(text.c_str()));
        client_printf(client, "client %d said: %s\n", client.minor, text.c_str());
        if (text == "stop") hangUpAll();
    }
    tracePrintf("client %d is gone", client.minor);
    connectionOf(client).Close();
}

}  // namespace

int main(int count, char** words) {
    // For clients of this machine; CreateService listens on every address.
    if (count != 2 || !listener.CreateLocalService(std::atoi(words[1]), 1, 5, 0)) {
        std::fprintf(stderr, "Usage: server PORT (0: any that is free)\n");
        return 2;
    }
    std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    client_printf_hook = printToClient;  // before the first thread that may use them
    client_alive_hook = isThere;
    tracePrintf("serving two clients on port %d", listener.SocketPort());
    for (std::int16_t number = 0; number < kClients; ++number) {
        const ClientId client(1, number);  // -1, -1 is the local console
        if (!listener.Accept(connectionOf(client), 1)) break;
        connectionOf(client).SetNoDelay();
        if (!threadStart("Client", [client] { serve(client); })) return 1;
        if (stopping) hangUpAll();  // it may have come in the middle of the others' end
    }
    // The connections live until no thread can touch them.
    while (!threadWaitStarted(kRound)) {
    }
    return 0;
}
