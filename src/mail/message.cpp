#include "Mail/Message.h"

#include "Mail/Stream.h"

#include <utility>

namespace Mail {

MsgImpl::~MsgImpl() = default;

// NOLINTNEXTLINE(*-new-delete-overloads,cert-dcl54-cpp): what `new` is for is the pool
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
    ByteReader reader;
    return body_ && reader.init(body_->data_.first()) ? reader.getData(out, n) : 0;
}

bool Message::addBytes(const void* data, std::uint64_t n) {
    if (!body_ || n > kMaxSize) {
        return false;
    }
    ByteWriter writer;
    Mem::Ptr<Chunk> bytes = writer.putData(data, n).end();
    return n == 0 || (bytes && body_->append(std::move(bytes)));
}

} // namespace Mail
