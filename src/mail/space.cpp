#include "mail/space.h"

#include <mutex>
#include <utility>

namespace Mail {

Mem::Ptr<Chunk> FreshSpace::makeBuffer() {
    const Mem::Ptr<Buffer> buffer = Buffer::make();
    return buffer ? Chunk::m_pool.make(buffer, buffer->data(), buffer->end()) : nullptr;
}

Mem::Ptr<Chunk> FreshSpace::cut(Chunk& chunk, std::uint64_t n) {
    Mem::Ptr<Chunk> piece = chunk.head(n);
    if (piece) {
        chunk.begin_ += n;
    }
    return piece;
}

Mem::Ptr<Chunk> FreshSpace::carve(std::uint64_t n) {
    if (n == 0) {
        return nullptr;
    }
    const std::lock_guard lock(lock_);
    if (!current_) {
        current_ = makeBuffer();
    }
    if (!current_ || current_->size() <= n) {
        return std::move(current_);
    }
    return cut(*current_, n);
}

Region SpareSpace::take() {
    Region region = takeGivenBack();
    if (!region.buffer) {
        region.buffer = Buffer::make();
        region.begin = region.buffer ? region.buffer->data() : nullptr;
        region.end = region.buffer ? region.buffer->end() : nullptr;
    }
    return region;
}

Region SpareSpace::takeGivenBack() {
    const std::lock_guard lock(lock_);
    Mem::Ptr<Chunk> chunk = givenBack_.pop();
    if (!chunk) {
        return {};
    }
    Region region{std::move(chunk->buffer_), chunk->begin_, chunk->end_};
    chunk->next_ = std::move(unused_);
    unused_ = std::move(chunk);
    return region;
}

void SpareSpace::giveBack(Region region) {
    const std::lock_guard lock(lock_);
    // Without a chunk the region's bytes are free again when the whole buffer is.
    givenBack_.append(chunkFor(std::move(region)));
}

Mem::Ptr<Chunk> SpareSpace::chunkFor(Region region) {
    if (!unused_) {
        return Chunk::m_pool.make(std::move(region.buffer), region.begin, region.end);
    }
    Mem::Ptr<Chunk> chunk = std::move(unused_);
    unused_ = std::move(chunk->next_);
    chunk->buffer_ = std::move(region.buffer);
    chunk->begin_ = region.begin;
    chunk->end_ = region.end;
    return chunk;
}

} // namespace Mail
