#pragma once
// A connection whose other end is the test's.

#include <thread>

#include "support/scripted_peer.h"
#include "util/i_cnxsock.h"

inline std::string packFrame(const std::string& body, int op = 5, int version = 29) {
    return support::header(10, op, -1, static_cast<long>(body.size()), version) + body;
}

/// `near` reads what the test puts into the far end.
struct FedLine {
    FedLine() {
        int ends[2] = {-1, -1};
        ::socketpair(AF_UNIX, SOCK_STREAM, 0, ends);
        near.fd = ends[0];
        far = ends[1];
    }
    /// Feeds a stream of any length, and hangs up.
    explicit FedLine(const std::string& stream) : FedLine() {
        feeder = std::thread([this, stream] {
            feed(stream);
            hangUp();
        });
    }
    ~FedLine() {
        near.Close();  // whoever still feeds it leaves
        if (feeder.joinable()) feeder.join();
        hangUp();
    }
    void feed(const std::string& bytes) const {
        EXPECT_EQ(::send(far, bytes.data(), bytes.size(), MSG_NOSIGNAL),
                  static_cast<ssize_t>(bytes.size()));
    }
    void hangUp() {
        if (far >= 0) ::close(far);
        far = -1;
    }

    Connection near;
    int far = -1;
    std::thread feeder;
};
