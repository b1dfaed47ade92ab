// Any stream of bytes, arriving in pieces of any size, through the reader of frames, beside a plain
// reading of the same bytes that has them all in memory: both must find the same frames and say the
// same of what is none.
#include <sys/socket.h>
#include <unistd.h>

#include "fuzz.h"
#include "norba/i_msg.h"
#include "plain_frames.h"
#include "util/i_cnxsock.h"

namespace {

/// The stream goes out to the reader piece by piece, one before each read of the socket.
class Sender {
  public:
    Sender(std::string_view sizes, std::string_view stream) : sizes_(sizes), rest_(stream) {
        require(::socketpair(AF_UNIX, SOCK_STREAM, 0, ends_) == 0);
    }
    ~Sender() { ::close(ends_[1]); }
    int receiver() const { return ends_[0]; }

    void sendPiece() {
        if (ends_[1] < 0) return;
        const unsigned wish = static_cast<unsigned char>(sizes_[turn_++ % sizes_.size()]);
        const std::size_t length = std::min(std::max<std::size_t>(wish, least_), rest_.size());
        require(::write(ends_[1], rest_.data(), length) == static_cast<ssize_t>(length));
        rest_.remove_prefix(length);
        if (!rest_.empty()) return;
        ::close(ends_[1]);
        ends_[1] = -1;
    }

  private:
    int ends_[2];
    std::string_view sizes_;
    std::string_view rest_;
    std::size_t least_ = rest_.size() / 16 + 1;  // many small reads are slow and show no more
    std::size_t turn_ = 0;
};

PlainFrames bufferedReading(Sender& sender) {
    Connection connection;
    connection.fd = sender.receiver();
    PlainFrames found;
    FrameReader reader(connection, nullptr,
                       {.before_read = [&] { sender.sendPiece(); },
                        .say = [&](const std::string& text) { found.said += text; }});
    for (MsgHeader header; reader.readHeader(&header);) {
        found.begin(header.type(), header.op(), header.kelId(), header.lg());
        for (std::int32_t left = header.lg(); left > 0; left -= PlainFrames::kPiece) {
            const std::int32_t piece = std::min(left, PlainFrames::kPiece);
            const char* const body = reader.readBody(piece);
            if (!body) return found;
            found.add({body, static_cast<std::size_t>(piece)});
        }
    }
    return found;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    const std::string sizes = input.take(4), stream = input.rest();
    Sender sender(sizes, stream);
    const PlainFrames found = bufferedReading(sender);
    const PlainFrames expected = plainReading(stream);
    requireSame(found.said, expected.said);
    requireSame(found.told(), expected.told());
    return 0;
}
