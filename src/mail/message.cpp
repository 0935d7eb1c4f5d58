#include "Mail/Message.h"

namespace Mail {

MsgImpl::~MsgImpl() = default;

// NOLINTNEXTLINE(*-new-delete-overloads,cert-dcl54-cpp): what `new` is for is the pool
void MsgImpl::operator delete(void* item) {
    m_pool.free(item);
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

} // namespace Mail
