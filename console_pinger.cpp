#include "console_pinger.h"

#include "console.h"

namespace {

void sendKeepAlive() {
    MsgToSend frame(kFrameCapacity, nullptr);
    frame.setType(MsgType::kKeepAlive);
    frame.setOp(MsgOp::kText);
    sendFrame(frame);  // a loss is the "Receiver"'s to see
}

}  // namespace

void runPinger(SessionWorkers& workers) {
    while (cnx_ok != 0) {
        if (workers.waitForEnd(console_pauses.keep_alive)) return;
        if (cnx_ok != 0) sendKeepAlive();
    }
}
