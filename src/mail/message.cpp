#include "Mail/Message.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace Mail {

MsgImpl::~MsgImpl() = default;

// NOLINTNEXTLINE(*-new-delete-overloads,cert-dcl54-cpp): the pool allocates
void MsgImpl::operator delete(void* item) {
    m_pool.free(item);
}

bool MsgImpl::append(Mem::Ptr<Chunk> chain) {
    const std::uint64_t size = size_ + chain->totalSize();
    if (size > Message::kMaxSize) {
        return false;
    }
    data_.append(std::move(chain));
    size_ = size;
    return true;
}

Message::Message(std::uint32_t address) : body_(MsgImpl::m_pool.make()) {
    setAddress(address);
}

void Message::setAddress(std::uint32_t address) {
    if (body_) {
        body_->address_ = address;
    }
}

void Message::setTag(std::uint32_t tag) {
    if (body_) {
        body_->tag_ = tag;
    }
}

void Message::setUserData(std::uint64_t data) {
    if (body_) {
        body_->userData_ = data;
    }
}

std::uint64_t Message::getBytes(void* out, std::uint64_t n) const {
    auto* const bytes = static_cast<unsigned char*>(out);
    const Chunk* chunk = body_ ? body_->data_.first().get() : nullptr;
    std::uint64_t done = 0;
    for (; chunk != nullptr && done != n; chunk = chunk->next().get()) {
        const std::uint64_t count = std::min(n - done, chunk->size());
        std::memcpy(bytes + done, chunk->begin(), count);
        done += count;
    }
    return done;
}

bool Message::addBytes(const void* data, std::uint64_t n) {
    if (!body_ || n > kMaxSize - body_->size_) {
        return false;
    }
    Mem::Ptr<Chunk> bytes = Chunk::alloc(n);
    const auto* from = static_cast<const unsigned char*>(data);
    for (const Chunk* chunk = bytes.get(); chunk != nullptr; chunk = chunk->next().get()) {
        std::memcpy(chunk->begin(), from, chunk->size());
        from += chunk->size();
    }
    return n == 0 || (bytes && body_->append(std::move(bytes)));
}

} // namespace Mail
