#include "norba/i_msg_frame.h"

#include <cstring>
#include <limits>
#include <new>
#include <type_traits>

#include "util/i_assert.h"

static_assert(std::is_trivially_copyable_v<MsgHeader>, "headers are copied to and from the wire");

namespace {

constexpr char SOURCE_MODULE[] = "norba/i_msg";

/// Room for a frame, or null if there is none, also when its size doesn't fit in 32 bits.
char* allocateFrame(std::uint32_t capacity) {
    if (capacity > std::numeric_limits<std::uint32_t>::max() - MsgHeader::kSize) return nullptr;
    return new (std::nothrow) char[std::size_t{capacity} + MsgHeader::kSize];
}

}  // namespace

std::atomic<std::int32_t> msg_to_send_made{0};
std::atomic<std::int32_t> msg_to_send_alive{0};
std::atomic<Mutex*> msg_count_guard{nullptr};

void msgCountAdd(std::atomic<std::int32_t>& counter, std::int32_t change) {
    const MutexHold hold(msg_count_guard, SOURCE_MODULE, __LINE__);
    counter += change;
}

void MsgHeader::setOp(std::int16_t value) {
    ZOR_ASSERT(value >= NUM_OP_MIN && value <= NUM_OP_MAX, "op >= NUM_OP_MIN && op <= NUM_OP_MAX");
    op_ = value;
}

void MsgHeader::setLg(std::int32_t value) {
    ZOR_ASSERT(value >= 0, "lg >= 0");
    lg_ = value;
}

void MsgHeader::setText(const char* s) {
    std::memcpy(text_, s, ::strnlen(s, kTextSize - 1));
}

void MsgHeader::WriteHeader(char** cursor) const {
    PutULong(kBeginHead, cursor);
    PutShort(type_, cursor);
    PutShort(op_, cursor);
    PutLong(lg_, cursor);
    PutShort(reserved_12_, cursor);
    PutShort(reserved_14_, cursor);
    PutShort(reserved_16_, cursor);
    PutShort(kel_id_, cursor);
    pair_.WritePair(cursor);
    PutShort(reserved_24_, cursor);
    PutShort(version_, cursor);
    PutText(text_, cursor);
}

short MsgHeader::ReadHeader() {
    char copy[kSize];
    std::memcpy(copy, wire(), sizeof copy);
    const char* cursor = copy;
    const char* const limit = copy + sizeof copy;
    GetULong(&begin_head_, &cursor, limit);
    GetShort(&type_, &cursor, limit);
    GetShort(&op_, &cursor, limit);
    GetLong(&lg_, &cursor, limit);
    GetShort(&reserved_12_, &cursor, limit);
    GetShort(&reserved_14_, &cursor, limit);
    GetShort(&reserved_16_, &cursor, limit);
    GetShort(&kel_id_, &cursor, limit);
    pair_.ReadPair(&cursor);
    GetShort(&reserved_24_, &cursor, limit);
    GetShort(&version_, &cursor, limit);
    GetText(text_, &cursor, kTextSize, limit);
    return begin_head_ == kBeginHead;
}

std::int16_t MsgHeader::versionOf(const char* wire) {
    std::int16_t version = 0;
    const char* cursor = wire + kVersionOffset;
    GetShort(&version, &cursor, nullptr);
    return version;
}

MsgToSend::MsgToSend(std::uint32_t capacity, char* buffer)
    : elem_list(t_msg_to_send), size_(capacity + MsgHeader::kSize), capacity_(capacity) {
    msgCountAdd(msg_to_send_made, 1);
    msgCountAdd(msg_to_send_alive, 1);
    pt_char_.reset(buffer ? buffer : allocateFrame(capacity));
    ZOR_ASSERT(pt_char_ != nullptr, "pt_char != NULL");
    markStale();
}

MsgToSend::~MsgToSend() {
    msgCountAdd(msg_to_send_alive, -1);
}

void MsgToSend::setType(std::int16_t value) {
    header_.setType(value);
    markStale();
}

void MsgToSend::setOp(std::int16_t value) {
    header_.setOp(value);
    markStale();
}

void MsgToSend::setLg(std::int32_t value) {
    header_.setLg(value);
    markStale();
}

void MsgToSend::setHeader(const MsgHeader& header) {
    header_ = header;
    markStale();
}

// The host form goes in first, because the wire form of `text` ends at its terminator: behind that
// the buffer keeps what the header object holds there, whatever was in the buffer before.
void MsgToSend::Serialise() {
    std::memcpy(buffer(), &header_, sizeof header_);
    char* cursor = buffer();
    header_.WriteHeader(&cursor);
}

// A frame that goes out without Serialise can be told by its type of -1.
void MsgToSend::markStale() {
    std::memset(buffer() + 4, 0xFF, 2);
}
