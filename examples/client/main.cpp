// A client: sends one text in a frame and prints the text that comes back.

#include <norba/i_msg.h>
#include <util/i_cnxsock.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

int main(int count, char** words) {
    if (count != 3) {
        std::fprintf(stderr, "Usage: client PORT TEXT\n");
        return 2;
    }
    Connection connection;
    if (!connection.ConnectService("127.0.0.1", std::atoi(words[1]), 1, 0)) {
        std::fprintf(stderr, "client: can't connect\n");
        return 1;
    }

    const auto size = static_cast<std::uint32_t>(std::strlen(words[2]) + 1);  // with its terminator
    MsgToSend frame(size);
    std::memcpy(frame.body(), words[2], size);
    frame.setType(MsgType::kText);
    frame.setOp(MsgOp::kText);
    frame.setLg(static_cast<std::int32_t>(size));
    frame.Serialise();
    // One frame, one write: a second one would wait for the peer's acknowledgement of the first.
    if (connection.Write(frame.buffer(), frame.frameLength()) != frame.frameLength()) return 1;

    FrameReader reader(connection);  // the only one that reads this connection, for its whole life
    MsgHeader header;
    if (!reader.readHeader(&header)) return 1;
    std::string answer(static_cast<std::size_t>(header.lg()), '\0');
    if (!reader.readBody(answer.data(), header.lg())) return 1;
    std::printf("%s", answer.c_str());
    return 0;
}
