#include "util/i_msg_message.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "util/i_assert.h"

namespace {

constexpr char SOURCE_MODULE[] = "util/i_msg";

char* allocateBody(std::int32_t size) {
    return size > 0 ? new (std::nothrow) char[static_cast<std::size_t>(size) + 1]() : nullptr;
}

}  // namespace

std::atomic<std::int32_t> message_alive{0};

Message::Message(std::int32_t asked, char* own_body)
    : elem_list(t_message), body(own_body ? own_body : allocateBody(asked)), size(asked) {
    msgCountAdd(message_alive, 1);
    ZOR_ASSERT(body != nullptr || size <= 0, "body != NULL");
}

Message::~Message() {
    msgCountAdd(message_alive, -1);
    delete[] body;
}

Message* Message::Clone() const {
    auto* copy = new Message(size);
    copy->header = header;
    const std::int32_t length = std::min(bodyLength(), size);
    if (length > 0) std::memcpy(copy->body, body, static_cast<std::size_t>(length));
    return copy;
}

MsgToSend* Message::ToSend() const {
    return MakeToSend(header, body);
}

// The capacity is held above -1 for setLg to be what refuses a negative length.
MsgToSend* MakeToSend(const MsgHeader& header, const char* body) {
    const std::int32_t length = header.lg();
    auto* frame = new MsgToSend(static_cast<std::uint32_t>(std::max(length, 0)), nullptr);
    frame->setLg(length);
    frame->setHeader(header);
    if (body) std::memcpy(frame->body(), body, static_cast<std::size_t>(length));
    return frame;
}
