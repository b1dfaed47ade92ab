#include "util/i_cnxsock_buffer.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

#include "util/i_cnxsock_connection.h"

namespace {
constexpr std::int32_t kFirstCapacity = 4096;  // bytes; enough for the frames of an operator
}

BlockReader::BlockReader(Connection& connection, std::atomic<short>* state,
                         std::function<void()> before_read)
    : connection_(connection), state_(state), before_read_(std::move(before_read)) {}

const char* BlockReader::take(std::int32_t length) {
    const bool complete = held() >= length || fill(length);
    if (state_) state_->store(complete, std::memory_order_release);
    if (!complete) return nullptr;
    if (length == 0) return "";  // there may be no memory yet to point to
    const char* const block = buffer_.get() + begin_;
    begin_ += length;
    return block;
}

bool BlockReader::copy(void* to, std::int32_t length) {
    for (char* target = static_cast<char*>(to); length > 0;) {
        const std::int32_t piece = std::min(length, kCapacity);
        const char* const bytes = take(piece);
        if (!bytes) return false;
        std::memcpy(target, bytes, static_cast<std::size_t>(piece));
        target += piece;
        length -= piece;
    }
    return true;
}

// A closed connection doesn't wait either: the read that follows tells its loss.
bool BlockReader::ready() const {
    return held() > 0 || connection_.WaitReadable(0) != 0;
}

/// Reads until `length` bytes are there, or the connection is lost.
bool BlockReader::fill(std::int32_t length) {
    std::int32_t waitless_reads = 0;
    std::int32_t count = 1;
    while (count > 0 && held() < length) {
        waitless_reads += held() > 0;
        if (before_read_) before_read_();
        if (!makeRoom(length)) return false;
        count = connection_.ReadSome(buffer_.get() + end_, capacity_ - end_);
        end_ += count;
    }
    Connection::traceWaitlessReads(waitless_reads);
    if (count == 0) begin_ = end_;
    return count > 0;
}

/// Sees to it that a block of `length` bytes has its place, and the next read a good deal of room.
bool BlockReader::makeRoom(std::int32_t length) {
    if (length > capacity_) return resize(std::max(length, kFirstCapacity));
    const bool was_longer = capacity_ > kCapacity && length <= kCapacity && held() == 0;
    if (was_longer) return resize(std::max(length, kFirstCapacity));
    // Room that one read has filled is too little for the stream; without memory it has to do.
    const bool filled = end_ == capacity_ && capacity_ < kCapacity;
    if (filled && resize(kCapacity)) return true;
    // The begun block goes to the front where it has to, and else once half the room lies behind
    // it: what is moved then is small against what the next read can take.
    const bool keeps_its_place =
        held() > 0 && begin_ < capacity_ / 2 && begin_ + length <= capacity_;
    if (keeps_its_place) return true;
    std::memmove(buffer_.get(), buffer_.get() + begin_, static_cast<std::size_t>(held()));
    end_ -= begin_;
    begin_ = 0;
    return true;
}

bool BlockReader::resize(std::int32_t capacity) {
    std::unique_ptr<char[]> larger(new (std::nothrow) char[static_cast<std::size_t>(capacity)]);
    if (!larger) return false;
    if (held() > 0)
        std::memcpy(larger.get(), buffer_.get() + begin_, static_cast<std::size_t>(held()));
    buffer_ = std::move(larger);
    capacity_ = capacity;
    end_ -= begin_;
    begin_ = 0;
    return true;
}
