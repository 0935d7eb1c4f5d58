#include "Mail/Stream.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <utility>

namespace Mail {

ByteReader::ByteReader(const Mem::Ptr<Chunk>& chain) {
    add(chain);
}

bool ByteReader::init(const Mem::Ptr<Chunk>& chunk) {
    const Chunk* const entered = chunk.get();
    if (entered == nullptr) {
        clear();
        return false;
    }
    if (entered != next_.get()) {
        tailOfQueue_ = nullptr;
        queued_ = 0;
    }
    buffer_ = entered->buffer_;
    cursor_ = entered->begin();
    end_ = entered->end();
    queued_ -= std::min(queued_, entered->size());
    next_ = entered->next_; // this may delete the chunk
    if (!next_) {
        tailOfQueue_ = nullptr;
    }
    return true;
}

// A chunk holds the link to the next one, and a chunk that was passed in may be part of a message:
// to link anything behind it would change the message. So the queue gets chunks of its own.
bool ByteReader::add(const Mem::Ptr<Chunk>& chain) {
    const Mem::Ptr<Chunk> shared = tailOfQueue_ ? nullptr : next_;
    Mem::Ptr<Chunk> first = copyOf(shared);
    Mem::Ptr<Chunk> second = copyOf(chain);
    if ((shared && !first) || (chain && !second)) {
        return false;
    }
    if (shared) {
        next_ = nullptr;
        queued_ = 0;
        enqueue(std::move(first));
    }
    enqueue(std::move(second));
    return true;
}

// Null if the chain is null, or if there is no memory for all of the copy.
Mem::Ptr<Chunk> ByteReader::copyOf(const Mem::Ptr<Chunk>& chain) {
    constexpr auto kAll = std::numeric_limits<std::uint64_t>::max();
    return chain ? chain->rbefore(kAll) : nullptr;
}

void ByteReader::enqueue(Mem::Ptr<Chunk> chain) {
    while (chain) {
        queued_ += chain->size();
        (tailOfQueue_ ? tailOfQueue_->next_ : next_) = chain;
        tailOfQueue_ = chain;
        chain = Mem::Ptr<Chunk>(chain->next_);
    }
}

std::uint64_t ByteReader::getData(void* out, std::uint64_t n) {
    auto* const bytes = static_cast<unsigned char*>(out);
    std::uint64_t done = 0;
    while (done != n && prepare()) {
        const auto count = std::min(n - done, static_cast<std::uint64_t>(end_ - cursor_));
        std::memcpy(bytes + done, cursor_, count);
        cursor_ += count;
        done += count;
    }
    return done;
}

Mem::Ptr<Chunk> ByteReader::getData(std::uint64_t n) {
    Mem::Ptr<Chunk> result = peek(n);
    while (result && n != 0 && prepare()) {
        const auto count = std::min(n, static_cast<std::uint64_t>(end_ - cursor_));
        cursor_ += count;
        n -= count;
    }
    return result;
}

// What getData would return; the position stays.
Mem::Ptr<Chunk> ByteReader::peek(std::uint64_t n) const {
    const auto here = std::min(n, static_cast<std::uint64_t>(end_ - cursor_));
    Mem::Ptr<Chunk> first =
        here != 0 ? Chunk::m_pool.make(buffer_, cursor_, cursor_ + here) : nullptr;
    if ((here != 0 && !first) || here == n || !next_) {
        return first;
    }
    Mem::Ptr<Chunk> others = next_->rbefore(n - here);
    if (!first || !others) {
        return others;
    }
    first->next_ = std::move(others);
    return first;
}

int ByteReader::getInt(std::uint64_t nbytes) {
    std::uint32_t value = 0;
    for (; nbytes != 0 && prepare(); --nbytes) {
        value = value << 8 | *cursor_++;
    }
    const bool isShiftedOut = nbytes >= sizeof value;
    return isShiftedOut ? 0 : static_cast<int>(value << nbytes * 8);
}

Mem::Ptr<Chunk> ByteReader::getRemainingData() {
    Mem::Ptr<Chunk> result = next_;
    if (cursor_ != end_) {
        result = Chunk::m_pool.make(buffer_, cursor_, end_);
        if (!result) {
            return nullptr;
        }
        result->next_ = next_;
    }
    clear();
    return result;
}

bool ByteReader::nextChunk() {
    while (cursor_ == end_) {
        if (!init(next_)) {
            return false;
        }
    }
    return true;
}

void ByteReader::clear() {
    next_ = nullptr;
    tailOfQueue_ = nullptr;
    buffer_ = nullptr;
    cursor_ = end_ = nullptr;
    queued_ = 0;
}

} // namespace Mail
